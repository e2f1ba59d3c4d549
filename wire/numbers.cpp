// How floating-point numbers stand on the wire: the shortest decimal text that reads back to the
// same value, and INF, -INF, NaN (W3C XML Schema, datatypes double and float). Takes the place of
// the engine's own formatting, for every number of every message.
#include <charconv>
#include <cmath>

#include "TarnixH.h"

namespace {

template <class Number>
const char* textOf(struct soap* ctx, Number number) {
  if (std::isnan(number)) {
    return "NaN";
  }
  if (std::isinf(number)) {
    return number < 0 ? "-INF" : "INF";
  }
  const auto written = std::to_chars(ctx->tmpbuf, ctx->tmpbuf + sizeof ctx->tmpbuf - 1, number);
  *written.ptr = '\0';
  return ctx->tmpbuf;
}

}  // namespace

SOAP_FMAC1 const char* SOAP_FMAC2 soap_double2s(struct soap* ctx, double number) {
  return textOf(ctx, number);
}

SOAP_FMAC1 const char* SOAP_FMAC2 soap_float2s(struct soap* ctx, float number) {
  return textOf(ctx, number);
}
