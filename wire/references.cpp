// The engine's end of a message walks a table of 2,000 entries several times to resolve references
// between elements. No message here may hold any (SOAP_XML_TREE), so one look at the table does.
#include <cstdio>

#include "TarnixH.h"
#include "engine_internals.h"

SOAP_FMAC1 int SOAP_FMAC2 soap_resolve(struct soap* ctx) {
  const char* const name = engine_internals::missingReference(ctx);
  if (name == nullptr) {
    return SOAP_OK;
  }
  std::snprintf(ctx->id, sizeof ctx->id, "%s", *name == '#' ? name + 1 : name);
  return ctx->error = SOAP_MISSING_ID;
}
