#include "front/engine.h"

#include "front/request_limits.h"

namespace {

// What the engine itself does with an element that nobody reads, and a note of it.
int noteIgnored(struct soap* ctx, const char* tag) {
  if (ctx->mustUnderstand != 0 && ctx->other == 0) {
    return SOAP_MUSTUNDERSTAND;
  }
  if (ctx->part == SOAP_IN_BODY) {
    globalData(ctx)->ignored.note(tag);
  }
  return SOAP_OK;
}

}  // namespace

// Text is UTF-8 in and out, whatever the process's locale; the values of a reply share no data, so
// the engine need not look for shared ones.
SoapContext createEngine(_global_data_t& global) {
  SoapContext engine(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE));
  soap_set_namespaces(engine.get(), namespaces);
  engine->user = &global;
  engine->fignore = noteIgnored;
  engine->maxlevel = limits::kMaxDepth + 1;
  engine->maxoccurs = limits::kMaxElements;
  engine->maxlength = limits::kMaxBodyBytes;
  return engine;
}

void enableLocaleModes(struct soap* ctx) {
  soap_set_imode(ctx, SOAP_C_MBSTRING | SOAP_IO_KEEPALIVE);
  soap_set_omode(ctx, SOAP_IO_KEEPALIVE);
}
