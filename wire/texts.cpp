// How texts stand on the wire: escaped, and always text that XML can carry (XML 1.0, production
// Char, in UTF-8). Bytes that are none of it become U+FFFD: one bad text of a device must not make
// a whole reply unreadable. Takes the place of the engine's own function, for every text of every
// message.
#include "texts.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "TarnixH.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// True for the bytes that stand for themselves everywhere.
constexpr std::array<bool, 256> plainBytes() {
  std::array<bool, 256> plain{};
  for (unsigned c = ' '; c < 0x7F; ++c) {
    plain[c] = c != '&' && c != '<' && c != '>' && c != '"';
  }
  return plain;
}

constexpr std::array<bool, 256> kPlain = plainBytes();

// Bytes of the character at the beginning of a text that ends with NUL; 0 when XML cannot carry it.
std::size_t characterBytes(const unsigned char* text) {
  const unsigned first = text[0];
  if (first < 0x80) {
    return first >= ' ' || first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
  }
  constexpr std::array<unsigned, 5> kMinCodes = {0, 0, 0x80, 0x800, 0x10000};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  unsigned code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((text[i] & 0xC0U) != 0x80) {
      return 0;
    }
    code = code << 6 | (text[i] & 0x3FU);
  }
  const bool good = first >= 0xC0 && first < 0xF8 && code >= kMinCodes.at(length) &&
                    code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF) && code != 0xFFFE &&
                    code != 0xFFFF;
  return good ? length : 0;
}

// What stands for a character that is not plain; empty when it stands for itself.
std::string_view escaped(char c, bool inAttribute) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return inAttribute ? "" : "&gt;";
    case '"':
      return inAttribute ? "&quot;" : "";
    case '\t':
      return inAttribute ? "&#x9;" : "";
    case '\n':
      return "&#xA;";
    case '\r':
      return "&#xD;";
    default:
      return {};
  }
}

// True for a text that ends with NUL where it says, and that XML can carry.
bool isText(const char* bytes, std::size_t length) {
  const char* const end = bytes + length;
  while (bytes < end) {
    const std::size_t count = characterBytes(reinterpret_cast<const unsigned char*>(bytes));
    if (count == 0) {
      return false;
    }
    bytes += count;
  }
  return true;
}

bool isHexadecimal(std::string_view digits) {
  return digits.size() % 2 == 0 &&
         digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

bool hasType(struct soap* ctx, std::initializer_list<const char*> types) {
  return *ctx->type != '\0' && std::any_of(types.begin(), types.end(), [ctx](const char* type) {
    return soap_match_tag(ctx, ctx->type, type) == SOAP_OK;
  });
}

}  // namespace

int decodeText(struct soap* ctx, const char* characters, std::string& text) {
  const bool isBase64 = hasType(ctx, {"xsd:base64Binary", "SOAP-ENC:base64"});
  if (!isBase64 && !hasType(ctx, {"xsd:hexBinary"})) {
    text.assign(characters);
    return SOAP_OK;
  }
  const bool isWhole = isBase64 || isHexadecimal(characters);
  int length = 0;
  const char* const bytes = isBase64 ? soap_base642s(ctx, characters, nullptr, 0, &length)
                                     : soap_hex2s(ctx, characters, nullptr, 0, &length);
  if (!isWhole || bytes == nullptr || !isText(bytes, static_cast<std::size_t>(length))) {
    return soap_sender_fault(ctx, "A binary element holds no text", nullptr);
  }
  text.assign(bytes, static_cast<std::size_t>(length));
  return SOAP_OK;
}

namespace {

bool send(struct soap* ctx, std::string_view text) {
  return text.empty() || soap_send_raw(ctx, text.data(), text.size()) == SOAP_OK;
}

}  // namespace

SOAP_FMAC1 int SOAP_FMAC2 soap_string_out(struct soap* ctx, const char* text, int inAttribute) {
  const char* run = text;  // what was not sent yet
  const char* end = text;
  for (;;) {
    while (kPlain[static_cast<unsigned char>(*end)]) {
      ++end;
    }
    const std::size_t bytes = characterBytes(reinterpret_cast<const unsigned char*>(end));
    const std::string_view other = bytes == 0 ? kReplacement : escaped(*end, inAttribute != 0);
    if (*end != '\0' && other.empty()) {
      end += bytes;
      continue;
    }
    if (!send(ctx, {run, static_cast<std::size_t>(end - run)})) {
      return ctx->error;
    }
    if (*end == '\0') {
      return SOAP_OK;
    }
    if (!send(ctx, other)) {
      return ctx->error;
    }
    end += std::max<std::size_t>(bytes, 1);
    run = end;
  }
}
