#include "comtrade/moment.h"

#include <chrono>
#include <string>

#include "cds/number_text.h"
#include "comtrade/text.h"

namespace toolkit::comtrade {

namespace {

using std::chrono::nanoseconds;

std::optional<std::int64_t> partOf(std::string_view& text, char separator, std::int64_t maximum) {
  const auto part = integerOf(takeField(text, separator));
  return part && *part >= 0 && *part <= maximum ? part : std::nullopt;
}

bool isUnset(std::string_view text) {
  return text.find_first_not_of("0/:., \t\r\n") == std::string_view::npos;
}

std::optional<std::chrono::sys_days> parseDate(std::string_view text, bool monthFirst) {
  constexpr std::int64_t kLastYear = 2150;  // so that differences can be told in nanoseconds
  constexpr std::int64_t kPivot = 70;
  const auto first = partOf(text, '/', 31);
  const auto second = partOf(text, '/', 31);
  auto year = partOf(text, '/', kLastYear);
  if (!first || !second || !year || !text.empty()) {
    return {};
  }
  if (*year < 100) {
    *year += *year < kPivot ? 2000 : 1900;
  }
  const bool monthIsFirst = monthFirst ? *first <= 12 : *second > 12;
  const std::chrono::year_month_day date{
      std::chrono::year(static_cast<int>(*year)),
      std::chrono::month(static_cast<unsigned>(monthIsFirst ? *first : *second)),
      std::chrono::day(static_cast<unsigned>(monthIsFirst ? *second : *first))};
  constexpr std::chrono::year kFirstYear(1900);
  if (!date.ok() || date.year() < kFirstYear) {
    return {};
  }
  return std::chrono::sys_days(date);
}

// The digits after the point of a second.
std::optional<nanoseconds> parseFraction(std::string_view digits) {
  constexpr std::size_t kDigits = 9;
  std::string padded(digits.substr(0, kDigits));
  padded.resize(kDigits, '0');
  if (digits.find_first_not_of("0123456789") != std::string_view::npos) {
    return {};
  }
  return nanoseconds(*integerOf(padded));
}

}  // namespace

std::optional<ParsedMoment> parseMoment(std::string_view line, bool monthFirst) {
  if (isUnset(line)) {
    return ParsedMoment{};
  }
  const auto date = parseDate(takeField(line), monthFirst);
  std::string_view time = trim(line);
  const auto hour = partOf(time, ':', 24);
  const auto minute = partOf(time, ':', 59);
  const auto second = partOf(time, '.', 60);  // 60: a leap second
  const auto fraction = parseFraction(time);
  if (!date || !hour || !minute || !second || !fraction) {
    return {};
  }
  constexpr std::size_t kMicrosecondDigits = 6;
  const nanoseconds moment = date->time_since_epoch() + std::chrono::hours(*hour) +
                             std::chrono::minutes(*minute) + std::chrono::seconds(*second) +
                             *fraction;
  return ParsedMoment{moment.count(), time.size() > kMicrosecondDigits};
}

std::optional<Moment> parseTimeCode(std::string_view code) {
  if (code.empty() || equalsIgnoringCase(code, "x")) {
    return 0;
  }
  const bool isNegative = code.front() == '-';
  if (isNegative || code.front() == '+') {
    code.remove_prefix(1);
  }
  constexpr std::int64_t kMaxHours = 24;
  const char separator = code.find('H') == std::string_view::npos ? 'h' : 'H';
  const auto hours = partOf(code, separator, kMaxHours);
  const auto minutes = code.empty() ? std::optional(std::int64_t{0}) : partOf(code, separator, 59);
  if (!hours || !minutes || !code.empty()) {
    return {};
  }
  const nanoseconds ahead = std::chrono::hours(*hours) + std::chrono::minutes(*minutes);
  return isNegative ? -ahead.count() : ahead.count();
}

timeval toTimeval(Moment moment) {
  const nanoseconds since(moment);
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  const auto rest = std::chrono::floor<std::chrono::microseconds>(since - seconds);
  return {seconds.count(), rest.count()};
}

}  // namespace toolkit::comtrade
