#include "toolkit/multistate.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "cds/leaf_text.h"
#include "toolkit/leaf_reader.h"

namespace toolkit {

namespace {

constexpr std::string_view kBooleanLabels = "false;true";
constexpr std::string_view kMultistateType = "Multistate";
constexpr std::size_t kNoList = 2;  // characters that make no list of writable labels yet

bool isState(data_type_t type) {
  return type == DATA_ENUMERATED || type == DATA_INTEGER;
}

// The label at an index, or nothing. An empty label is no label.
std::optional<std::string_view> labelAt(std::string_view labels, int index) {
  for (int i = 0; index >= 0; ++i) {
    const std::size_t end = labels.find(';');
    if (i == index) {
      const std::string_view label = labels.substr(0, end);
      return label.empty() ? std::nullopt : std::optional(label);
    }
    if (end == std::string_view::npos) {
      break;
    }
    labels.remove_prefix(end + 1);
  }
  return std::nullopt;
}

std::optional<int> indexOf(std::string_view labels, std::string_view label) {
  for (int index = 0; !label.empty(); ++index) {
    const std::size_t end = labels.find(';');
    if (labels.substr(0, end) == label) {
      return index;
    }
    if (end == std::string_view::npos) {
      break;
    }
    labels.remove_prefix(end + 1);
  }
  return std::nullopt;
}

// The state of a label that may be written. A list of writable labels may leave some out, so the
// index counts in the list of all.
std::optional<int> writableState(const std::string& possible, const std::string& writable,
                                 const std::string& label) {
  const auto index = indexOf(writable, label);
  if (!writable.empty() && !index) {
    return std::nullopt;
  }
  return possible.empty() ? index : indexOf(possible, label);
}

}  // namespace

bool CCds_Multistate::IsMultistate(const std::string& nodePath, bool fetchLabels,
                                   std::string& possibleValues) {
  CLeafReader leaves;
  const auto valueType = leaves.add(nodePath + ":ValueType");
  const auto possible = leaves.add(nodePath + ":PossibleValues");
  const auto value = leaves.add(nodePath + ":Value");
  leaves.read(cds_);
  const std::string labels = leaves.text(possible);
  if (fetchLabels) {
    possibleValues = labels;
  }
  const CElement* const element = leaves.element(value);
  return leaves.text(valueType) == kMultistateType ||
         (!labels.empty() && element != nullptr && isState(element->type()));
}

int CCds_Multistate::GetBoolPossibleValues(const std::string& nodePath, bool writable,
                                           std::string& possibleValues) {
  possibleValues = writable ? leafText(nodePath, "WritableValues") : "";
  if (possibleValues.empty()) {
    possibleValues = leafText(nodePath, "PossibleValues");
  }
  if (possibleValues.empty()) {
    possibleValues = kBooleanLabels;
  }
  return 0;
}

int CCds_Multistate::GetStringValue(const std::string& possibleValues, int state,
                                    std::string& label) {
  const auto found = labelAt(possibleValues, state);
  label = found ? std::string(*found) : std::to_string(state);
  return 0;
}

int CCds_Multistate::GetBoolPossibleValue(const std::string& possibleValues, bool state,
                                          std::string& label) {
  return GetStringValue(possibleValues, state ? 1 : 0, label);
}

int CCds_Multistate::GetBoolFromString(const std::string& possibleValues, const std::string& text,
                                       bool& state) {
  if (possibleValues.find(';') == std::string::npos) {
    const bool isTrue = strcasecmp(text.c_str(), "true") == 0;
    if (!isTrue && strcasecmp(text.c_str(), "false") != 0) {
      return 1;
    }
    state = isTrue;
    return 0;
  }
  int index = 0;
  if (GetEnumValue(possibleValues, text, index) != 0 || index > 1) {
    return 1;
  }
  state = index == 1;
  return 0;
}

int CCds_Multistate::GetEnumValue(const std::string& possibleValues, const std::string& text,
                                  int& state) {
  const auto index = indexOf(possibleValues, text);
  state = index.value_or(state);
  return index ? 0 : 1;
}

int CCds_Multistate::StringToMultiValue(const CPath& path, data_type_t dataType,
                                        const std::string& text, CElement& element,
                                        bool& isMultistate, Labels which) {
  std::string possible;
  isMultistate = IsMultistate(path.getNodePath(), true, possible);
  std::string writable =
      which == Labels::kAny ? "" : leafText(path.getNodePath(), "WritableValues");
  if (writable.size() <= kNoList) {
    writable.clear();
  }
  if (dataType == DATA_BOOLEAN) {
    const std::string& list = possible.empty() ? writable : possible;
    const bool hasLabels = list.find(';') != std::string::npos;
    isMultistate = hasLabels || !writable.empty();
    possible = hasLabels ? possible : kBooleanLabels;
  }
  const auto state = writableState(possible, writable, text);
  const bool mapped = state && (dataType == DATA_BOOLEAN ? *state <= 1 : isMultistate);
  if (!mapped) {
    return 1;
  }
  const timeval time = element.time();
  element = dataType == DATA_BOOLEAN ? CElement(*state == 1) : CElement(*state, dataType);
  element.set_time(time);
  return 0;
}

std::string CCds_Multistate::leafText(const std::string& nodePath, const char* leafName) {
  return toolkit::leafText(cds_, nodePath + ":" + leafName);
}

}  // namespace toolkit
