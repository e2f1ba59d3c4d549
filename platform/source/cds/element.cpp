#include "toolkit/element.h"

#include <strings.h>

#include <algorithm>
#include <boost/locale/message.hpp>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cds/number_text.h"

namespace toolkit {

namespace {

constexpr int kDefaultPrecision = 6;
constexpr int kMaxPrecision = 17;
constexpr std::int64_t kMicroseconds = 1000000;

template <class... Functions>
struct Overload : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
Overload(Functions...) -> Overload<Functions...>;

template <class To>
To saturate(std::int64_t value) {
  return static_cast<To>(std::clamp<std::int64_t>(value, std::numeric_limits<To>::min(),
                                                  std::numeric_limits<To>::max()));
}

// Towards zero; not a number is 0.
std::int64_t truncate(double value) {
  // The first double above the range: the largest integer itself has no double.
  constexpr double kEnd = 9223372036854775808.0;
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= kEnd) {
    return std::numeric_limits<std::int64_t>::max();
  }
  return value < -kEnd ? std::numeric_limits<std::int64_t>::min()
                       : static_cast<std::int64_t>(value);
}

double seconds(timeval time) {
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_usec) / static_cast<double>(kMicroseconds);
}

timeval toTime(double value) {
  const double whole = std::floor(value);
  const double rest =
      std::isfinite(value) ? (value - whole) * static_cast<double>(kMicroseconds) : 0;
  return {truncate(whole), std::min<std::int64_t>(std::llround(rest), kMicroseconds - 1)};
}

std::string timeText(timeval time) {
  char text[48];
  const auto fraction = std::clamp<long>(time.tv_usec, 0, kMicroseconds - 1);
  std::snprintf(text, sizeof text, "%lld.%06ld", static_cast<long long>(time.tv_sec), fraction);
  return text;
}

std::string realText(double value, int precision) {
  if (std::isnan(value)) {
    return "nan";
  }
  char text[32];
  const auto end =
      std::to_chars(std::begin(text), std::end(text), value, std::chars_format::general,
                    std::clamp(precision, 1, kMaxPrecision));
  return {text, end.ptr};
}

bool sameReal(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

bool sameTime(timeval a, timeval b) {
  return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec;
}

}  // namespace

CElement::CElement(bool value) : type_(DATA_BOOLEAN), value_(value) {}

CElement::CElement(std::int32_t value, data_type_t type)
    : type_(type == DATA_ENUMERATED ? DATA_ENUMERATED : DATA_INTEGER), value_(value) {}

CElement::CElement(std::int64_t value) : type_(DATA_INTEGER64), value_(value) {}

CElement::CElement(double value) : type_(DATA_REAL), value_(value) {}

CElement::CElement(timeval value) : type_(DATA_TIMEVAL), value_(value) {}

CElement::CElement(std::string text) : type_(DATA_STRING), value_(std::move(text)) {}

std::string CElement::to_string() const {
  return to_string(kDefaultPrecision);
}

std::string CElement::to_string(int precision) const {
  return std::visit(Overload{[](std::monostate) { return std::string(); },
                             [](bool value) { return std::string(value ? "true" : "false"); },
                             [](std::int32_t value) { return std::to_string(value); },
                             [](std::int64_t value) { return std::to_string(value); },
                             [&](double value) { return realText(value, precision); },
                             [](timeval value) { return timeText(value); },
                             [](const std::string& value) { return value; }},
                    value_);
}

bool CElement::to_bool() const {
  return std::visit(Overload{[](std::monostate) { return false; },
                             [](timeval value) { return !sameTime(value, _invalid_time); },
                             [](const std::string& value) {
                               return strcasecmp(value.c_str(), "true") == 0 || realOf(value) != 0;
                             },
                             [](auto value) { return value != 0; }},
                    value_);
}

std::int32_t CElement::to_int() const {
  return saturate<std::int32_t>(to_int64());
}

std::uint32_t CElement::to_uint() const {
  return saturate<std::uint32_t>(to_int64());
}

std::int64_t CElement::to_int64() const {
  return std::visit(Overload{[](std::monostate) { return std::int64_t{0}; },
                             [](double value) { return truncate(value); },
                             [](timeval value) { return std::int64_t{value.tv_sec}; },
                             [](const std::string& value) {
                               return integerOf(value).value_or(truncate(realOf(value)));
                             },
                             [](auto value) { return static_cast<std::int64_t>(value); }},
                    value_);
}

double CElement::to_double() const {
  return std::visit(
      Overload{[](std::monostate) { return 0.0; }, [](timeval value) { return seconds(value); },
               [](const std::string& value) { return realOf(value); },
               [](auto value) { return static_cast<double>(value); }},
      value_);
}

timeval CElement::to_timeval() const {
  return std::visit(
      Overload{[](std::monostate) { return _invalid_time; }, [](timeval value) { return value; },
               [](double value) { return toTime(value); },
               [](const std::string& value) { return timeOf(value); },
               [](auto value) {
                 return timeval{static_cast<std::int64_t>(value), 0};
               }},
      value_);
}

std::string CElement::to_translated_string(const std::locale& locale, const char* context,
                                           const char* domain) const {
  using Catalogue = boost::locale::message_format<char>;
  std::string text = to_string();
  // The empty text is where a catalogue keeps its header.
  if (text.empty() || !std::has_facet<Catalogue>(locale)) {
    return text;
  }
  const auto& catalogue = std::use_facet<Catalogue>(locale);
  const char* translated = catalogue.get(catalogue.domain(domain), context, text.c_str());
  return translated == nullptr ? text : translated;
}

void CElement::convert_type(data_type_t type) {
  const timeval time = time_;
  switch (type) {
    case DATA_NONE:
      *this = CElement();
      break;
    case DATA_BOOLEAN:
      *this = CElement(to_bool());
      break;
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      *this = CElement(to_int(), type);
      break;
    case DATA_REAL:
      *this = CElement(to_double());
      break;
    case DATA_TIMEVAL:
      *this = CElement(to_timeval());
      break;
    case DATA_STRING:
      *this = CElement(to_string());
      break;
    case DATA_INTEGER64:
      *this = CElement(to_int64());
      break;
    case DATA_SAME_AS_VALUE:
      break;
  }
  time_ = time;
}

void CElement::split_string(std::vector<std::string>& out, std::string_view text, char separator) {
  out.clear();
  while (true) {
    const std::size_t end = text.find(separator);
    out.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return;
    }
    text.remove_prefix(end + 1);
  }
}

bool operator==(const CElement& a, const CElement& b) {
  if (a.type_ != b.type_ || !sameTime(a.time_, b.time_)) {
    return false;
  }
  switch (a.type_) {
    case DATA_TIMEVAL:
      return sameTime(a.to_timeval(), b.to_timeval());
    case DATA_REAL:
      return sameReal(a.to_double(), b.to_double());
    case DATA_STRING:
      return std::get<std::string>(a.value_) == std::get<std::string>(b.value_);
    case DATA_NONE:
    case DATA_BOOLEAN:
    case DATA_ENUMERATED:
    case DATA_INTEGER:
    case DATA_SAME_AS_VALUE:
    case DATA_INTEGER64:
      break;
  }
  return a.to_int64() == b.to_int64();
}

}  // namespace toolkit
