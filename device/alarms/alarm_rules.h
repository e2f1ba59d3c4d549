// When a value is in alarm: limits, hysteresis and delays. Pure, no store, no clock.
#pragma once

#include <array>
#include <cstddef>

namespace device {

enum class Direction { kAbove, kBelow, kEqual };

// The limits that a point may have, each one a condition of its own.
struct LimitKind {
  const char* leaf;         // where the point keeps the limit
  const char* messageLeaf;  // and what is notified when it is crossed
  const char* message;      // notified when the point has no message of its own
  Direction direction;
  bool critical;
};

inline constexpr std::array<LimitKind, 5> kLimitKinds = {{
    {".AlarmHighHighLimit", ".AlarmHighHighMsg", "Value far too high", Direction::kAbove, true},
    {".AlarmHighLimit", ".AlarmHighMsg", "Value too high", Direction::kAbove, false},
    {".AlarmLowLimit", ".AlarmLowMsg", "Value too low", Direction::kBelow, false},
    {".AlarmLowLowLimit", ".AlarmLowLowMsg", "Value far too low", Direction::kBelow, true},
    {".AlarmOnValue", ".AlarmOnValueMsg", "Value in alarm state", Direction::kEqual, true},
}};

struct Rule {
  Direction direction = Direction::kAbove;
  double limit = 0;
  double hysteresis = 0;
  double delay = 0;       // seconds that a value must be beyond the limit
  double clearDelay = 0;  // seconds that it must be back

  friend bool operator==(const Rule& a, const Rule& b) = default;
};

// One limit of one point as time goes by.
class Condition {
 public:
  // The value has been `value` for so many seconds. NaN changes nothing, and no time passes.
  void step(const Rule& rule, double value, double seconds);
  bool raised() const { return raised_; }
  bool present() const { return present_; }

  // As it is after a raise.
  static Condition standing();

 private:
  bool present_ = false;  // at the last value
  bool raised_ = false;   // after the delays
  double held_ = 0;       // seconds that present_ has stayed
};

}  // namespace device
