#include "logs/active_alarms.h"

#include <algorithm>
#include <cstdlib>
#include <exception>

#include "logs/event_records.h"
#include "soap_records.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/path.h"
#include "toolkit/time.h"
#include "values/locales.h"

using toolkit::CElement;
using toolkit::CLeafReader;
using toolkit::CPath;

namespace {

// The leaves of an alarm's node that a record needs.
struct AlarmLeaves {
  explicit AlarmLeaves(const std::string& alarmPath) : path(alarmPath) {}

  // False when the alarm is not there, or went while it was read.
  bool read(toolkit::CCds& cds) {
    return reader.read(cds) && reader.element(sourcePath) != nullptr &&
           reader.element(sequence) != nullptr;
  }
  // A leaf that is missing has no value.
  CElement element(CLeafReader::Handle leaf) const {
    const CElement* const found = reader.element(leaf);
    return found != nullptr ? *found : CElement();
  }

  std::string path;
  CLeafReader reader;
  CLeafReader::Handle sourcePath = reader.add(path + "/SourcePath/Value");
  CLeafReader::Handle sourceValue = reader.add(path + "/SourceValue/Value");
  CLeafReader::Handle message = reader.add(path + "/AlarmMsg/Value");
  CLeafReader::Handle sequence = reader.add(path + "/SequenceID/Value");
  CLeafReader::Handle level = reader.add(path + "/AlarmLevel/Value");
  CLeafReader::Handle condition = reader.add(path + "/ConditionRaised/Value");
  CLeafReader::Handle note = reader.add(path + "/Note/Value");
};

constexpr const char* kDefaultPriority = "5000";

struct AckState {
  enum nss1__AckStatus status;
  int variation;
};

AckState ackState(std::uint32_t level) {
  constexpr std::uint32_t kNew = 1;
  constexpr std::uint32_t kAcknowledged = 3;
  constexpr std::uint32_t kClosed = 5;
  switch (level) {
    case kNew:
      return {nss1__AckStatus__NotAcked, 2};
    case kAcknowledged:
      return {nss1__AckStatus__Acked, 1};
    case kClosed:
      return {nss1__AckStatus__Closed, 1};
    default:
      return {nss1__AckStatus__NotAcked, 1};
  }
}

// A leaf of the alarm's source point; false, and `element` stays, where it has none.
bool readSourceLeaf(_global_data_t* glptr, const CPath& source, const char* leaf,
                    CElement& element) {
  auto found =
      source.is_normalized() ? glptr->cdsApi.find_leaf(source.getNewPath(leaf)) : std::nullopt;
  if (!found || found->type() == DATA_NONE) {
    return false;
  }
  element = std::move(*found);
  return true;
}

bool matches(TimedPattern& pattern, const std::string& sourcePath) {
  try {
    return pattern.isIn(sourcePath);
  } catch (const SearchEnded&) {
    throw;
  } catch (const std::exception& e) {
    __psyslog->info(1, "Exception in regular expression matching of alarm path = %s", e.what());
    return false;
  }
}

std::uint64_t numberOf(const std::string& alarmPath) {
  const std::string name = alarmPath.substr(alarmPath.rfind('/') + 1);
  return static_cast<std::uint64_t>(std::strtoll(name.c_str(), nullptr, 10));
}

}  // namespace

nss1__AlarmUpdate* mapAlarmDescription(_global_data_t* glptr, struct soap* ctx,
                                       const std::string& alarmPath, TimedPattern& pathPattern) {
  AlarmLeaves leaves(alarmPath);
  if (!leaves.read(glptr->cdsApi)) {
    return nullptr;
  }
  const std::string sourcePath = leaves.reader.text(leaves.sourcePath);
  const CElement sequence = leaves.element(leaves.sequence);
  if (!matches(pathPattern, sourcePath)) {
    return nullptr;
  }
  nss1__AlarmUpdate* alarm = soap_new_nss1__AlarmUpdate(ctx);
  alarm->EventId = numberOf(alarmPath);
  alarm->SequenceIndex = sequence.to_uint();
  alarm->EventType = nss1__EventType__Alarm;
  const timeval changed = sequence.time();
  alarm->Time = qel_UNIXtoQELtime64(&changed);
  alarm->Description = newString(ctx);
  TranslateAlarmMsg(glptr, leaves.reader.text(leaves.message), *alarm->Description);
  extractValueNPath(glptr, ctx, sourcePath, false, leaves.element(leaves.sourceValue),
                    alarm->SourcePath, alarm->Value, alarm->NumericValue);
  alarm->Quality = newString(ctx, std::to_string(toolkit::CEvent::kGoodQuality));

  CPath source(sourcePath);
  source.normalize();
  CElement priority(kDefaultPriority);
  readSourceLeaf(glptr, source, ".BasePriority", priority);
  alarm->BasePriority = newString(ctx, priority.to_string());
  CElement autoClosing(false);
  readSourceLeaf(glptr, source, ".AutoClosing", autoClosing);
  alarm->AutoClosing = autoClosing.to_bool();

  const AckState state = ackState(leaves.element(leaves.level).to_uint());
  alarm->AckStatus = state.status;
  alarm->VariationLevel = state.variation;
  alarm->ConditionPresent = leaves.reader.flag(leaves.condition);
  alarm->Note = newString(ctx, leaves.reader.text(leaves.note));
  return alarm;
}

bool RuntimeAlarmCmp::operator()(const nss1__AlarmUpdate* a, const nss1__AlarmUpdate* b) const {
  const nss1__AlarmUpdate* before = reverse ? b : a;
  const nss1__AlarmUpdate* after = reverse ? a : b;
  return before->Time == after->Time ? before->EventId < after->EventId
                                     : before->Time < after->Time;
}

namespace {

// Takes the alarms of a time that the range cuts off its moving edge. Returns the time that is at
// the edge then; of a range that ends up empty, that of the group that filled it.
LONG64 trimEdge(const std::vector<LONG64>& times, bool atStart, AlarmRange& range) {
  LONG64 edge = atStart ? times[range.end - 1] : times[range.first];
  if (atStart) {
    while (range.end > 0 && times[range.end - 1] == times[range.end]) {
      edge = --range.end > 0 ? times[range.end - 1] : edge;
    }
    return edge;
  }
  while (range.first < times.size() && times[range.first] == times[range.first - 1]) {
    edge = ++range.first < times.size() ? times[range.first] : edge;
  }
  return edge;
}

}  // namespace

AlarmRange chooseAlarms(const std::vector<LONG64>& times, int max, bool latest, bool reverse,
                        bool trim) {
  AlarmRange range{0, times.size(), 0};
  if (max < 1 || times.size() <= static_cast<std::size_t>(max)) {
    return range;
  }
  const auto maxCount = static_cast<std::size_t>(max);
  const bool atStart = latest == reverse;
  if (atStart) {
    range.end = maxCount;
  } else {
    range.first = times.size() - maxCount;
  }
  if (!trim) {
    return range;
  }
  const LONG64 edge = trimEdge(times, atStart, range);
  if (range.end - range.first < maxCount) {
    range.trimmed = static_cast<int>(std::count(times.begin(), times.end(), edge));
  }
  return range;
}
