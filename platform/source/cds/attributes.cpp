#include "cds/attributes.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <string>

#include "toolkit/types.h"

namespace toolkit {

namespace {

constexpr std::array kNames = {
    "Attributes",        "ValueType",
    "Children",          "NodeType",
    "Aliases",           "DisplayName",
    "Description",       "NodeSubtype",
    "ValueAge",          "Overridden",
    "Minimum",           "Maximum",
    "Resolution",        "PossibleValues",
    "MaximumLength",     "Units",
    "HasHistory",        "ShortName",
    "Reference",         "HasDynamicChildren",
    "Writable",          "InAlarm",
    "WritableValues",    "Format",
    "IsMultiLine",       ".GroupName",
    ".NotifyActions",    ".Deadband",
    ".RangeLow",         ".RangeHigh",
    ".BasePriority",     ".TrendTraits",
    ".AlarmBatch",       ".Quality",
    ".Source",           ".Time",
    ".AttribType",       ".LogOptions",
    ".AlarmEnable",      ".AlarmHighLimit",
    ".AlarmLowLimit",    ".AlarmHighHighLimit",
    ".AlarmLowLowLimit", ".AlarmHysteresis",
    ".AlarmHighMsg",     ".AlarmLowMsg",
    ".AlarmHighHighMsg", ".AlarmLowLowMsg",
    ".AutoClosing",      ".AlarmOnValue",
    ".AlarmOnValueMsg",  ".AlarmState",
    ".LatchAlarm",       ".AlarmDelay",
    ".AlarmClearDelay",  ".TrendPeriod",
};
static_assert(kNames.size() == 56);

constexpr int kFirstSubAttribute = 35;
constexpr int kLastSubAttribute = 37;

// What two names must have in common to be compared at all: the first character and the length.
constexpr int shapeOf(std::string_view name) {
  return static_cast<unsigned char>(name.front()) * 256 + static_cast<int>(name.size());
}

struct Attribute {
  int shape = 0;
  int number = 0;
  std::string_view name;
};

// By shape, for the lookup at each read.
constexpr std::array<Attribute, kNames.size()> sortedByShape() {
  std::array<Attribute, kNames.size()> sorted = {};
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    sorted[i] = {shapeOf(kNames[i]), static_cast<int>(i) + 1, kNames[i]};
  }
  std::sort(sorted.begin(), sorted.end(),
            [](const Attribute& a, const Attribute& b) { return a.shape < b.shape; });
  return sorted;
}
constexpr auto kSorted = sortedByShape();
constexpr std::size_t kMaxNameLength = 255;

// By the number of the type; a gap has no word.
constexpr std::array<const char*, 9> kTypeWords = {
    "None", "Boolean", "Enumerated", "Integer", "Real", "timeval", "String", nullptr, "Integer64"};

}  // namespace

int attributeNumber(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameLength) {
    return 0;
  }
  const int shape = shapeOf(name);
  const auto* known =
      std::lower_bound(kSorted.begin(), kSorted.end(), shape,
                       [](const Attribute& a, int wanted) { return a.shape < wanted; });
  for (; known != kSorted.end() && known->shape == shape; ++known) {
    if (known->name == name) {
      return known->number;
    }
  }
  return 0;
}

bool isSubAttribute(std::string_view name) {
  const int number = attributeNumber(name);
  return number >= kFirstSubAttribute && number <= kLastSubAttribute;
}

bool isReservedLeaf(std::string_view name) {
  const int number = attributeNumber(name);
  return name == "Value" ||
         (number != 0 && (number < kFirstSubAttribute || number > kLastSubAttribute));
}

bool isAutomaticLeaf(std::string_view name) {
  return name == "Children" || name == "Attributes";
}

}  // namespace toolkit

int pcd_attr_str_to_enum(const std::string& name) {
  return toolkit::attributeNumber(name);
}

const char* pcd_enum_to_str(int dataType) {
  return dataType >= 0 && dataType < static_cast<int>(toolkit::kTypeWords.size())
             ? toolkit::kTypeWords[static_cast<std::size_t>(dataType)]
             : nullptr;
}

data_type_t pcd_human_str_to_enum(const std::string& word) {
  for (std::size_t i = 0; i < toolkit::kTypeWords.size(); ++i) {
    const char* known = toolkit::kTypeWords[i];
    if (known != nullptr && strcasecmp(known, word.c_str()) == 0) {
      return static_cast<data_type_t>(i);
    }
  }
  return DATA_NONE;
}
