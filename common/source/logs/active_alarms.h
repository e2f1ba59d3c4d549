// The active alarms of the device: its alarm table in the store as records of a reply.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "TarnixH.h"
#include "front/global_data.h"
#include "search/timed_pattern.h"

// Builds the record of the alarm at a node of the table, in the SOAP context. Null when the alarm
// is left out: its node cannot be read, or its source path does not match. A bad pattern matches
// nothing and is logged for each alarm. Throws SearchEnded.
nss1__AlarmUpdate* mapAlarmDescription(_global_data_t* glptr, struct soap* ctx,
                                       const std::string& alarmPath, TimedPattern& pathPattern);

// Whether an alarm goes before another: by Time, then by EventId; or by both downwards.
struct RuntimeAlarmCmp {
  bool reverse = false;
  bool operator()(const nss1__AlarmUpdate* a, const nss1__AlarmUpdate* b) const;
};

// Part of the alarms in their order, by index: [first, end).
struct AlarmRange {
  std::size_t first = 0;
  std::size_t end = 0;
  int trimmed = 0;  // alarms of the time at the edge that was moved
};

// The part that a request asks for, of alarms with these times. With more than `max` (when that is
// not below 1) the latest or the earliest of them; `trim` then takes away at the cut what is left
// of a group of one time that lies on both sides of it.
AlarmRange chooseAlarms(const std::vector<LONG64>& times, int max, bool latest, bool reverse,
                        bool trim);
