// What the store says of alarms: the devices, their points with limits, and how each alarm is to be
// handled.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "alarms/alarm_rules.h"
#include "toolkit/cds.h"

namespace sim {

struct AlarmDevice {
  std::string node;
  std::int32_t closed = 1;  // the breaker's number for "closed"
};

struct AlarmPoint {
  std::string node;
  std::size_t device = 0;
  std::int32_t priority = 0;
  bool autoClosing = false;
  bool latch = false;
  std::string leaf() const { return node + "/Value"; }
};

// One limit of one point.
struct AlarmWatch {
  std::size_t point = 0;
  std::size_t kind = 0;  // in kLimitKinds
  Rule rule;
  std::string message;
};

struct AlarmConfiguration {
  std::vector<AlarmDevice> devices;
  std::vector<AlarmPoint> points;
  std::vector<AlarmWatch> watches;
  // Nodes that say InAlarm but have no limits any more.
  std::vector<std::string> released;

  // The watch of a source's leaf path and the leaf name of a limit.
  std::optional<std::size_t> find(const std::string& source, const std::string& limit) const;
};

// False when the store cannot be read.
bool readConfiguration(toolkit::CCds& cds, AlarmConfiguration& configuration);

}  // namespace sim
