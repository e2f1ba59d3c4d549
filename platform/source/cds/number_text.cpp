#include "cds/number_text.h"

#include <locale.h>
#include <stdlib.h>

#include <charconv>
#include <limits>
#include <string>

namespace toolkit {

namespace {

constexpr std::size_t kFractionDigits = 6;

std::string_view withoutPlus(std::string_view text) {
  const bool plus = text.size() > 1 && text.front() == '+' && text[1] != '-';
  return plus ? text.substr(1) : text;
}

// What is out of a double's range, to tell too large from too small.
double outOfRange(std::string_view text) {
  static const locale_t notation = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(std::string(text).c_str(), nullptr, notation);
}

}  // namespace

std::optional<std::int64_t> integerOf(std::string_view text) {
  text = withoutPlus(text);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  if (error == std::errc::result_out_of_range) {
    using Limits = std::numeric_limits<std::int64_t>;
    return text.front() == '-' ? Limits::min() : Limits::max();
  }
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

double realOf(std::string_view text) {
  text = withoutPlus(text);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) {
    return 0;
  }
  return error == std::errc::result_out_of_range ? outOfRange(text) : value;
}

timeval timeOf(std::string_view text) {
  const std::size_t point = text.find('.');
  std::string fraction(point == std::string_view::npos ? "" : text.substr(point + 1));
  fraction.resize(kFractionDigits, '0');
  const bool digits = fraction.find_first_not_of("0123456789") == std::string::npos;
  const auto seconds = integerOf(text.substr(0, point));
  if (!seconds || !digits) {
    return {};
  }
  return {*seconds, integerOf(fraction).value_or(0)};
}

}  // namespace toolkit
