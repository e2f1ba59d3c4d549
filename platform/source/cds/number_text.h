// Numbers in texts, in the notation of the C locale whatever locale is in force.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace toolkit {

// A whole number, saturating; nothing for any other text.
std::optional<std::int64_t> integerOf(std::string_view text);

// 0 for a text that is no number; infinite for a number that is too large.
double realOf(std::string_view text);

// Seconds with up to six digits after a point; 0 for any other text.
timeval timeOf(std::string_view text);

}  // namespace toolkit
