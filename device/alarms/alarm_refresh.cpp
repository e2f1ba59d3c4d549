// The half of the engine that follows what the store says: limits, devices, the table of alarms.
#include <algorithm>
#include <utility>

#include "alarms/alarm_engine.h"
#include "quality/device_quality.h"
#include "toolkit/time.h"

namespace device {

namespace {

constexpr double kRefreshSeconds = 1;
constexpr double kSecondsPerThousand = 3;

}  // namespace

bool AlarmEngine::refresh(timeval stamp, bool& changed) {
  const double seconds = refreshSeconds(kRefreshSeconds, kSecondsPerThousand, configuration_.nodes);
  if (!toolkit::isDue(readAt_, stamp, seconds)) {
    return true;
  }
  AlarmConfiguration configuration;
  if (!readConfiguration(cds_, configuration) || !readTable()) {
    return false;
  }
  if (!readAt_ || !configuration.watchesSame(configuration_)) {
    adopt(std::move(configuration));
    changed = true;
  } else {
    configuration_.inAlarm = std::move(configuration.inAlarm);
    configuration_.released = std::move(configuration.released);
  }
  linkAlarms();
  if (!readAt_) {
    takeOver();
  }
  readAt_ = stamp;
  return true;
}

// Forgets alarms whose nodes are gone. The alarms that stand there count only at the start: later
// ones are this engine's own.
bool AlarmEngine::readTable() {
  std::vector<std::string> nodes;
  if (!toolkit::readChildren(cds_, toolkit::kAlarmsPath, nodes)) {
    return false;
  }
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
  std::map<std::size_t, Fall> falls;
  for (const AlarmWatch& watch : configuration.watches) {
    const auto known = configuration_.find(configuration.points[watch.point].leaf(),
                                           kLimitKinds.at(watch.kind).leaf);
    if (known && state_.falls.contains(*known)) {
      falls[watches.size()] = state_.falls[*known];
    }
    watches.push_back(known ? state_.watches[*known] : WatchState());
  }
  std::map<std::string, std::optional<bool>> breakers;
  for (std::size_t i = 0; i < configuration_.devices.size(); ++i) {
    breakers[configuration_.devices[i].node] = state_.breakers[i];
  }
  state_.breakers.clear();
  for (const AlarmDevice& device : configuration.devices) {
    state_.breakers.push_back(breakers[device.node]);
  }
  state_.watches = std::move(watches);
  state_.falls = std::move(falls);
  configuration_ = std::move(configuration);
}

// One alarm a limit: of several, left by whatever accident, the newest.
void AlarmEngine::linkAlarms() {
  orphans_.clear();
  for (WatchState& watch : state_.watches) {
    watch.alarm = 0;
  }
  for (const auto& [number, alarm] : state_.alarms) {
    if (alarm.isClosed()) {
      continue;
    }
    std::uint64_t orphan = number;
    if (const auto index = configuration_.find(alarm.source, alarm.limit)) {
      orphan = std::exchange(state_.watches[*index].alarm, number);
    }
    if (orphan != 0) {
      orphans_.push_back(orphan);
    }
  }
}

// A condition stands as the newest alarm of its limit says.
void AlarmEngine::takeOver() {
  for (const auto& [number, alarm] : state_.alarms) {
    const auto index = configuration_.find(alarm.source, alarm.limit);
    if (!index) {
      continue;
    }
    WatchState& watch = state_.watches[*index];
    watch.condition = alarm.condition ? Condition::standing() : Condition();
    watch.muted = alarm.condition && alarm.isClosed();
  }
}

void AlarmEngine::plan(Plan& plan) {
  count_ = plan.add(kCountPath);
  total_ = plan.add(kTotalPath);
  deviceLeaves_.clear();
  for (const AlarmDevice& device : configuration_.devices) {
    const auto enabled = plan.add(device.node + "/AlarmsEnabled");
    const auto breaker = plan.add(device.node + "/Breaker");
    deviceLeaves_.push_back({enabled, breaker, plan.add(qualityLeaf(device.node)),
                             toolkit::CRecordReader(plan.leaves(), device.node)});
  }
  pointLeaves_.clear();
  for (const AlarmPoint& point : configuration_.points) {
    pointLeaves_.push_back(plan.add(point.leaf()));
  }
}

}  // namespace device
