// An alarm: its levels, its node in the store and its events.
//
//   level           from           to
//   new             condition up   cleared, closed when auto-closing; acknowledged by "acked"
//   cleared         condition gone new when it comes back; closed by "acked"
//   acknowledged    "acked"        closed when the condition goes; new by "not acked"
//   closed          the end; "closed" leads here from every level
//
// A latched alarm stays new, its condition standing, until it is acknowledged.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "alarms/alarm_points.h"
#include "toolkit/event.h"
#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/trees.h"

namespace device {

inline constexpr const char* kCountPath = "/Alarms/AlarmCount/Value";
inline constexpr const char* kTotalPath = "/Alarms/AlarmCountTotal/Value";
// What is beyond was not given by an engine, and nothing is counted on from there.
inline constexpr std::int64_t kLargestNumber = 1'000'000'000'000'000;

// The numbers are stored: they never change.
enum class Level : std::int32_t { kNew = 1, kCleared = 2, kAcknowledged = 3, kClosed = 5 };

struct Alarm {
  std::uint64_t number = 0;
  std::string source;  // leaf path
  std::string limit;   // leaf name
  toolkit::CElement value;
  std::string message;
  std::uint32_t sequence = 0;
  Level level = Level::kNew;
  bool condition = true;
  std::string note;
  timeval raised = {};
  timeval changed = {};
  // URLs, of what raised it last; they are not in its node.
  std::vector<std::string> waveforms;

  bool isClosed() const { return level == Level::kClosed; }
  std::string node() const { return toolkit::kAlarmsPath + ("/" + std::to_string(number)); }
};

// Both change the alarm and return true when the change counts, for its number and for an event;
// these are the caller's to make.
bool followCondition(Alarm& alarm, bool raised, const AlarmPoint& point);
bool acknowledge(Alarm& alarm, const toolkit::CEvent& acknowledgement, bool raised);

// `point` may be null when it is gone.
toolkit::CEvent eventOf(const Alarm& alarm, const AlarmPoint* point, const std::string& source);

// The number of an alarm's node; 0 for a node of another kind.
std::uint64_t alarmNumber(const std::string& node);

// The alarm at a node. One whose leaves are missing is closed.
bool readAlarm(toolkit::CCds& cds, std::uint64_t number, Alarm& alarm);
// Writes what differs from `before`, or everything when that is null.
void writeAlarm(toolkit::CLeafBatch& batch, const Alarm* before, const Alarm& alarm);

}  // namespace device
