// SoapContext: a context of the SOAP engine and all that it holds.
#pragma once

#include <memory>

#include "stdsoap2.h"

struct ReleaseSoapContext {
  void operator()(struct soap* ctx) const {
    soap_destroy(ctx);
    soap_end(ctx);
    soap_free(ctx);
  }
};
using SoapContext = std::unique_ptr<struct soap, ReleaseSoapContext>;
