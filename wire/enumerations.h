// Reading of enumerations, for the generated serialisers.
//
// An enumeration is one of its names or any integer, also outside the list; a bit set is a
// blank-separated list of names, or an integer. Other text is a type error.
#pragma once

#include <cstring>
#include <string>

#include "stdsoap2.h"

// Reads a bit set. Returns SOAP_OK with `bits` set, or SOAP_TYPE, also in soap->error.
inline int readBitSet(struct soap* soap, const struct soap_code_map* codes, const char* text,
                      LONG64* bits) {
  static const char* const kBlanks = " \t\r\n";
  LONG64 result = 0;
  const char* word = text + std::strspn(text, kBlanks);
  if (*word != '\0' && soap_s2LONG64(soap, word, bits) == SOAP_OK) {
    return SOAP_OK;
  }
  soap->error = SOAP_OK;
  while (*word != '\0') {
    const std::size_t length = std::strcspn(word, kBlanks);
    const struct soap_code_map* entry = soap_code(codes, std::string(word, length).c_str());
    if (entry == nullptr) {
      return soap->error = SOAP_TYPE;
    }
    result |= entry->code;
    word += length;
    word += std::strspn(word, kBlanks);
  }
  *bits = result;
  return SOAP_OK;
}
