// Leaves as the operator reads and types them.
#pragma once

#include <string>

#include "toolkit/cds.h"

namespace leaf_text {

// path, type, value, time (UTC), source, with a tab between; control characters as "?".
std::string line(const toolkit::CPath& path, const toolkit::CElement& element,
                 element_property_t source);

// Value with all its digits.
std::string value(const toolkit::CElement& element);

// Makes an element of `type` from a typed text. False when the text is not of that type; the output
// then stays. A timeval is seconds since 1970 with fractions.
bool parse(const std::string& text, data_type_t type, toolkit::CElement& element);

}  // namespace leaf_text
