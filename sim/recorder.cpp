#include "recorder.h"

#include <algorithm>

#include "toolkit/time.h"

namespace sim {

using toolkit::CEvent;
using toolkit::CLog;

namespace {

struct Kind {
  const char* file;
  unsigned capacity;
  bool (*has)(const CEvent& event);
};

constexpr std::array<Kind, 3> kKinds = {{
    {"deadband.db", 100'000,
     [](const CEvent& event) { return event.type == toolkit::EVENT_DELTA; }},
    {"system.db", 5'000, [](const CEvent& event) { return event.type == toolkit::EVENT_SYSTEM; }},
    {"alarms.db", 20'000,
     [](const CEvent& event) {
       return event.type != toolkit::EVENT_DELTA && event.type != toolkit::EVENT_SYSTEM;
     }},
}};

CLog::Mark markOf(const toolkit::CEventStream::Entry& entry) {
  return {entry.number, entry.event.time};
}

bool isSame(const CLog::Mark& a, const CLog::Mark& b) {
  return a.number == b.number && qel_UNIXtoQELtime64(&a.time) == qel_UNIXtoQELtime64(&b.time);
}

}  // namespace

bool Recorder::open(const std::string& folder) {
  for (std::size_t i = 0; i < logs_.size(); ++i) {
    CLog& file = logs_[i].file;
    const Kind& kind = kKinds[i];
    if (file.init(folder + "/" + kind.file, kind.capacity, true, false, false, false, 0, 0, 0) !=
            toolkit::LOG_OK ||
        file.get_mark(logs_[i].seen) != toolkit::LOG_OK) {
      lastError_ = file.last_error();
      return false;
    }
  }
  return true;
}

bool Recorder::step() {
  std::uint64_t last = 0;
  Entries entries;
  if (stream_.last(last) != 0) {
    lastError_ = cds_.last_error();
    return false;
  }
  if (complete_ == last) return true;
  complete_.reset();
  do {
    if (!read(entries)) return false;
  } while (forgetLost(entries));
  bool entered = true;
  for (std::size_t i = 0; i < logs_.size(); ++i) entered = enter(i, entries) && entered;
  if (entered) complete_ = entries.empty() ? last : entries.back().number;
  return entered;
}

// What some log has not seen yet, and the entry before that.
bool Recorder::read(Entries& entries) {
  const auto least = std::min_element(logs_.begin(), logs_.end(), [](const Log& a, const Log& b) {
                       return a.seen.number < b.seen.number;
                     })->seen.number;
  if (stream_.read(std::max<std::uint64_t>(least, 1) - 1, entries) == 0) return true;
  lastError_ = cds_.last_error();
  return false;
}

// True when a log begins with the oldest entry: what it has seen is not in the stream.
bool Recorder::forgetLost(const Entries& entries) {
  bool forgotten = false;
  for (Log& log : logs_) {
    if (log.seen.number == 0 || std::any_of(entries.begin(), entries.end(), [&](const auto& entry) {
          return isSame(markOf(entry), log.seen);
        })) {
      continue;
    }
    log.seen = {};
    forgotten = true;
  }
  return forgotten;
}

bool Recorder::enter(std::size_t place, const Entries& entries) {
  Log& log = logs_.at(place);
  std::vector<CEvent> events;
  CLog::Mark mark;
  for (const auto& entry : entries) {
    if (entry.number <= log.seen.number || !kKinds.at(place).has(entry.event)) continue;
    events.push_back(entry.event);
    mark = markOf(entry);
  }
  if (!events.empty() && log.file.append(events, &mark) != toolkit::LOG_OK) {
    lastError_ = log.file.last_error();
    return false;
  }
  if (!entries.empty()) log.seen = markOf(entries.back());
  return true;
}

}  // namespace sim
