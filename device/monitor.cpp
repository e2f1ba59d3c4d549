#include "monitor.h"

#include <sys/statvfs.h>

#include <cstdio>

#include "source_name.h"
#include "toolkit/time.h"

namespace device {

namespace {

// Seconds that a step may be late.
constexpr double kGrace = 5;
constexpr double kTrySeconds = 1;

// Whether the folder's disk has room and may be written.
bool canTake(const std::string& folder) {
  struct statvfs disk {};
  return statvfs(folder.c_str(), &disk) == 0 && (disk.f_flag & ST_RDONLY) == 0 && disk.f_bavail > 0;
}

}  // namespace

Monitor::Monitor(toolkit::CCds& cds, double rate)
    : cds_(cds),
      seconds_(1 / rate),
      points_(cds),
      sources_(cds, points_),
      alarms_(cds),
      deltas_(cds),
      reads_(kSource, "the store cannot be read"),
      qualities_(kSource, "the store refuses the qualities"),
      changes_(kSource, "the store refuses the alarms"),
      numbers_(kSource, "no numbers of alarms can be reserved"),
      notices_(kSource, "the store refuses the deltas"),
      entries_(kSource, "events are not entered"),
      snapshots_(kSource, "trends are not entered") {
  values_.emplace(cds_, std::vector<Watcher*>{&sources_, &alarms_, &deltas_});
}

std::string Monitor::openLogs(const std::string& folder) {
  folder_ = folder;
  std::string why = tryLogs();
  if (!why.empty() && canTake(folder)) {
    return why;
  }
  entries_.note(!why.empty(), why);
  return "";
}

std::string Monitor::tryLogs() {
  std::string why;
  logs_.emplace(cds_, points_, kGrace + 2 * seconds_);
  if (!logs_->events.open(folder_)) {
    why = logs_->events.lastError();
  } else if (!logs_->trends.open(folder_ + "/interval-trends.db")) {
    why = logs_->trends.lastError();
  }
  if (!why.empty()) {
    logs_.reset();
    return why;
  }
  values_.emplace(cds_, std::vector<Watcher*>{&sources_, &alarms_, &deltas_, &logs_->trends});
  return "";
}

void Monitor::step(timeval stamp) {
  if (!logs_ && !folder_.empty() && toolkit::isDue(triedAt_, stamp, kTrySeconds)) {
    triedAt_ = stamp;
    const std::string why = tryLogs();
    entries_.note(!why.empty(), why);
  }
  const bool read = values_->read(stamp);
  reads_.note(!read, cds_.last_error());
  if (read) {
    serve(stamp);
  }
  enterEvents();
}

void Monitor::serve(timeval stamp) {
  const toolkit::CLeafReader& leaves = values_->leaves();
  qualities_.note(!sources_.step(leaves, seconds_, stamp), cds_.last_error());
  for (const auto& [leaf, quality] : sources_.changes()) {
    deltas_.noteNotified(leaf, quality);
  }
  changes_.note(!alarms_.step(leaves, seconds_, stamp), cds_.last_error());
  numbers_.note(!alarms_.reservationError().empty(), alarms_.reservationError());
  notices_.note(!deltas_.step(leaves, stamp), cds_.last_error());
  if (logs_) {
    snapshots_.note(!logs_->trends.step(leaves, stamp), logs_->trends.lastError());
  }
}

void Monitor::enterEvents() {
  if (!logs_) {
    return;
  }
  entries_.note(!logs_->events.step(), logs_->events.lastError());
  if (const std::uint64_t missed = logs_->events.takeMissed(); missed > 0) {
    std::fprintf(stderr, "%s: %llu events were gone before they could be entered in the logs\n",
                 kSource, static_cast<unsigned long long>(missed));
  }
}

}  // namespace device
