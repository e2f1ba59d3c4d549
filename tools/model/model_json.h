// JSON values and the store's elements: either way, as models and logs have them.
//
// Calls that can fail return a reason, or false, and leave their output alone.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "leaf_types.h"
#include "toolkit/element.h"

namespace model_file {

// Type of a value in the short form: `shared` (the type of the node's value, DATA_NONE when it does
// not count here) or what the JSON value is. Nothing for null, lists and objects.
std::optional<data_type_t> defaultType(const nlohmann::json& value, data_type_t shared);

// The words of "type" in the long form; "None" is a type here.
std::optional<data_type_t> typeOfWord(const std::string& word);

std::string toElement(const nlohmann::json& value, data_type_t type, toolkit::CElement& element);
// Seconds as a number; or as a text, which keeps the microseconds of the farthest times.
bool toTimeval(const nlohmann::json& value, timeval& time);
bool toSource(const std::string& word, element_property_t& source);

nlohmann::json fromElement(const toolkit::CElement& element);
// A number where that tells every microsecond.
nlohmann::json fromTimeval(timeval time);
const char* sourceWord(element_property_t source);

}  // namespace model_file
