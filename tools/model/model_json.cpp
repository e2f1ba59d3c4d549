#include "model_json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "toolkit/time.h"

namespace model_file {

namespace {

using nlohmann::json;
using toolkit::CElement;

constexpr double kMicro = 1e6;
constexpr double kFarthestTime = 9.2e12;  // what 64-bit microseconds hold
constexpr std::size_t kTimeDigits = 6;
constexpr std::array<const char*, 4> kSources = {"Normal", "Persistent", "Automatic", "MPL"};

std::string mustBe(const char* what) {
  return std::string("the value must be ") + what;
}

std::string toInt32(const json& value, data_type_t type, CElement& element) {
  if (!value.is_number_integer()) {
    return mustBe("an integer");
  }
  using Limits = std::numeric_limits<std::int32_t>;
  const bool huge = value.is_number_unsigned() && value.get<std::uint64_t>() > Limits::max();
  if (huge || value.get<std::int64_t>() < Limits::min()) {
    return "the value does not fit 32 bits (type \"Integer64\" is wider)";
  }
  element = CElement(value.get<std::int32_t>(), type);
  return {};
}

std::string toInt64(const json& value, CElement& element) {
  if (!value.is_number_integer()) {
    return mustBe("an integer");
  }
  if (value.is_number_unsigned() &&
      value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max()) {
    return "the value does not fit 64 bits";
  }
  element = CElement(value.get<std::int64_t>());
  return {};
}

std::string toReal(const json& value, CElement& element) {
  if (value.is_number()) {
    element = CElement(value.get<double>());
    return {};
  }
  if (value == "nan") {
    element = CElement(std::numeric_limits<double>::quiet_NaN());
  } else if (value == "inf") {
    element = CElement(std::numeric_limits<double>::infinity());
  } else if (value == "-inf") {
    element = CElement(-std::numeric_limits<double>::infinity());
  } else {
    return mustBe("a number");
  }
  return {};
}

// Seconds with at most six digits after a point, to the last microsecond.
bool timeOfText(const std::string& text, timeval& time) {
  const std::size_t point = text.find('.');
  const std::string whole = text.substr(0, point);
  std::string digits = point == std::string::npos ? "" : text.substr(point + 1);
  if (whole.empty() || whole == "-" || digits.size() > kTimeDigits) {
    return false;
  }
  digits.resize(kTimeDigits, '0');
  digits.insert(0, whole);
  std::int64_t micros = 0;
  const char* end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, micros);
  return error == std::errc() && rest == end && qel_QELtoUNIXtime64(micros, &time) == 0;
}

// For times beyond a double's microseconds: these have more than six digits.
std::string textOfTime(std::int64_t micros) {
  std::string text = std::to_string(micros);
  return text.insert(text.size() - kTimeDigits, ".");
}

json fromReal(double value) {
  if (std::isnan(value)) {
    return "nan";
  }
  if (std::isinf(value)) {
    return value > 0 ? "inf" : "-inf";
  }
  return value;
}

}  // namespace

std::optional<data_type_t> defaultType(const json& value, data_type_t shared) {
  if (value.is_null() || value.is_structured()) {
    return std::nullopt;
  }
  if (shared != DATA_NONE) {
    return shared;
  }
  if (value.is_boolean()) {
    return DATA_BOOLEAN;
  }
  if (value.is_number_float()) {
    return DATA_REAL;
  }
  return value.is_number() ? DATA_INTEGER : DATA_STRING;
}

std::optional<data_type_t> typeOfWord(const std::string& word) {
  if (word == "None") {
    return DATA_NONE;
  }
  return leaf_types::ofValueType(word);
}

std::string toElement(const json& value, data_type_t type, CElement& element) {
  switch (type) {
    case DATA_NONE:
      if (!value.is_null()) {
        return mustBe("null");
      }
      element = CElement();
      return {};
    case DATA_BOOLEAN:
      if (!value.is_boolean()) {
        return mustBe("true or false");
      }
      element = CElement(value.get<bool>());
      return {};
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      return toInt32(value, type, element);
    case DATA_INTEGER64:
      return toInt64(value, element);
    case DATA_REAL:
      return toReal(value, element);
    case DATA_TIMEVAL: {
      timeval time{};
      if (!toTimeval(value, time)) {
        return mustBe("seconds since 1970");
      }
      element = CElement(time);
      return {};
    }
    case DATA_STRING:
      if (!value.is_string()) {
        return mustBe("a text");
      }
      element = CElement(value.get<std::string>());
      return {};
    case DATA_SAME_AS_VALUE:
      break;
  }
  return "the value has no type";
}

bool toTimeval(const json& value, timeval& time) {
  if (value.is_string()) {
    return timeOfText(value.get<std::string>(), time);
  }
  if (!value.is_number()) {
    return false;
  }
  const double seconds = value.get<double>();
  if (!(std::fabs(seconds) <= kFarthestTime)) {
    return false;
  }
  const double whole = std::floor(seconds);
  const auto micros = static_cast<suseconds_t>(std::llround((seconds - whole) * kMicro));
  time.tv_sec = static_cast<time_t>(whole) + micros / 1000000;
  time.tv_usec = micros % 1000000;
  return true;
}

bool toSource(const std::string& word, element_property_t& source) {
  for (std::size_t i = 0; i < kSources.size(); ++i) {
    if (i != ELEMENT_AUTOMATIC && word == kSources[i]) {
      source = static_cast<element_property_t>(i);
      return true;
    }
  }
  return false;
}

json fromElement(const CElement& element) {
  switch (element.type()) {
    case DATA_BOOLEAN:
      return element.to_bool();
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      return element.to_int();
    case DATA_INTEGER64:
      return element.to_int64();
    case DATA_REAL:
      return fromReal(element.to_double());
    case DATA_TIMEVAL:
      return fromTimeval(element.to_timeval());
    case DATA_STRING:
      return element.to_string();
    case DATA_NONE:
    case DATA_SAME_AS_VALUE:
      break;
  }
  return nullptr;
}

json fromTimeval(timeval time) {
  const std::int64_t micros = qel_UNIXtoQELtime64(&time);
  const json seconds = static_cast<double>(micros) / kMicro;
  timeval read{};
  const bool exact = toTimeval(seconds, read) && qel_UNIXtoQELtime64(&read) == micros;
  return exact ? seconds : json(textOfTime(micros));
}

const char* sourceWord(element_property_t source) {
  const auto index = static_cast<std::size_t>(source);
  return index < kSources.size() ? kSources[index] : kSources[0];
}

}  // namespace model_file
