// The half of the engine that follows what the store says: limits, devices, the table of alarms.
#include <algorithm>
#include <utility>

#include "alarms/alarm_engine.h"

namespace sim {

namespace {

constexpr double kRefreshSeconds = 1;

}  // namespace

// A clock that was set back is no reason to wait.
bool AlarmEngine::refreshWhenDue(timeval stamp) {
  const double age = readAt_ ? secondsBetween(*readAt_, stamp) : kRefreshSeconds;
  if (age >= 0 && age < kRefreshSeconds) return true;
  AlarmConfiguration configuration;
  if (!readConfiguration(cds_, configuration) || !readTable()) return false;
  adopt(std::move(configuration));
  linkAlarms();
  if (!readAt_) takeOver();
  planReads();
  readAt_ = stamp;
  return true;
}

// Forgets alarms whose nodes are gone. The alarms that stand there count only at the start: later
// ones are this engine's own.
bool AlarmEngine::readTable() {
  std::vector<std::string> nodes;
  if (!childrenOf(cds_, kAlarmsNode, nodes)) return false;
  State next = state_;
  next.alarms.clear();
  for (const std::string& node : nodes) {
    const std::uint64_t number = alarmNumber(node);
    next.last = std::max(next.last, number);
    if (const auto known = state_.alarms.find(number); known != state_.alarms.end()) {
      next.alarms[number] = known->second;
    } else if (number != 0 && !readAt_ && !readAlarm(cds_, number, next.alarms[number])) {
      return false;
    }
  }
  state_ = std::move(next);
  return true;
}

void AlarmEngine::adopt(AlarmConfiguration configuration) {
  std::vector<WatchState> watches;
  for (const AlarmWatch& watch : configuration.watches) {
    const auto known = configuration_.find(configuration.points[watch.point].leaf(),
                                           kLimitKinds.at(watch.kind).leaf);
    watches.push_back(known ? state_.watches[*known] : WatchState());
  }
  std::vector<std::optional<bool>> breakers(configuration.devices.size());
  for (std::size_t i = 0; i < breakers.size(); ++i) {
    for (std::size_t k = 0; k < configuration_.devices.size(); ++k) {
      if (configuration.devices[i].node == configuration_.devices[k].node) {
        breakers[i] = state_.breakers[k];
      }
    }
  }
  state_.watches = std::move(watches);
  state_.breakers = std::move(breakers);
  configuration_ = std::move(configuration);
}

// One alarm a limit: of several, left by whatever accident, the newest.
void AlarmEngine::linkAlarms() {
  orphans_.clear();
  for (WatchState& watch : state_.watches) watch.alarm = 0;
  for (const auto& [number, alarm] : state_.alarms) {
    if (alarm.isClosed()) continue;
    std::uint64_t orphan = number;
    if (const auto place = configuration_.find(alarm.source, alarm.limit)) {
      orphan = std::exchange(state_.watches[*place].alarm, number);
    }
    if (orphan != 0) orphans_.push_back(orphan);
  }
}

// A condition stands as the newest alarm of its limit says.
void AlarmEngine::takeOver() {
  for (const auto& [number, alarm] : state_.alarms) {
    const auto place = configuration_.find(alarm.source, alarm.limit);
    if (!place) continue;
    WatchState& watch = state_.watches[*place];
    watch.condition = alarm.condition ? Condition::standing() : Condition();
    watch.muted = alarm.condition && alarm.isClosed();
  }
}

void AlarmEngine::planReads() {
  leaves_ = {};
  leaves_.add(kCountPath);
  leaves_.add(kTotalPath);
  for (const AlarmDevice& device : configuration_.devices) {
    leaves_.add(device.node + "/AlarmsEnabled");
    leaves_.add(device.node + "/Breaker");
  }
  for (const AlarmPoint& point : configuration_.points) {
    leaves_.add(point.leaf());
    leaves_.add(point.node + "/InAlarm");
  }
}

}  // namespace sim
