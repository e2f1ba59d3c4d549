// RequestBody: the bytes of a request as the SOAP engine takes them, which is in UTF-8.
//
// A body in ISO 8859-1, ISO 8859-15 or Windows-1252, as its XML declaration says, or in UTF-16, as
// its byte order mark or its first character shows (XML 1.0, appendix F), is converted as a whole;
// its declaration, which no longer holds, is left out. All others pass as they are.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "front/envelope_guard.h"
#include "front/exchange.h"

class RequestBody {
 public:
  // Forgets the last request.
  void reset() { *this = RequestBody(); }

  // Reads at most `size` bytes into `buffer`. Returns how many; 0 at the end, and where the guard
  // has refused the body: a compressed one, and one that is not in the encoding that it claims.
  std::size_t read(ByteSource& in, char* buffer, std::size_t size, EnvelopeGuard& guard);

 private:
  void begin(ByteSource& in, std::string_view first, EnvelopeGuard& guard);

  bool begun_ = false;
  std::optional<std::string> converted_;
  std::size_t taken_ = 0;  // of the converted ones
};
