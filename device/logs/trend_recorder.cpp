#include "logs/trend_recorder.h"

#include <algorithm>
#include <limits>
#include <map>

#include "quality/device_quality.h"

namespace device {

using toolkit::CLeafReader;
using toolkit::trend::CInterval;
using toolkit::trend::CPoint;
using toolkit::trend::kPeriods;

// Points that the file refuses are tried again; until then there are the former ones.
bool TrendRecorder::refresh(timeval stamp, bool& changed) {
  if (!list_.refresh(stamp)) {
    return false;
  }
  if (version_ == list_.version() && accepted_) {
    return true;
  }
  version_ = list_.version();
  accepted_ = file_.setPoints(list_.points());
  if (accepted_) {
    adopt();
    changed = true;
  }
  return true;
}

// A device whose points are the same goes on with the intervals that it has begun.
void TrendRecorder::adopt() {
  std::map<std::string, Device> former;
  for (Device& device : devices_) {
    former[device.path] = std::move(device);
  }
  const std::vector<CPoint> before = std::exchange(points_, list_.points());
  devices_.clear();
  for (std::size_t i = 0; i < points_.size(); ++i) {
    if (devices_.empty() || devices_.back().path != points_[i].device) {
      devices_.push_back({points_[i].device, i, 0, {}, {}});
    }
    ++devices_.back().count;
  }
  for (Device& device : devices_) {
    Device& known = former[device.path];
    const auto begin = before.begin() + static_cast<std::ptrdiff_t>(known.first);
    const auto now = points_.begin() + static_cast<std::ptrdiff_t>(device.first);
    const auto end = now + static_cast<std::ptrdiff_t>(device.count);
    if (known.count == device.count && std::equal(now, end, begin)) {
      device.intervals = std::move(known.intervals);
      continue;
    }
    for (const auto& period : kPeriods) {
      device.intervals.emplace_back(period.seconds, longestGap_);
    }
  }
}

void TrendRecorder::plan(Plan& plan) {
  values_.clear();
  for (const CPoint& point : points_) {
    values_.push_back(plan.add(point.param.path + "/Value"));
  }
  for (Device& device : devices_) {
    device.quality = plan.add(qualityLeaf(device.path));
  }
}

bool TrendRecorder::step(const CLeafReader& leaves, timeval stamp) {
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    follow(i, leaves, stamp);
  }
  return enter() && accepted_;
}

void TrendRecorder::follow(std::size_t index, const CLeafReader& leaves, timeval stamp) {
  Device& device = devices_[index];
  const bool good = isGood(qualityOf(leaves, device.quality));
  std::vector<double> values(device.count, std::numeric_limits<double>::quiet_NaN());
  for (std::size_t i = 0; good && i < device.count; ++i) {
    values[i] = leaves.number(values_[device.first + i]).value_or(values[i]);
  }
  for (std::size_t i = 0; i < device.intervals.size(); ++i) {
    std::vector<CInterval> ended;
    device.intervals[i].step(stamp, values, ended, good);
    for (const CInterval& interval : ended) {
      pending_.push_back(file_.entryOf(index, kPeriods.at(i).id, interval, 0));
    }
  }
}

bool TrendRecorder::enter() {
  if (pending_.empty()) {
    return true;
  }
  if (file_.append(pending_)) {
    pending_.clear();
    return true;
  }
  if (pending_.size() > kMaxPending) {
    pending_.erase(pending_.begin(), pending_.end() - static_cast<std::ptrdiff_t>(kMaxPending));
  }
  return false;
}

}  // namespace device
