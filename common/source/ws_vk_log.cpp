// The event, system and delta logs and the active alarms. Each handler returns SOAP_OK, and tells
// what went wrong in its reply, which belongs to the SOAP context.
#include <cassert>
#include <exception>
#include <set>
#include <unordered_set>

#include "engine_internals.h"
#include "front/global_data.h"
#include "logs/active_alarms.h"
#include "logs/event_records.h"
#include "logs/log_retrieval.h"
#include "soap_records.h"
#include "toolkit/path.h"
#include "toolkit/trees.h"
#include "values/error_strings.h"
#include "values/service_options.h"

using namespace toolkit::ws;

namespace {

constexpr int kEventShare = 4;  // of the delta records' maximum, what events may have
constexpr const char* kCounters = "/AlarmCount";

using AlarmSet = std::set<nss1__AlarmUpdate*, RuntimeAlarmCmp>;

int fetchEvents(_global_data_t* glptr, const std::string& dbPath,
                const nsvk__logRetrieveRequest& request, int maxRecords, std::string& errorText,
                int& numTrimmed, std::vector<toolkit::CEvent>& events) {
  return fetchLogEvents(glptr, dbPath, request, maxRecords, errorText, numTrimmed, events,
                        static_cast<unsigned>(glptr->pageSize),
                        static_cast<unsigned>(glptr->cacheSize),
                        static_cast<unsigned>(glptr->heapLimit));
}

// Releases records with their texts.
void release(struct soap* ctx, const std::vector<nss1__AlarmUpdate*>& alarms) {
  std::unordered_set<const void*> released;
  for (const nss1__AlarmUpdate* alarm : alarms) {
    released.insert({alarm, alarm->Note, alarm->BasePriority, alarm->Quality, alarm->NumericValue,
                     alarm->Value, alarm->SourcePath, alarm->Description});
  }
  engine_internals::release(ctx, released);
}

bool isInTime(const nsvk__logRetrieveRequest& request, LONG64 time) {
  return (request.startTime <= 0 || time >= request.startTime) &&
         (request.endTime <= 0 || time <= request.endTime);
}

// `others` receives the alarms outside the request's time.
AlarmSet collectAlarms(struct soap* ctx, const nsvk__logRetrieveRequest& request,
                       const std::vector<std::string>& nodes,
                       std::vector<nss1__AlarmUpdate*>& others) {
  TimedPattern pattern(request.path, globalData(ctx)->pReq, globalData(ctx)->maxSearch);
  AlarmSet alarms(RuntimeAlarmCmp{request.bReverseOrder});
  for (const std::string& node : nodes) {
    if (node.find(kCounters) != std::string::npos) {
      continue;
    }
    nss1__AlarmUpdate* alarm = mapAlarmDescription(globalData(ctx), ctx, node, pattern);
    if (alarm == nullptr) {
      continue;
    }
    if (!isInTime(request, alarm->Time)) {
      others.push_back(alarm);
      continue;
    }
    // Alarm numbers are unique.
    const bool bSuccess = alarms.insert(alarm).second;
    assert(bSuccess);
  }
  return alarms;
}

void answerAlarms(struct soap* ctx, const nsvk__logRetrieveRequest& request,
                  const std::vector<std::string>& nodes, nsvk__getActiveAlarmsResponse& response) {
  std::vector<nss1__AlarmUpdate*> others;
  const AlarmSet alarms = collectAlarms(ctx, request, nodes, others);
  std::vector<LONG64> times;
  times.reserve(alarms.size());
  for (const nss1__AlarmUpdate* alarm : alarms) {
    times.push_back(alarm->Time);
  }
  const AlarmRange range = chooseAlarms(times, request.nMaxToReturn, request.bLatestEvents,
                                        request.bReverseOrder, request.bTrimIncomplete);
  response.numTrimmedEvents = range.trimmed;
  std::size_t index = 0;
  for (nss1__AlarmUpdate* alarm : alarms) {
    const bool chosen = index >= range.first && index < range.end;
    (chosen ? response.alarms : others).push_back(alarm);
    ++index;
  }
  release(ctx, others);
}

}  // namespace

int nsvk__getDeltaLog(struct soap* ctx, nsvk__logRetrieveRequest* request,
                      nsvk__getDeltaLogResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr != 0);  // NOLINT(modernize-use-nullptr): printed so
  std::vector<toolkit::CEvent> events;
  if (fetchEvents(glptr, glptr->deltaLog, recordOf(request), glptr->maxRecords, response.result,
                  response.numTrimmedPoints, events) == 0) {
    response.loggedValues.reserve(events.size());
    for (const toolkit::CEvent& event : events) {
      if (nss1__PublishedValue* record = buildPublishedValue(glptr, ctx, event)) {
        response.loggedValues.push_back(record);
      }
    }
  }
  return SOAP_OK;
}

int nsvk__getEventLog(struct soap* ctx, nsvk__logRetrieveRequest* request,
                      nsvk__getEventLogResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr != 0);  // NOLINT(modernize-use-nullptr): printed so
  const nsvk__logRetrieveRequest& asked = recordOf(request);
  const std::string& dbPath =
      asked.rqstType == LgRqTypAlarmEvents ? glptr->eventLog : glptr->systemLog;
  std::vector<toolkit::CEvent> events;
  if (fetchEvents(glptr, dbPath, asked, glptr->maxRecords / kEventShare, response.result,
                  response.numTrimmedEvents, events) == 0) {
    response.events.reserve(events.size());
    for (const toolkit::CEvent& event : events) {
      nss1__Event* record = event.type == toolkit::EVENT_ALARM ? buildAlarmEvent(glptr, ctx, event)
                                                               : buildEvent(glptr, ctx, event);
      if (record != nullptr) {
        response.events.push_back(record);
      } else {
        ++response.numTrimmedEvents;
      }
    }
  }
  return SOAP_OK;
}

int nsvk__getActiveAlarms(struct soap* ctx, nsvk__logRetrieveRequest* request,
                          nsvk__getActiveAlarmsResponse& response) {
  _global_data_t* glptr = globalDataWithStore(ctx);
  const nsvk__logRetrieveRequest& asked = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(glptr, &asked.options, &opts);
  response.result.clear();
  response.numTrimmedEvents = 0;
  response.alarms.clear();
  toolkit::CPath table(toolkit::kAlarmsPath);
  table.normalize();
  std::vector<std::string> nodes;
  if (table.getChildPaths(glptr->cdsApi, nodes) != 0) {
    BnwsErrMsg(WS_NO_DATA, "No Alarm table", response.result, &opts);
    return SOAP_OK;
  }
  try {
    answerAlarms(ctx, asked, nodes, response);
  } catch (const std::exception& e) {
    response.result = std::string("? ") + e.what();
  }
  return SOAP_OK;
}
