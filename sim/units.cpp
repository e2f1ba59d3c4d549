#include "units.h"

namespace sim {

double scaleOf(const std::string& units) {
  if (units.starts_with("kilo")) {
    return 1e3;
  }
  if (units.starts_with("mega")) {
    return 1e6;
  }
  if (units.starts_with("milli")) {
    return 1e-3;
  }
  return units == "minutes" ? 60 : units == "hours" ? 3600 : 1;
}

}  // namespace sim
