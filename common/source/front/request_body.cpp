#include "front/request_body.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <exception>

#include <boost/locale/encoding.hpp>

namespace {

constexpr std::string_view kDeclaration = "<?xml";
constexpr std::size_t kMaxDeclaration = 256;  // bytes

// What a body begins with, and what that says. The null bytes are those of UTF-16's first "<".
struct Beginning {
  std::string_view bytes;
  const char* encoding;
  std::size_t markSize;
};
constexpr std::array<Beginning, 4> kUtf16 = {{{{"\xFF\xFE", 2}, "UTF-16LE", 2},
                                              {{"\xFE\xFF", 2}, "UTF-16BE", 2},
                                              {{"<\0", 2}, "UTF-16LE", 0},
                                              {{"\0<", 2}, "UTF-16BE", 0}}};

constexpr std::array<const char*, 6> kSingleByte = {"ISO-8859-1",  "ISO8859-1",    "latin1",
                                                    "ISO-8859-15", "windows-1252", "cp1252"};

constexpr std::string_view kGzip = "\x1F\x8B";

// The declaration at the beginning, with its "?>"; empty where there is none.
std::string_view declarationOf(std::string_view text) {
  const std::size_t end = text.substr(0, kMaxDeclaration).find("?>");
  return text.starts_with(kDeclaration) && end != std::string_view::npos ? text.substr(0, end + 2)
                                                                         : std::string_view();
}

std::string declaredEncoding(std::string_view text) {
  std::string_view rest = declarationOf(text);
  const std::size_t name = rest.find("encoding");
  rest.remove_prefix(std::min(name, rest.size()));
  const std::size_t open = std::min(rest.find_first_of("\"'"), rest.size());
  rest.remove_prefix(open);
  const std::size_t close = rest.empty() ? std::string_view::npos : rest.find(rest.front(), 1);
  return close == std::string_view::npos ? std::string() : std::string(rest.substr(1, close - 1));
}

// The encoding to convert from, and the bytes before the text; null for none.
Beginning encodingOf(std::string_view first) {
  for (const Beginning& beginning : kUtf16) {
    if (first.starts_with(beginning.bytes)) {
      return beginning;
    }
  }
  const std::string declared = declaredEncoding(first);
  for (const char* name : kSingleByte) {
    if (strcasecmp(name, declared.c_str()) == 0) {
      return {{}, name, 0};
    }
  }
  return {{}, nullptr, 0};
}

// Adds what is left of the body, up to its limit and a byte more, which the guard refuses.
void readRest(ByteSource& in, std::string& bytes) {
  std::array<char, 8192> piece = {};
  std::size_t count = 0;
  while (bytes.size() <= limits::kMaxBodyBytes &&
         (count = in.read(piece.data(), piece.size())) > 0) {
    bytes.append(piece.data(), count);
  }
}

}  // namespace

void RequestBody::begin(ByteSource& in, std::string_view first, EnvelopeGuard& guard) {
  begun_ = true;
  if (first.starts_with(kGzip)) {
    return guard.refuse(EnvelopeGuard::kOnlyUtf8);
  }
  const Beginning beginning = encodingOf(first);
  if (beginning.encoding == nullptr) {
    return;
  }
  std::string bytes(first.substr(beginning.markSize));
  readRest(in, bytes);
  if (bytes.size() > limits::kMaxBodyBytes) {
    return guard.refuse(EnvelopeGuard::kTooLarge);
  }
  try {
    converted_ =
        boost::locale::conv::to_utf<char>(bytes, beginning.encoding, boost::locale::conv::stop);
  } catch (const std::exception&) {
    return guard.refuse(EnvelopeGuard::kOnlyUtf8);
  }
  converted_->erase(0, declarationOf(*converted_).size());
}

std::size_t RequestBody::read(ByteSource& in, char* buffer, std::size_t size,
                              EnvelopeGuard& guard) {
  if (!converted_) {
    const std::size_t received = in.read(buffer, size);
    if (!begun_) {
      begin(in, {buffer, received}, guard);
    }
    if (!converted_) {
      return guard.refused() ? 0 : received;
    }
  }
  const std::size_t count = converted_->copy(buffer, size, taken_);
  taken_ += count;
  return count;
}
