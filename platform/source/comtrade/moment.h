// Points of time in a configuration.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace toolkit::comtrade {

// Nanoseconds since 1970-01-01.
using Moment = std::int64_t;

struct ParsedMoment {
  Moment moment = 0;
  bool toNanoseconds = false;  // more than six digits of a second are given
};

// "dd/mm/yyyy,hh:mm:ss.ssssss", or month first. Two digits of a year are those from 1970 to 2069; a
// month beyond 12 is the day. Blank or of zeros only is 1970-01-01.
std::optional<ParsedMoment> parseMoment(std::string_view line, bool monthFirst);

// Of a time code, which gives what the record's clock is ahead of UTC: "-5h30", "2", "0"; "x" and
// blank are 0. Nanoseconds.
std::optional<Moment> parseTimeCode(std::string_view code);

// Rounded down to microseconds.
timeval toTimeval(Moment moment);

}  // namespace toolkit::comtrade
