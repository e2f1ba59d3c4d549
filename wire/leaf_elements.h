// Elements that hold one text, in a single step: the greater part of a large reply.
#pragma once

#include "stdsoap2.h"

// Sends <tag>text</tag>. The text must not need escaping. Returns SOAP_OK, or an error that is also
// in ctx->error.
int sendLeaf(struct soap* ctx, const char* tag, int id, const char* type, const char* text);
