// The engine's end of a message walks a table of 2,000 entries several times to resolve references
// between elements. No message here may hold any (SOAP_XML_TREE), so one look at the table does.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "TarnixH.h"

SOAP_FMAC1 int SOAP_FMAC2 soap_resolve(struct soap* ctx) {
  const auto* const found = std::find_if(std::begin(ctx->iht), std::end(ctx->iht),
                                         [](const soap_ilist* entry) { return entry != nullptr; });
  if (found == std::end(ctx->iht)) {
    return SOAP_OK;
  }
  const char* const name = (*found)->id;
  std::snprintf(ctx->id, sizeof ctx->id, "%s", *name == '#' ? name + 1 : name);
  return ctx->error = SOAP_MISSING_ID;
}
