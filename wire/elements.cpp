#include "elements.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "TarnixH.h"
#include "engine_internals.h"

namespace {

using engine_internals::namespaceOf;

constexpr std::string_view kEnvelope = "SOAP-ENV";

// True for a child of the operation, in its namespace or in none, where `expected` is one.
bool isOwnChild(const struct soap* ctx, const char* expected) {
  const char* const operation = engine_internals::operation(ctx);
  const auto [prefix, name] = splitTag(ctx->tag);
  const auto [wantedPrefix, wantedName] = splitTag(expected);
  if (name != wantedName || (!wantedPrefix.empty() && wantedPrefix != operation)) {
    return false;
  }
  const char* const found = namespaceOf(ctx, prefix);
  return found != nullptr && (*found == '\0' || found == std::string_view(operation) ||
                              (prefix.empty() && found == kEnvelope));
}

int match(struct soap* ctx, const char* expected) {
  if (expected == nullptr || engine_internals::operation(ctx) == nullptr) {
    return soap_match_tag(ctx, ctx->tag, expected);
  }
  if (isOwnChild(ctx, expected)) {
    return SOAP_OK;
  }
  const bool isQualified = std::strchr(expected, ':') != nullptr;
  return isQualified ? soap_match_tag(ctx, ctx->tag, expected) : SOAP_TAG_MISMATCH;
}

// Notes a reference of SOAP 1.1 to another element, as the engine does with those of SOAP 1.2: it
// is then missing at the end of the message.
void noteReference(struct soap* ctx) {
  if (ctx->version != 1 || engine_internals::operation(ctx) == nullptr) {
    return;
  }
  for (const struct soap_attribute* attribute = ctx->attributes; attribute != nullptr;
       attribute = attribute->next) {
    if (attribute->visible != 0 && std::strcmp(attribute->name, "href") == 0 &&
        attribute->value != nullptr && *attribute->value == '#') {
      const std::size_t length = std::min(std::strlen(attribute->value), sizeof ctx->href - 1);
      std::memcpy(ctx->href, attribute->value, length);
      ctx->href[length] = '\0';
    }
  }
}

}  // namespace

std::pair<std::string_view, std::string_view> splitTag(std::string_view tag) {
  const std::size_t colon = tag.find(':');
  return colon == std::string_view::npos ? std::pair(std::string_view(), tag)
                                         : std::pair(tag.substr(0, colon), tag.substr(colon + 1));
}

void beginOperation(struct soap* ctx) {
  const char* const found = namespaceOf(ctx, splitTag(ctx->tag).first);
  const bool known = found != nullptr && *found != '\0' && found != kEnvelope;
  engine_internals::setOperation(ctx, known ? found : nullptr);
}

// Takes the place of the engine's own function, which compares names by the schema's namespaces
// alone.
SOAP_FMAC1 int SOAP_FMAC2 soap_element_begin_in(struct soap* ctx, const char* tag, int nillable,
                                                const char* type) {
  const bool isPart = tag != nullptr && *tag == '-';  // of an element that has begun already
  if (soap_peek_element(ctx) != SOAP_OK) {
    return ctx->error = isPart && ctx->error == SOAP_NO_TAG ? SOAP_OK : ctx->error;
  }
  if (ctx->other != 0) {
    return ctx->error = SOAP_TAG_MISMATCH;
  }
  if (isPart) {
    return SOAP_OK;
  }
  if ((ctx->error = match(ctx, tag)) != SOAP_OK) {
    return ctx->error;
  }
  if (type != nullptr && *ctx->type != '\0' && soap_match_tag(ctx, ctx->type, type) != SOAP_OK) {
    return ctx->error = SOAP_TYPE;
  }
  noteReference(ctx);
  ctx->peeked = 0;
  if (nillable == 0 && ctx->null != 0 && (ctx->mode & SOAP_XML_STRICT) != 0) {
    return ctx->error = SOAP_NULL;
  }
  if (ctx->body != 0 && ++ctx->level > ctx->maxlevel) {
    return ctx->error = SOAP_LEVEL;
  }
  return ctx->error = SOAP_OK;
}
