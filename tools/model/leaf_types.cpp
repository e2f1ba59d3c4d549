#include "leaf_types.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace leaf_types {

std::optional<data_type_t> ofValueType(const std::string& word) {
  if (strcasecmp(word.c_str(), "Multistate") == 0) {
    return DATA_INTEGER;
  }
  const data_type_t type = pcd_human_str_to_enum(word);
  if (type == DATA_NONE || type == DATA_SAME_AS_VALUE) {
    return std::nullopt;
  }
  return type;
}

bool followsValue(const std::string& leafName) {
  static constexpr std::array<std::string_view, 13> kNames = {"Value",
                                                              "Minimum",
                                                              "Maximum",
                                                              "Resolution",
                                                              ".Deadband",
                                                              ".RangeLow",
                                                              ".RangeHigh",
                                                              ".AlarmHighLimit",
                                                              ".AlarmLowLimit",
                                                              ".AlarmHighHighLimit",
                                                              ".AlarmLowLowLimit",
                                                              ".AlarmHysteresis",
                                                              ".AlarmOnValue"};
  return std::find(kNames.begin(), kNames.end(), leafName) != kNames.end();
}

}  // namespace leaf_types
