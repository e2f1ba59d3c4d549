#include "value_reader.h"

#include <algorithm>

namespace device {

using toolkit::CLeafReader;

CLeafReader::Handle Plan::add(const std::string& path) {
  const auto [found, isNew] = known_.try_emplace(path);
  if (isNew) {
    found->second = leaves_.add(path);
  }
  return found->second;
}

bool ValueReader::read(timeval stamp) {
  bool changed = !planned_;
  for (Watcher* watcher : watchers_) {
    if (!watcher->refresh(stamp, changed)) {
      // The others may have changed already.
      planned_ = planned_ && !changed;
      return false;
    }
  }
  if (changed) {
    leaves_ = {};
    Plan plan(leaves_);
    for (Watcher* watcher : watchers_) {
      watcher->plan(plan);
    }
    planned_ = true;
    state_ = 0;
  }
  // Before the read: what is written meanwhile is read again.
  const std::size_t state = cds_.state();
  moved_ = state == 0 || state != state_;
  if (!moved_) {
    return true;
  }
  state_ = leaves_.read(cds_) ? state : 0;
  return state_ != 0;
}

double refreshSeconds(double base, double secondsPerThousand, std::size_t nodes) {
  return std::max(base, secondsPerThousand * static_cast<double>(nodes) / 1000);
}

}  // namespace device
