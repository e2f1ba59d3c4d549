#include "leaf_elements.h"

#include <array>
#include <cstring>

#include "TarnixH.h"

namespace {

constexpr std::size_t kMaxLength = 256;  // of an element that is sent in one step

// True when the engine would write the tags alone: no attributes, no declarations, no layout.
bool isBare(const struct soap* ctx, const char* tag, int id, const char* type) {
  constexpr soap_mode kOther =
      SOAP_XML_DOM | SOAP_XML_INDENT | SOAP_XML_CANONICAL | SOAP_XML_DEFAULTNS;
  return (ctx->mode & SOAP_XML_TREE) != 0 && (ctx->mode & kOther) == 0 && id <= 0 &&
         (type == nullptr || *type == '\0') && *tag != '-' && ctx->ns != 0 && ctx->null == 0 &&
         ctx->position == 0 && ctx->attributes == nullptr && ctx->encoding == 0 &&
         ctx->mustUnderstand == 0 && ctx->event == 0;
}

}  // namespace

int sendLeaf(struct soap* ctx, const char* tag, int id, const char* type, const char* text) {
  const std::size_t tagLength = std::strlen(tag);
  const std::size_t textLength = std::strlen(text);
  const std::size_t length = 2 * tagLength + textLength + std::strlen("<></>");
  if (length > kMaxLength || !isBare(ctx, tag, id, type)) {
    if (soap_element_begin_out(ctx, tag, id, type) != SOAP_OK || soap_send(ctx, text) != SOAP_OK) {
      return ctx->error;
    }
    return soap_element_end_out(ctx, tag);
  }
  std::array<char, kMaxLength> element;
  char* end = element.data();
  const auto put = [&end](const char* bytes, std::size_t count) {
    std::memcpy(end, bytes, count);
    end += count;
  };
  put("<", 1);
  put(tag, tagLength);
  put(">", 1);
  put(text, textLength);
  put("</", 2);
  put(tag, tagLength);
  put(">", 1);
  return soap_send_raw(ctx, element.data(), length);
}

// Takes the place of the engine's own function.
SOAP_FMAC1 int SOAP_FMAC2 soap_outdouble(struct soap* ctx, const char* tag, int id,
                                         const double* number, const char* type, int kind) {
  return sendLeaf(ctx, tag, soap_embedded_id(ctx, id, number, kind), type,
                  soap_double2s(ctx, *number));
}
