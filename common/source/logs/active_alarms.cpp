#include "logs/active_alarms.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <exception>

#include "logs/event_records.h"
#include "soap_records.h"
#include "toolkit/path.h"
#include "toolkit/time.h"
#include "values/locales.h"

using toolkit::CElement;
using toolkit::CPath;

namespace {

// In the order in which they are read.
enum AlarmLeaf { kSourcePath, kSourceValue, kMessage, kSequence, kLevel, kCondition, kNote };
constexpr std::array<const char*, 7> kAlarmLeaves = {
    "/SourcePath/Value", "/SourceValue/Value",     "/AlarmMsg/Value", "/SequenceID/Value",
    "/AlarmLevel/Value", "/ConditionRaised/Value", "/Note/Value"};

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

// False when the alarm is not there, or went while it was read.
bool readLeaves(global_data_t* glptr, const std::string& alarmPath,
                std::vector<CElement>& elements) {
  std::vector<CPath> paths;
  paths.reserve(kAlarmLeaves.size());
  for (const char* leaf : kAlarmLeaves) {
    paths.emplace_back(alarmPath + leaf).normalize();
  }
  std::vector<api_status_t> statuses;
  std::vector<element_property_t> sources;
  return glptr->cdsApi.get_leaves(paths, statuses, elements, sources) == 0 &&
         statuses[kSourcePath] == API_SUCCESS && statuses[kSequence] == API_SUCCESS;
}

// A leaf of the alarm's source point; false, and `element` stays, where it has none.
bool readSourceLeaf(global_data_t* glptr, const CPath& source, const char* leaf,
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

nss1__AlarmUpdate* mapAlarmDescription(global_data_t* glptr, struct soap* ctx,
                                       const std::string& alarmPath, TimedPattern& pathPattern) {
  std::vector<CElement> leaves;
  if (!readLeaves(glptr, alarmPath, leaves)) {
    return nullptr;
  }
  const std::string sourcePath = leaves[kSourcePath].to_string();
  if (!matches(pathPattern, sourcePath)) {
    return nullptr;
  }
  nss1__AlarmUpdate* alarm = soap_new_nss1__AlarmUpdate(ctx);
  alarm->EventId = numberOf(alarmPath);
  alarm->SequenceIndex = leaves[kSequence].to_uint();
  alarm->EventType = nss1__EventType__Alarm;
  const timeval changed = leaves[kSequence].time();
  alarm->Time = qel_UNIXtoQELtime64(&changed);
  alarm->Description = newString(ctx);
  TranslateAlarmMsg(glptr, leaves[kMessage].to_string(), *alarm->Description);
  extractValueNPath(glptr, ctx, sourcePath, false, leaves[kSourceValue], alarm->SourcePath,
                    alarm->Value, alarm->NumericValue);
  alarm->Quality = newString(ctx, std::to_string(toolkit::CEvent::kGoodQuality));

  CPath source(sourcePath);
  source.normalize();
  CElement priority(kDefaultPriority);
  readSourceLeaf(glptr, source, ".BasePriority", priority);
  alarm->BasePriority = newString(ctx, priority.to_string());
  CElement autoClosing(false);
  readSourceLeaf(glptr, source, ".AutoClosing", autoClosing);
  alarm->AutoClosing = autoClosing.to_bool();

  const AckState state = ackState(leaves[kLevel].to_uint());
  alarm->AckStatus = state.status;
  alarm->VariationLevel = state.variation;
  alarm->ConditionPresent = leaves[kCondition].to_bool();
  alarm->Note = newString(ctx, leaves[kNote].to_string());
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
