#include "alarms/alarm_engine.h"

#include <algorithm>
#include <utility>

namespace sim {

using toolkit::CElement;
using toolkit::CEvent;

struct AlarmEngine::Tick {
  State next;
  double seconds;
  timeval stamp;
  std::vector<CEvent> events;
};

bool AlarmEngine::step(double seconds, timeval stamp) {
  std::vector<toolkit::CEventStream::Entry> acknowledgements;
  if (!refreshWhenDue(stamp) || !leaves_.read(cds_) ||
      acknowledgements_.read(0, acknowledgements) != 0) {
    return false;
  }
  countOn();
  Tick tick{state_, seconds, stamp, {}};
  for (const auto& entry : acknowledgements) acknowledge(tick, entry.event);
  closeOrphans(tick);
  for (std::size_t i = 0; i < configuration_.watches.size(); ++i) follow(tick, i);
  for (std::size_t i = 0; i < configuration_.devices.size(); ++i) noteBreaker(tick, i);
  const bool written = write(tick);
  if (waveforms_ != nullptr) waveforms_->settle(written);
  if (!written) return false;
  state_ = std::move(tick.next);
  const bool taken =
      acknowledgements.empty() || acknowledgements_.remove(acknowledgements.back().number) == 0;
  return removeOldest(stamp) && taken;
}

// Numbers go on from what the persistent half has kept.
void AlarmEngine::countOn() {
  const CElement* total = leaves_.at(kTotal);
  const std::int64_t given = total == nullptr ? 0 : total->to_int64();
  if (given > 0 && given <= kLargestNumber) {
    state_.last = std::max(state_.last, static_cast<std::uint64_t>(given));
  }
}

void AlarmEngine::change(Tick& tick, Alarm& alarm, const AlarmPoint* point,
                         const std::string& source) const {
  ++alarm.sequence;
  alarm.changed = tick.stamp;
  tick.events.push_back(eventOf(alarm, point, source));
}

void AlarmEngine::acknowledge(Tick& tick, const CEvent& acknowledgement) const {
  const auto found = tick.next.alarms.find(acknowledgement.id);
  if (found == tick.next.alarms.end()) return;
  Alarm& alarm = found->second;
  const auto place = configuration_.find(alarm.source, alarm.limit);
  const bool raised = place && tick.next.watches[*place].condition.raised();
  if (!sim::acknowledge(alarm, acknowledgement, raised)) return;
  const AlarmPoint* point =
      place ? &configuration_.points[configuration_.watches[*place].point] : nullptr;
  change(tick, alarm, point, acknowledgement.source);
  if (place && alarm.isClosed() && tick.next.watches[*place].alarm == alarm.number) {
    tick.next.watches[*place].alarm = 0;
    tick.next.watches[*place].muted = raised;
  }
}

void AlarmEngine::closeOrphans(Tick& tick) const {
  for (const std::uint64_t number : orphans_) {
    const auto found = tick.next.alarms.find(number);
    if (found == tick.next.alarms.end() || found->second.isClosed()) continue;
    found->second.level = Level::kClosed;
    found->second.condition = false;
    change(tick, found->second, nullptr, kSimulationSource);
  }
}

void AlarmEngine::follow(Tick& tick, std::size_t place) const {
  const AlarmWatch& watch = configuration_.watches[place];
  const AlarmPoint& point = configuration_.points[watch.point];
  WatchState& state = tick.next.watches[place];
  const auto value = leaves_.number(valuePlace(watch.point));
  if (!leaves_.flag(enabledPlace(point.device), true)) {
    state.condition = Condition();
  } else if (value) {
    state.condition.step(watch.rule, *value, tick.seconds);
  }
  noteFall(state, watch, tick.stamp);
  const bool raised = state.condition.raised();
  state.muted = state.muted && raised;
  if (state.alarm == 0) {
    if (raised && !state.muted) raise(tick, place);
    return;
  }
  Alarm& alarm = tick.next.alarms[state.alarm];
  if (!followCondition(alarm, raised, point)) return;
  if (raised) tellCause(alarm, state, *leaves_.at(valuePlace(watch.point)), tick.stamp);
  change(tick, alarm, &point, kSimulationSource);
  if (alarm.isClosed()) state.alarm = 0;
}

void AlarmEngine::raise(Tick& tick, std::size_t place) const {
  const AlarmWatch& watch = configuration_.watches[place];
  const AlarmPoint& point = configuration_.points[watch.point];
  const CElement* value = leaves_.at(valuePlace(watch.point));
  if (value == nullptr) return;
  Alarm alarm;
  alarm.number = ++tick.next.last;
  alarm.source = point.leaf();
  alarm.limit = kLimitKinds.at(watch.kind).leaf;
  alarm.message = watch.message;
  alarm.raised = tick.stamp;
  tellCause(alarm, tick.next.watches[place], *value, tick.stamp);
  change(tick, alarm, &point, kSimulationSource);
  tick.next.watches[place].alarm = alarm.number;
  tick.next.alarms[alarm.number] = std::move(alarm);
}

void AlarmEngine::noteFall(WatchState& state, const AlarmWatch& watch, timeval stamp) const {
  const bool low = watch.rule.direction == Direction::kBelow && state.condition.present();
  if (!low || waveforms_ == nullptr) {
    state.fall.reset();
  } else if (!state.fall) {
    state.fall = waveforms_->fallOf(configuration_.points[watch.point].node, stamp);
  }
}

void AlarmEngine::tellCause(Alarm& alarm, const WatchState& state, const CElement& value,
                            timeval stamp) const {
  alarm.value = value;
  alarm.value.set_time(stamp);
  alarm.waveforms.clear();
  if (state.fall) alarm.waveforms = waveforms_->record(*state.fall, alarm, stamp);
}

void AlarmEngine::noteBreaker(Tick& tick, std::size_t device) const {
  const CElement* value = leaves_.at(breakerPlace(device));
  if (value == nullptr) return;
  const bool closed = value->to_int() == configuration_.devices[device].closed;
  const auto before = std::exchange(tick.next.breakers[device], closed);
  if (!before || *before == closed) return;
  CEvent event;
  event.path = configuration_.devices[device].node + "/Breaker/Value";
  event.severity = toolkit::SEVERITY_INFORMATION;
  event.time = tick.stamp;
  event.value = *value;
  event.message = closed ? "Circuit breaker closed" : "Circuit breaker opened";
  event.source = kSimulationSource;
  tick.events.push_back(std::move(event));
}

bool AlarmEngine::write(const Tick& tick) {
  toolkit::CLeafBatch batch(tick.stamp);
  for (const auto& [number, alarm] : tick.next.alarms) {
    const auto before = state_.alarms.find(number);
    writeAlarm(batch, before == state_.alarms.end() ? nullptr : &before->second, alarm);
  }
  writeCounters(batch, tick.next);
  writeInAlarm(batch, tick.next);
  for (const CEvent& event : tick.events) batch.tell(event);
  // A node whose path is too long for one leaf more goes without it.
  const api_status_t status = batch.write(cds_, kSimulationSource);
  if (status != API_SUCCESS && status != API_BAD_PATH) return false;
  configuration_.released.clear();
  return true;
}

void AlarmEngine::writeCounters(toolkit::CLeafBatch& batch, const State& next) const {
  const auto open = static_cast<std::int32_t>(
      std::count_if(next.alarms.begin(), next.alarms.end(),
                    [](const auto& entry) { return !entry.second.isClosed(); }));
  const CElement* count = leaves_.at(kCount);
  if (count == nullptr || count->to_int() != open) batch.add(kCountPath, CElement(open));
  const bool given = next.last != state_.last;
  if (given || leaves_.at(kTotal) == nullptr) {
    batch.add(kTotalPath, CElement(static_cast<std::int64_t>(next.last)),
              given ? PCD_TRUE : PCD_FALSE);
  }
}

void AlarmEngine::writeInAlarm(toolkit::CLeafBatch& batch, const State& next) const {
  std::vector<bool> inAlarm(configuration_.points.size(), false);
  for (std::size_t i = 0; i < next.watches.size(); ++i) {
    const WatchState& state = next.watches[i];
    if (state.condition.raised() || (state.alarm != 0 && next.alarms.at(state.alarm).condition)) {
      inAlarm[configuration_.watches[i].point] = true;
    }
  }
  for (std::size_t i = 0; i < inAlarm.size(); ++i) {
    const CElement* told = leaves_.at(inAlarmPlace(i));
    // A node that somebody has just removed is not made again.
    if (leaves_.at(valuePlace(i)) == nullptr || (told != nullptr && told->to_bool() == inAlarm[i]))
      continue;
    batch.add(configuration_.points[i].node + "/InAlarm", CElement(static_cast<bool>(inAlarm[i])));
  }
  for (const std::string& node : configuration_.released) {
    batch.add(node + "/InAlarm", CElement(false));
  }
}

bool AlarmEngine::removeOldest(timeval stamp) {
  std::vector<const Alarm*> closed;
  for (const auto& [number, alarm] : state_.alarms) {
    if (alarm.isClosed()) closed.push_back(&alarm);
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
    cds_.remove_node(closed[i]->node(), status, kSimulationSource);
    if (status != API_SUCCESS && status != API_NOT_FOUND) return false;
    state_.alarms.erase(closed[i]->number);
  }
  return true;
}

}  // namespace sim
