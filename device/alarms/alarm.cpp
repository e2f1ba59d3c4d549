#include "alarms/alarm.h"

#include <algorithm>
#include <charconv>

namespace device {

using toolkit::CElement;
using toolkit::CEvent;

namespace {

Level levelAfter(Level level, std::int32_t ack, bool raised) {
  switch (ack) {
    case toolkit::ACK_CLOSED:
      return Level::kClosed;
    case toolkit::ACK_NOT_ACKED:
      return level == Level::kAcknowledged ? Level::kNew : level;
    default:
      return raised ? Level::kAcknowledged : Level::kClosed;
  }
}

std::int32_t ackOf(Level level) {
  switch (level) {
    case Level::kAcknowledged:
      return toolkit::ACK_ACKED;
    case Level::kClosed:
      return toolkit::ACK_CLOSED;
    default:
      return toolkit::ACK_NOT_ACKED;
  }
}

bool isCritical(const std::string& limit) {
  return std::any_of(kLimitKinds.begin(), kLimitKinds.end(),
                     [&](const LimitKind& kind) { return kind.critical && limit == kind.leaf; });
}

Level levelFrom(std::int32_t number) {
  for (const Level level : {Level::kNew, Level::kCleared, Level::kAcknowledged}) {
    if (number == static_cast<std::int32_t>(level)) {
      return level;
    }
  }
  return Level::kClosed;
}

struct Leaf {
  const char* node;
  CElement element;
};

std::vector<Leaf> leavesOf(const Alarm& alarm) {
  return {{"SequenceID", CElement(static_cast<std::int32_t>(alarm.sequence))},
          {"SourcePath", CElement(alarm.source)},
          {"Limit", CElement(alarm.limit)},
          {"SourceValue", alarm.value},
          {"AlarmMsg", CElement(alarm.message)},
          {"AlarmLevel", CElement(static_cast<std::int32_t>(alarm.level))},
          {"ConditionRaised", CElement(alarm.condition)},
          {"Note", CElement(alarm.note)}};
}

void setLeaves(Alarm& alarm, const std::vector<const CElement*>& leaves) {
  const auto leaf = [&](std::size_t place) {
    return leaves[place] == nullptr ? CElement() : *leaves[place];
  };
  alarm.sequence = leaf(0).to_uint();
  alarm.changed = leaf(0).time();
  alarm.source = leaf(1).to_string();
  alarm.raised = leaf(1).time();
  alarm.limit = leaf(2).to_string();
  alarm.value = leaf(3);
  alarm.message = leaf(4).to_string();
  alarm.level = levelFrom(leaf(5).to_int());
  alarm.condition = leaf(6).to_bool();
  alarm.note = leaf(7).to_string();
}

}  // namespace

bool followCondition(Alarm& alarm, bool raised, const AlarmPoint& point) {
  const Level before = alarm.level;
  if (before == Level::kNew && !raised && !point.latch) {
    alarm.level = point.autoClosing ? Level::kClosed : Level::kCleared;
  } else if (before == Level::kCleared && raised) {
    alarm.level = Level::kNew;
  } else if (before == Level::kAcknowledged && !raised) {
    alarm.level = Level::kClosed;
  }
  if (alarm.level != before) {
    alarm.condition = raised;
  }
  return alarm.level != before;
}

bool acknowledge(Alarm& alarm, const CEvent& acknowledgement, bool raised) {
  const std::int32_t ack = acknowledgement.ack;
  if (ack < toolkit::ACK_NOT_ACKED || ack > toolkit::ACK_CLOSED) {
    return false;
  }
  const std::string& note = acknowledgement.note.empty() ? alarm.note : acknowledgement.note;
  const bool noted = note != alarm.note;
  alarm.note = note;
  if (alarm.isClosed()) {
    return false;
  }
  const Level before = alarm.level;
  alarm.level = levelAfter(before, ack, raised);
  if (alarm.level != before) {
    alarm.condition = raised;
  }
  return noted || alarm.level != before;
}

CEvent eventOf(const Alarm& alarm, const AlarmPoint* point, const std::string& source) {
  CEvent event;
  event.type = toolkit::EVENT_ALARM;
  event.path = alarm.source;
  event.id = alarm.number;
  event.sequence = alarm.sequence;
  event.severity = isCritical(alarm.limit) ? toolkit::SEVERITY_CRITICAL : toolkit::SEVERITY_CAUTION;
  event.time = alarm.changed;
  event.raised = alarm.raised;
  event.value = alarm.value;
  event.message = alarm.message;
  event.condition = alarm.condition;
  event.ack = ackOf(alarm.level);
  event.variation = alarm.level == Level::kNew ? 2 : 1;
  event.note = alarm.note;
  event.source = source;
  event.waveforms = alarm.waveforms;
  if (point != nullptr) {
    event.priority = point->priority;
    event.autoClosing = point->autoClosing;
  }
  return event;
}

std::uint64_t alarmNumber(const std::string& node) {
  const std::string name = node.substr(node.rfind('/') + 1);
  std::int64_t number = 0;
  std::from_chars(name.data(), name.data() + name.size(), number);
  const bool good = number > 0 && number <= kLargestNumber && name == std::to_string(number);
  return good ? static_cast<std::uint64_t>(number) : 0;
}

bool readAlarm(toolkit::CCds& cds, std::uint64_t number, Alarm& alarm) {
  alarm = {};
  alarm.number = number;
  toolkit::CLeafReader batch;
  const std::vector<Leaf> names = leavesOf(alarm);
  std::vector<toolkit::CLeafReader::Handle> handles;
  handles.reserve(names.size());
  for (const Leaf& leaf : names) {
    handles.push_back(batch.add(alarm.node() + "/" + leaf.node));
  }
  if (!batch.read(cds)) {
    return false;
  }
  std::vector<const CElement*> leaves;
  leaves.reserve(handles.size());
  for (const auto& handle : handles) {
    leaves.push_back(batch.element(handle));
  }
  setLeaves(alarm, leaves);
  return true;
}

void writeAlarm(toolkit::CLeafBatch& batch, const Alarm* before, const Alarm& alarm) {
  if (before != nullptr && before->sequence == alarm.sequence && before->note == alarm.note) {
    return;
  }
  const std::vector<Leaf> leaves = leavesOf(alarm);
  const std::vector<Leaf> old = before == nullptr ? std::vector<Leaf>() : leavesOf(*before);
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    if (before == nullptr || !(leaves[i].element == old[i].element)) {
      batch.add(alarm.node() + "/" + leaves[i].node, leaves[i].element);
    }
  }
}

}  // namespace device
