// Which element of a request is which, for the generated code.
//
// The children of an operation bear its namespace or none: toolkits differ in that, and both are
// taken for the same element. Elements of other namespaces are foreign, and skipped. A default
// namespace that comes from the envelope counts as none: no element of SOAP's stands in an
// operation.
#pragma once

#include "stdsoap2.h"

// Notes the namespace of the operation, the element that has just been looked at: it holds for the
// elements up to the next call.
void beginOperation(struct soap* ctx);
