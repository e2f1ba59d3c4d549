// The units of the store's points.
#pragma once

#include <string>

namespace sim {

// How many plain units one unit of the store is: "kilowatts" are 1000 watts.
double scaleOf(const std::string& units);

}  // namespace sim
