// Reading of texts, for the generated serialisers.
#pragma once

#include <string>

#include "stdsoap2.h"

// Assigns what an element holds, `characters`, to `text`: decoded where its xsi:type says that the
// text is in base64 or in hexadecimal digits, as some toolkits send texts that are not ASCII.
// Returns SOAP_OK, or the code of a fault, also in ctx->error: for bytes that are no text that XML
// can carry.
int decodeText(struct soap* ctx, const char* characters, std::string& text);
