// Which element of a request is which, for the generated code.
//
// The children of an operation bear its namespace or none: toolkits differ in that, and both are
// taken for the same element. Elements of other namespaces are foreign, and skipped. A default
// namespace that comes from the envelope counts as none: no element of SOAP's stands in an
// operation.
#pragma once

#include <string_view>
#include <utility>

#include "stdsoap2.h"

// A tag's prefix and local name.
std::pair<std::string_view, std::string_view> splitTag(std::string_view tag);

// Notes the namespace of the operation, the element that has just been looked at: it holds for the
// elements up to the next call.
void beginOperation(struct soap* ctx);
