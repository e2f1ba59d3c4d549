#include "logs/recorder.h"

#include <algorithm>
#include <array>

#include "toolkit/time.h"

namespace device {

using toolkit::CEvent;
using toolkit::CLog;

namespace {

struct Kind {
  const char* file;
  unsigned capacity;
  std::uint64_t maxBytes;
  int type;  // of the events that it keeps
};

constexpr int kAllOthers = -1;

constexpr auto kKinds = std::to_array<Kind>({
    {"deadband.db", 100'000, 64 << 20, toolkit::EVENT_DELTA},
    {"system.db", 5'000, 8 << 20, toolkit::EVENT_SYSTEM},
    {"alarms.db", 20'000, 32 << 20, kAllOthers},
});

bool keeps(const Kind& kind, const CEvent& event) {
  const auto isOfType = [&](const Kind& other) { return other.type == event.type; };
  return isOfType(kind) ||
         (kind.type == kAllOthers && std::none_of(kKinds.begin(), kKinds.end(), isOfType));
}

CLog::Mark markOf(const toolkit::CEventStream::Entry& entry) {
  return {entry.number, entry.event.time};
}

bool isSame(const CLog::Mark& a, const CLog::Mark& b) {
  return a.number == b.number && qel_UNIXtoQELtime64(&a.time) == qel_UNIXtoQELtime64(&b.time);
}

// Entries of the stream behind a number that are not among those that it still has.
std::uint64_t goneBehind(std::uint64_t number,
                         const std::vector<toolkit::CEventStream::Entry>& entries) {
  const auto first = std::find_if(entries.begin(), entries.end(),
                                  [&](const auto& entry) { return entry.number > number; });
  if (first == entries.end()) {
    return 0;
  }
  return entries.back().number - number - static_cast<std::uint64_t>(entries.end() - first);
}

bool holds(const std::vector<toolkit::CEventStream::Entry>& entries, const CLog::Mark& mark) {
  return std::any_of(entries.begin(), entries.end(),
                     [&](const auto& entry) { return isSame(markOf(entry), mark); });
}

}  // namespace

Recorder::Recorder(toolkit::CCds& cds)
    : cds_(cds), stream_(cds, toolkit::CEventStream::kEvents), logs_(kKinds.size()) {}

bool Recorder::open(const std::string& folder) {
  for (std::size_t i = 0; i < logs_.size(); ++i) {
    CLog& file = logs_[i].file;
    const Kind& kind = kKinds[i];
    if (file.openToWrite(folder + "/" + kind.file,
                         {.capacity = kind.capacity, .wait = false, .maxBytes = kind.maxBytes}) !=
            toolkit::LOG_OK ||
        file.get_marks(logs_[i].entered) != toolkit::LOG_OK) {
      lastError_ = file.last_error();
      return false;
    }
  }
  return true;
}

bool Recorder::step() {
  std::uint64_t last = 0;
  if (stream_.last(last) != 0) {
    lastError_ = cds_.last_error();
    return false;
  }
  if (complete_ && newest_.number == last) {
    return true;
  }
  Entries entries;
  if (!read(entries)) {
    return false;
  }
  bool entered = true;
  for (std::size_t i = 0; i < logs_.size(); ++i) {
    entered = enter(i, entries) && entered;
  }
  if (!entries.empty()) {
    newest_ = markOf(entries.back());
  }
  complete_ = entered;
  return entered;
}

// What some log may not have yet. As a rule that is what is behind the newest entry seen, which is
// read too: it proves that the stream is still the same.
bool Recorder::read(Entries& entries) {
  if (!complete_ || newest_.number == 0) {
    return readAll(entries);
  }
  toolkit::CEventStream::Missed missed;
  if (stream_.read(newest_.number - 1, entries, missed) != 0) {
    lastError_ = cds_.last_error();
    return false;
  }
  if (entries.empty() || !isSame(markOf(entries.front()), newest_)) {
    return readAll(entries);
  }
  missed_ += missed.all;
  return true;
}

bool Recorder::readAll(Entries& entries) {
  if (stream_.read(0, entries) != 0) {
    lastError_ = cds_.last_error();
    return false;
  }
  const std::uint64_t seen = newestSeen();
  const std::uint64_t last = entries.empty() ? 0 : entries.back().number;
  const bool isAnother = !forgetLost(entries) && last < seen;
  missed_ += goneBehind(isAnother ? 0 : seen, entries);
  return true;
}

std::uint64_t Recorder::newestSeen() const {
  std::uint64_t newest = newest_.number;
  for (const Log& log : logs_) {
    for (const CLog::Mark& mark : log.entered) {
      newest = std::max(newest, mark.number);
    }
  }
  return newest;
}

// Forgets the marks in rings that have lost the marked entry. True when some mark remains.
bool Recorder::forgetLost(const Entries& entries) {
  bool remains = false;
  for (Log& log : logs_) {
    for (std::size_t ring = 0; ring < log.entered.size(); ++ring) {
      CLog::Mark& mark = log.entered.at(ring);
      const bool isHeld = std::any_of(entries.begin(), entries.end(), [&](const auto& entry) {
        return entry.ring == ring && isSame(markOf(entry), mark);
      });
      if (!isHeld) {
        mark = {};
      }
      remains = remains || isHeld;
    }
  }
  return remains;
}

bool Recorder::enter(std::size_t place, const Entries& entries) {
  Log& log = logs_.at(place);
  std::vector<CEvent> events;
  std::vector<CLog::Mark> refused;
  CLog::Marks marks;
  for (const auto& entry : entries) {
    if (entry.number <= log.entered.at(entry.ring).number ||
        !keeps(kKinds.at(place), entry.event)) {
      continue;
    }
    events.push_back(entry.event);
    refused.push_back(markOf(entry));
    marks.at(entry.ring) = refused.back();
  }
  missed_ += static_cast<std::uint64_t>(
      std::count_if(log.refused.begin(), log.refused.end(),
                    [&](const CLog::Mark& mark) { return !holds(entries, mark); }));
  log.refused.clear();
  if (!events.empty() && log.file.append(events, marks) != toolkit::LOG_OK) {
    lastError_ = log.file.last_error();
    log.refused = std::move(refused);
    return false;
  }
  for (std::size_t ring = 0; ring < marks.size(); ++ring) {
    if (marks.at(ring).number != 0) {
      log.entered.at(ring) = marks.at(ring);
    }
  }
  return true;
}

}  // namespace device
