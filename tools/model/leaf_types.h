// What type a leaf has when nobody says: the rule that models and `devctl store set` share.
#pragma once

#include <optional>
#include <string>

#include "toolkit/types.h"

namespace leaf_types {

// Type of a node's value by its ValueType word, in any letter case: "Multistate" is an Integer.
// Nothing for a word that is no type.
std::optional<data_type_t> ofValueType(const std::string& word);

// True for "Value" and the leaves that have the value's type: limits, Minimum, .AlarmOnValue, ...
bool followsValue(const std::string& leafName);

}  // namespace leaf_types
