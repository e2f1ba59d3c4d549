#include "alarms/alarm_engine.h"

#include <algorithm>
#include <utility>

#include "quality/device_quality.h"
#include "source_name.h"
#include "toolkit/time.h"

namespace device {

using toolkit::CElement;
using toolkit::CEvent;
using toolkit::CPath;
using toolkit::secondsBetween;

namespace {

constexpr double kReserveSeconds = 1;

std::uint64_t millisecondsOf(timeval time) {
  return static_cast<std::uint64_t>(qel_UNIXtoQELtime64(&time)) / 1000;
}

}  // namespace

struct AlarmEngine::Tick {
  const toolkit::CLeafReader& leaves;
  State next;
  double seconds;
  timeval stamp;
  std::vector<CEvent> events;
  // A device each.
  std::vector<bool> enabled;
  std::vector<bool> good;
  // A point each: what is known or written of InAlarm.
  std::vector<std::optional<bool>> inAlarm;
};

bool AlarmEngine::step(const toolkit::CLeafReader& leaves, double seconds, timeval stamp) {
  std::vector<toolkit::CEventStream::Entry> acknowledgements;
  if (acknowledgements_.read(0, acknowledgements) != 0) {
    return false;
  }
  countOn(leaves);
  if (reserved_ <= state_.last) {
    reserve(state_.last + kReserved, stamp);
  }
  Tick tick{leaves, state_, seconds, stamp, {}, {}, {}, configuration_.inAlarm};
  for (const auto& entry : acknowledgements) {
    acknowledge(tick, entry.event);
  }
  closeOrphans(tick);
  followDevices(tick);
  for (std::size_t i = 0; i < configuration_.watches.size(); ++i) {
    follow(tick, i);
  }
  if (!write(tick)) {
    return false;
  }
  if (reserved_ < state_.last + kReserved / 2) {
    reserve(state_.last + kReserved, stamp);
  }
  const bool taken =
      acknowledgements.empty() || acknowledgements_.remove(acknowledgements.back().number) == 0;
  return removeOldest(stamp) && taken;
}

// Numbers go on from what the persistent half has kept.
void AlarmEngine::countOn(const toolkit::CLeafReader& leaves) {
  const CElement* total = leaves.element(total_);
  const std::int64_t given = total == nullptr ? 0 : total->to_int64();
  if (given > 0 && given <= kLargestNumber) {
    state_.last = std::max(state_.last, static_cast<std::uint64_t>(given));
  }
}

// A flash that refuses is asked again after a second.
void AlarmEngine::reserve(std::uint64_t upTo, timeval stamp) {
  if (!reservationError_.empty() && !toolkit::isDue(reservedAt_, stamp, kReserveSeconds)) {
    return;
  }
  reservedAt_ = stamp;
  CElement ahead(static_cast<std::int64_t>(upTo));
  CElement given(static_cast<std::int64_t>(state_.last));
  ahead.set_time(stamp);
  const auto present = cds_.find_leaf(CPath(kTotalPath));
  const bool isSame = present && present->to_int64() == given.to_int64();
  given.set_time(isSame ? present->time() : stamp);
  std::vector<api_status_t> statuses;
  if (cds_.set_leaves({CPath(kTotalPath), CPath(kTotalPath)}, {ahead, given}, {PCD_TRUE, PCD_FALSE},
                      statuses, kSource) == 0) {
    reserved_ = upTo;
    reservationError_.clear();
  } else {
    reservationError_ = cds_.last_error();
  }
}

void AlarmEngine::release() {
  if (reserved_ > state_.last) {
    reserve(state_.last, toolkit::presentTime());
  }
}

void AlarmEngine::change(Tick& tick, Alarm& alarm, const AlarmPoint* point,
                         const std::string& source) {
  ++alarm.sequence;
  alarm.changed = tick.stamp;
  tick.events.push_back(eventOf(alarm, point, source));
}

void AlarmEngine::acknowledge(Tick& tick, const CEvent& acknowledgement) const {
  const auto found = tick.next.alarms.find(acknowledgement.id);
  if (found == tick.next.alarms.end()) {
    return;
  }
  Alarm& alarm = found->second;
  const auto index = configuration_.find(alarm.source, alarm.limit);
  const bool raised = index && tick.next.watches[*index].condition.raised();
  if (!device::acknowledge(alarm, acknowledgement, raised)) {
    return;
  }
  const AlarmPoint* point =
      index ? &configuration_.points[configuration_.watches[*index].point] : nullptr;
  change(tick, alarm, point, acknowledgement.source);
  if (index && alarm.isClosed() && tick.next.watches[*index].alarm == alarm.number) {
    tick.next.watches[*index].alarm = 0;
    tick.next.watches[*index].muted = raised;
  }
}

void AlarmEngine::closeOrphans(Tick& tick) const {
  for (const std::uint64_t number : orphans_) {
    const auto found = tick.next.alarms.find(number);
    if (found == tick.next.alarms.end() || found->second.isClosed()) {
      continue;
    }
    found->second.level = Level::kClosed;
    found->second.condition = false;
    change(tick, found->second, nullptr, kSource);
  }
}

void AlarmEngine::followDevices(Tick& tick) const {
  for (std::size_t i = 0; i < configuration_.devices.size(); ++i) {
    tick.enabled.push_back(tick.leaves.flag(deviceLeaves_[i].enabled, true));
    tick.good.push_back(isGood(qualityOf(tick.leaves, deviceLeaves_[i].quality)));
    noteBreaker(tick, i);
  }
}

void AlarmEngine::follow(Tick& tick, std::size_t index) const {
  const AlarmWatch& watch = configuration_.watches[index];
  const AlarmPoint& point = configuration_.points[watch.point];
  WatchState& state = tick.next.watches[index];
  const auto value = tick.leaves.number(pointLeaves_[watch.point]);
  if (!tick.enabled[point.device]) {
    state.condition = Condition();
  } else if (value && tick.good[point.device]) {
    state.condition.step(watch.rule, *value, tick.seconds);
  }
  noteFall(tick, index);
  const bool raised = state.condition.raised();
  state.muted = state.muted && raised;
  if (state.alarm == 0) {
    if (raised && !state.muted) {
      raise(tick, index);
    }
    return;
  }
  Alarm& alarm = tick.next.alarms[state.alarm];
  if (!followCondition(alarm, raised, point)) {
    return;
  }
  const CElement* present = tick.leaves.element(pointLeaves_[watch.point]);
  if (raised && present != nullptr) {
    noteCause(tick, alarm, index, *present);
  }
  change(tick, alarm, &point, kSource);
  if (alarm.isClosed()) {
    state.alarm = 0;
  }
}

void AlarmEngine::raise(Tick& tick, std::size_t index) const {
  const AlarmWatch& watch = configuration_.watches[index];
  const AlarmPoint& point = configuration_.points[watch.point];
  const CElement* value = tick.leaves.element(pointLeaves_[watch.point]);
  if (value == nullptr) {
    return;
  }
  Alarm alarm;
  alarm.number = ++tick.next.last;
  if (alarm.number > reserved_) {
    alarm.number = tick.next.last = std::max(alarm.number, millisecondsOf(tick.stamp));
  }
  alarm.source = point.leaf();
  alarm.limit = kLimitKinds.at(watch.kind).leaf;
  alarm.message = watch.message;
  alarm.raised = tick.stamp;
  noteCause(tick, alarm, index, *value);
  change(tick, alarm, &point, kSource);
  tick.next.watches[index].alarm = alarm.number;
  tick.next.alarms[alarm.number] = std::move(alarm);
}

// The first record that is announced while the value is low is the one of its fall.
void AlarmEngine::noteFall(Tick& tick, std::size_t index) const {
  const AlarmWatch& watch = configuration_.watches[index];
  if (watch.rule.direction != Direction::kBelow || !tick.next.watches[index].condition.present()) {
    if (!tick.next.falls.empty()) {
      tick.next.falls.erase(index);
    }
    return;
  }
  Fall& fall = tick.next.falls.try_emplace(index, Fall{tick.stamp, {}}).first->second;
  if (!fall.record.empty()) {
    return;
  }
  const AlarmPoint& point = configuration_.points[watch.point];
  const auto record = deviceLeaves_[point.device].record.record(tick.leaves);
  if (!record || secondsBetween(record->time, fall.begin) > kRecordSlackSeconds) {
    return;
  }
  const std::string& device = configuration_.devices[point.device].node;
  const std::string name = point.node.substr(device.size() + 1);
  if (record->points.empty() ||
      std::find(record->points.begin(), record->points.end(), name) != record->points.end()) {
    fall.record = record->url;
  }
}

void AlarmEngine::noteCause(const Tick& tick, Alarm& alarm, std::size_t index,
                            const CElement& value) {
  alarm.value = value;
  alarm.value.set_time(tick.stamp);
  alarm.waveforms.clear();
  const auto fall = tick.next.falls.find(index);
  if (fall != tick.next.falls.end() && !fall->second.record.empty()) {
    alarm.waveforms = {fall->second.record};
  }
}

void AlarmEngine::noteBreaker(Tick& tick, std::size_t device) const {
  const CElement* value = tick.leaves.element(deviceLeaves_[device].breaker);
  if (value == nullptr) {
    return;
  }
  const bool closed = value->to_int() == configuration_.devices[device].closed;
  const auto before = std::exchange(tick.next.breakers[device], closed);
  if (!before || *before == closed) {
    return;
  }
  CEvent event;
  event.path = configuration_.devices[device].node + "/Breaker/Value";
  event.severity = toolkit::SEVERITY_INFORMATION;
  event.time = tick.stamp;
  event.value = *value;
  event.message = closed ? "Circuit breaker closed" : "Circuit breaker opened";
  event.source = kSource;
  tick.events.push_back(std::move(event));
}

bool AlarmEngine::write(Tick& tick) {
  toolkit::CLeafBatch batch(tick.stamp);
  for (const auto& [number, alarm] : tick.next.alarms) {
    const auto before = state_.alarms.find(number);
    writeAlarm(batch, before == state_.alarms.end() ? nullptr : &before->second, alarm);
  }
  writeCounters(batch, tick);
  writeInAlarm(batch, tick);
  for (const CEvent& event : tick.events) {
    batch.notify(event);
  }
  // A node whose path is too long for one leaf more goes without it.
  const api_status_t status = batch.write(cds_, kSource);
  if (status != API_SUCCESS && status != API_BAD_PATH) {
    return false;
  }
  state_ = std::move(tick.next);
  configuration_.inAlarm = std::move(tick.inAlarm);
  configuration_.released.clear();
  return true;
}

void AlarmEngine::writeCounters(toolkit::CLeafBatch& batch, const Tick& tick) const {
  const State& next = tick.next;
  const auto open = static_cast<std::int32_t>(
      std::count_if(next.alarms.begin(), next.alarms.end(),
                    [](const auto& entry) { return !entry.second.isClosed(); }));
  const CElement* count = tick.leaves.element(count_);
  if (count == nullptr || count->to_int() != open) {
    batch.add(kCountPath, CElement(open));
  }
  if (next.last != state_.last || tick.leaves.element(total_) == nullptr) {
    batch.add(kTotalPath, CElement(static_cast<std::int64_t>(next.last)));
  }
}

void AlarmEngine::writeInAlarm(toolkit::CLeafBatch& batch, Tick& tick) const {
  const State& next = tick.next;
  std::vector<bool> inAlarm(configuration_.points.size(), false);
  for (std::size_t i = 0; i < next.watches.size(); ++i) {
    const WatchState& state = next.watches[i];
    if (state.condition.raised() || (state.alarm != 0 && next.alarms.at(state.alarm).condition)) {
      inAlarm[configuration_.watches[i].point] = true;
    }
  }
  for (std::size_t i = 0; i < inAlarm.size(); ++i) {
    // A node that somebody has just removed is not made again.
    if (tick.inAlarm[i] == inAlarm[i] || tick.leaves.element(pointLeaves_[i]) == nullptr) {
      continue;
    }
    tick.inAlarm[i] = inAlarm[i];
    batch.add(configuration_.points[i].node + "/InAlarm", CElement(static_cast<bool>(inAlarm[i])));
  }
  for (const std::string& node : configuration_.released) {
    batch.add(node + "/InAlarm", CElement(false));
  }
}

bool AlarmEngine::removeOldest(timeval stamp) {
  std::vector<const Alarm*> closed;
  for (const auto& [number, alarm] : state_.alarms) {
    if (alarm.isClosed()) {
      closed.push_back(&alarm);
    }
  }
  std::stable_sort(closed.begin(), closed.end(), [](const Alarm* a, const Alarm* b) {
    return timercmp(&a->changed, &b->changed, <);
  });
  const std::size_t kept = std::min(closed.size(), kMaxClosed);
  for (std::size_t i = 0; i < closed.size(); ++i) {
    if (i + kept >= closed.size() &&
        secondsBetween(closed[i]->changed, stamp) < kKeepClosedSeconds) {
      break;
    }
    api_status_t status = API_NONE;
    cds_.remove_node(closed[i]->node(), status, kSource);
    if (status != API_SUCCESS && status != API_NOT_FOUND) {
      return false;
    }
    state_.alarms.erase(closed[i]->number);
  }
  return true;
}

}  // namespace device
