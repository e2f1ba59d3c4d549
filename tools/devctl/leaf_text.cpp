#include "leaf_text.h"

#include <strings.h>

#include <array>
#include <charconv>
#include <ctime>
#include <nlohmann/json.hpp>

#include "model_json.h"
#include "toolkit/printable.h"

namespace leaf_text {

namespace {

using toolkit::CElement;
using toolkit::printable;

std::string timeText(timeval time) {
  std::tm parts{};
  if (time.tv_sec == 0 && time.tv_usec == 0) {
    return "-";
  }
  if (gmtime_r(&time.tv_sec, &parts) == nullptr) {
    return CElement(time).to_string();
  }
  std::array<char, 64> date{};
  std::array<char, 16> fraction{};
  std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(fraction.data(), fraction.size(), ".%06dZ", static_cast<int>(time.tv_usec));
  return std::string(date.data()) + fraction.data();
}

template <typename Number>
bool parseNumber(const std::string& text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

// Numbers take the way of the models, so that both refuse the same ones.
bool parseAs(const nlohmann::json& value, data_type_t type, CElement& element) {
  return model_file::toElement(value, type, element).empty();
}

}  // namespace

std::string value(const CElement& element) {
  constexpr int kDigits = 15;
  return element.type() == DATA_REAL ? element.to_string(kDigits) : element.to_string();
}

std::string line(const toolkit::CPath& path, const CElement& element, element_property_t source) {
  const char* type = pcd_enum_to_str(element.type());
  return printable(path.str()) + '\t' + (type != nullptr ? type : "None") + '\t' +
         printable(value(element)) + '\t' + timeText(element.time()) + '\t' +
         model_file::sourceWord(source);
}

bool parse(const std::string& text, data_type_t type, CElement& element) {
  if (type == DATA_STRING) {
    element = CElement(text);
    return true;
  }
  if (type == DATA_BOOLEAN) {
    const bool yes = strcasecmp(text.c_str(), "true") == 0;
    if (!yes && strcasecmp(text.c_str(), "false") != 0) {
      return false;
    }
    element = CElement(yes);
    return true;
  }
  if (type == DATA_REAL || type == DATA_TIMEVAL) {
    double number = 0;
    return parseNumber(text, number) && parseAs(number, type, element);
  }
  std::int64_t number = 0;
  return parseNumber(text, number) && parseAs(number, type, element);
}

}  // namespace leaf_text
