#include "alarms/alarm_rules.h"

#include <cmath>

namespace device {

namespace {

bool isBeyond(const Rule& rule, double value, bool already) {
  switch (rule.direction) {
    case Direction::kAbove:
      return value > rule.limit || (already && value >= rule.limit - rule.hysteresis);
    case Direction::kBelow:
      return value < rule.limit || (already && value <= rule.limit + rule.hysteresis);
    case Direction::kEqual:
      return value == rule.limit;
  }
  return false;
}

}  // namespace

void Condition::step(const Rule& rule, double value, double seconds) {
  if (std::isnan(value)) {
    return;
  }
  const bool present = isBeyond(rule, value, present_);
  held_ = present == present_ ? held_ + seconds : 0;
  present_ = present;
  if (held_ >= (present ? rule.delay : rule.clearDelay)) {
    raised_ = present;
  }
}

Condition Condition::standing() {
  Condition condition;
  condition.present_ = true;
  condition.raised_ = true;
  return condition;
}

}  // namespace device
