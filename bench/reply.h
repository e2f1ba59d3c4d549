// Replies that are encoded and thrown away.
#pragma once

#include "TarnixH.h"
#include "soap_context.h"

// A context as the service has it, that sends to nobody.
inline SoapContext newContext() {
  SoapContext ctx(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE));
  ctx->fsend = [](struct soap*, const char*, size_t) -> int { return SOAP_OK; };
  return ctx;
}

// Encodes a reply; it is collected before it is sent, as the service does.
template <class Reply>
void encode(struct soap* ctx, const Reply& reply, const char* tag) {
  soap_set_omode(ctx, SOAP_IO_STORE);
  soap_begin_send(ctx);
  reply.soap_put(ctx, tag, nullptr);
  soap_end_send(ctx);
}
