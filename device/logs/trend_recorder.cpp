#include "logs/trend_recorder.h"

namespace sim {

TrendRecorder::TrendRecorder(TrendFile& file, double longestGap) : file_(file) {
  for (const TrendPeriod& period : kTrendPeriods) {
    intervals_.emplace_back(period.seconds, longestGap);
  }
}

bool TrendRecorder::step(timeval stamp, const std::vector<double>& values) {
  for (std::size_t i = 0; i < intervals_.size(); ++i) {
    std::vector<Interval> ended;
    intervals_[i].step(stamp, values, ended);
    for (const Interval& interval : ended) {
      for (std::size_t device = 0; device < file_.devices(); ++device) {
        pending_.push_back(file_.entryOf(device, kTrendPeriods.at(i).id, interval));
      }
    }
  }
  return enter();
}

bool TrendRecorder::enter() {
  if (pending_.empty()) return true;
  if (file_.append(pending_)) {
    pending_.clear();
    return true;
  }
  if (pending_.size() > kMostPending) {
    pending_.erase(pending_.begin(), pending_.end() - static_cast<std::ptrdiff_t>(kMostPending));
  }
  return false;
}

}  // namespace sim
