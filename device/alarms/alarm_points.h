// What the store says of alarms: the devices, their points with limits, and how each alarm is to be
// handled.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "alarms/alarm_rules.h"
#include "toolkit/cds.h"

namespace device {

struct AlarmDevice {
  std::string node;
  std::int32_t closed = 1;  // the breaker's number for "closed"

  friend bool operator==(const AlarmDevice& a, const AlarmDevice& b) = default;
};

struct AlarmPoint {
  std::string node;
  std::size_t device = 0;
  std::int32_t priority = 0;
  bool autoClosing = false;
  bool latch = false;
  std::string leaf() const { return node + "/Value"; }

  friend bool operator==(const AlarmPoint& a, const AlarmPoint& b) = default;
};

// One limit of one point.
struct AlarmWatch {
  std::size_t point = 0;
  std::size_t kind = 0;  // in kLimitKinds
  Rule rule;
  std::string message;

  friend bool operator==(const AlarmWatch& a, const AlarmWatch& b) = default;
};

struct AlarmConfiguration {
  std::vector<AlarmDevice> devices;
  std::vector<AlarmPoint> points;
  std::vector<AlarmWatch> watches;
  // What the points' nodes say of InAlarm.
  std::vector<std::optional<bool>> inAlarm;
  // Nodes that say InAlarm but have no limits any more.
  std::vector<std::string> released;
  std::size_t nodes = 0;  // that were looked at

  void add(AlarmWatch watch);
  // The watch of a source's leaf path and the leaf name of a limit.
  std::optional<std::size_t> find(const std::string& source, const std::string& limit) const;
  // Whether the same is watched in the same way.
  bool watchesSame(const AlarmConfiguration& other) const;

 private:
  std::unordered_map<std::string, std::size_t> byLimit_;
};

// False when the store cannot be read.
bool readConfiguration(toolkit::CCds& cds, AlarmConfiguration& configuration);

}  // namespace device
