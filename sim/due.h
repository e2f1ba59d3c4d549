// When something is to be done again.
#pragma once

#include <optional>

#include "alarms/alarm.h"

namespace sim {

// Whether so many seconds have passed. A clock that was set back is no reason to wait.
inline bool isDue(const std::optional<timeval>& last, timeval stamp, double seconds) {
  const double age = last ? secondsBetween(*last, stamp) : seconds;
  return age < 0 || age >= seconds;
}

}  // namespace sim
