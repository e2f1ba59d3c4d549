// Requests in and texts out: what the handlers of the document/literal operations share.
#pragma once

#include <string>
#include <utility>

#include "TarnixH.h"

// The request's record; a nil or missing one counts as one without children.
template <class Request>
const Request& recordOf(const Request* request) {
  static const Request kAbsent;
  return request == nullptr ? kAbsent : *request;
}

inline std::string textOf(const std::string* optional) {
  return optional == nullptr ? std::string() : *optional;
}

// A text of the context's own, for an optional member of a reply.
inline std::string* newString(struct soap* ctx, std::string text = {}) {
  std::string* result = soap_new_std__string(ctx);
  *result = std::move(text);
  return result;
}
