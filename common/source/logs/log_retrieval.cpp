#include "logs/log_retrieval.h"

#include <cassert>

#include "front/exchange.h"
#include "toolkit/log.h"
#include "toolkit/time.h"
#include "values/error_strings.h"
#include "values/service_options.h"

using namespace toolkit::ws;
using toolkit::CEvent;
using toolkit::CLog;

namespace {

constexpr unsigned kMaxCalls = 5;
constexpr std::chrono::microseconds kPause{1'000'000};

const timeval* pointerTo(const std::optional<timeval>& bound) {
  return bound ? &*bound : nullptr;
}

// Events of the last one's time at the end of the list.
std::size_t lastGroup(const std::vector<CEvent>& events) {
  std::size_t count = 0;
  for (auto event = events.rbegin(); event != events.rend(); ++event, ++count) {
    if (timercmp(&event->time, &events.back().time, !=)) {
      break;
    }
  }
  return count;
}

// Takes the last group away when the log has more of it.
void trimLastGroup(CLog& log, const std::string& pathFilter, std::vector<CEvent>& events,
                   int& numTrimmed) {
  const timeval time = events.back().time;
  const std::size_t count = lastGroup(events);
  std::vector<CEvent> group;
  if (log.retrieve(group, pathFilter, &time, &time, CLog::kNoMaximum, false, false, 0) == 0 &&
      group.size() > count) {
    numTrimmed = static_cast<int>(group.size());
    events.resize(events.size() - count);
  }
}

bool shouldEnd(const _global_data_t& global) {
  return global.pReq != nullptr && !global.pReq->out->whyEnd().empty();
}

}  // namespace

Retrieval retrieveWithRetries(const _global_data_t& global, const std::function<int()>& call) {
  Retrieval retrieval;
  do {
    retrieval.result = call();
    ++retrieval.calls;
    if (retrieval.result != toolkit::LOG_BUSY || shouldEnd(global)) {
      break;
    }
    global.pause(kPause);
  } while (retrieval.calls < kMaxCalls);
  return retrieval;
}

std::string tooManyRecords(int maxRecords) {
  return "Please request less than " + std::to_string(maxRecords) + " records.";
}

std::optional<timeval> boundOf(LONG64 time) {
  if (time <= 0) {
    return std::nullopt;
  }
  timeval bound{};
  const int retval = qel_QELtoUNIXtime64(time, &bound);
  assert(retval == 0);
  return bound;
}

int fetchLogEvents(_global_data_t* glptr, const std::string& dbPath,
                   const nsvk__logRetrieveRequest& request, int maxRecords, std::string& errorText,
                   int& numTrimmed, std::vector<CEvent>& events, unsigned pageSize,
                   unsigned cacheSize, unsigned heapLimit) {
  _service_options_t opts;
  parseServiceOptions(glptr, &request.options, &opts);
  if (request.nMaxToReturn > maxRecords) {
    BnwsErrMsg(WS_RESULT_TOO_BIG, tooManyRecords(maxRecords).c_str(), errorText, &opts);
    return -1;
  }
  errorText.clear();
  CLog db;
  const int opened = db.init(dbPath, 0, false, false, true, true, pageSize, cacheSize, heapLimit);
  if (opened != 0) {
    refuse({WS_NO_HISTORY, "Failed to open event log database", errorText, &opts},
           "Failed to open database %s, dbResult = %d", dbPath.c_str(), opened);
    return opened;
  }
  assert(db.is_initialized());

  events.clear();
  numTrimmed = 0;
  const std::optional<timeval> start = boundOf(request.startTime);
  const std::optional<timeval> end = boundOf(request.endTime);
  const int max = request.nMaxToReturn < 1 ? maxRecords : request.nMaxToReturn;
  const Retrieval retrieval = retrieveWithRetries(*glptr, [&] {
    return db.retrieve(events, request.path, pointerTo(start), pointerTo(end),
                       static_cast<unsigned>(max), request.bLatestEvents, request.bReverseOrder, 0);
  });
  if (!retrieval.inTime()) {
    events.clear();
    refuse({WS_NO_DATA, "Database retrieval failed with these params", errorText, &opts},
           "Failed to get events from database %s, dbResult = %d", dbPath.c_str(),
           retrieval.result);
    return retrieval.succeeded() ? -1 : retrieval.result;
  }
  if (request.bTrimIncomplete && !events.empty() &&
      events.size() >= static_cast<std::size_t>(max)) {
    trimLastGroup(db, request.path, events, numTrimmed);
  }
  return 0;
}
