// Device models as JSON text, and back.
//
//   { "rights": [ {"path": "/", "user": "*", "allow": "r"} ],
//     "nodes": { "/Dev1":          {"NodeType": "Device", ".Quality": 192},
//                "/Dev1/VoltageA": {"NodeType": "Point", "ValueType": "Real", "Value": 230.1},
//                "/Dev1/Breaker":  {"PossibleValues": "Open;Closed", "ValueType": "Multistate",
//                                   "Value": {"value": 1, "time": 1700000000.5,
//                                             "source": "Persistent"}} } }
//
// A leaf in the short form is a JSON value: a boolean is a Boolean, an integer an Integer, a
// fraction a Real, a string a String. "Value", and the leaves that share the value's type (limits,
// Minimum, .Deadband and so on), follow the node's ValueType instead; "Multistate" is an Integer.
// The long form
// {"value", "type", "time", "source"} says what the short form leaves to default: type by the rules
// above, no time stamp, source "Normal". Times are seconds since 1970 (UTC) with fractions, as a
// text ("9223372036854.775807") where a number would lose microseconds. A timeval is written like a
// time. A Real that JSON has no number for is "nan", "inf" or "-inf".
//
// Any text may come in: nothing here throws but std::bad_alloc, and nesting is bounded.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/admin.h"

namespace model_file {

// Reads a model. An empty result, or one sentence that names the line or the path at fault; `model`
// is then empty.
std::string parse(std::string_view text, toolkit::admin::Model& model);

// Reads the model in a file; a failure names the file too.
std::string load(const std::string& file, toolkit::admin::Model& model);

// The text of a model, a leaf a line; parse() makes the same model of it.
std::string format(const toolkit::admin::Model& model);

}  // namespace model_file
