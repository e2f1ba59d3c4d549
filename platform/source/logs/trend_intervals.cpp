#include "toolkit/trend_intervals.h"

#include <algorithm>
#include <cmath>

#include "toolkit/time.h"

namespace toolkit::trend {

namespace {

constexpr std::int64_t kSecond = 1'000'000;

// The end of the interval that a time belongs to.
std::int64_t endOf(std::int64_t time, std::int64_t length) {
  const std::int64_t over = ((time % length) + length) % length;
  return over == 0 ? time : time - over + length;
}

}  // namespace

CIntervals::CIntervals(std::int64_t seconds, double longestGap)
    : length_(seconds * kSecond), longestGap_(std::llround(longestGap * kSecond)) {}

void CIntervals::step(timeval stamp, const std::vector<double>& values,
                      std::vector<CInterval>& ended, bool valid) {
  const std::int64_t now = qel_UNIXtoQELtime64(&stamp);
  const bool measured = valid && started_ && now > last_ && now - last_ <= longestGap_;
  if (const std::int64_t end = endOf(now, length_); !started_ || end != end_) {
    if (measured) {
      measured_ += end_ - last_;
    }
    finish(ended);
    begin(end);
    last_ = std::max(last_, end - length_);
  }
  if (measured) {
    measured_ += now - last_;
  }
  add(values, valid);
  last_ = now;
  started_ = true;
  if (now == end_) {
    finish(ended);
    begin(end_ + length_);
  }
}

void CIntervals::add(const std::vector<double>& values, bool valid) {
  sums_.resize(values.size());
  if (!valid) {
    for (Sum& sum : sums_) {
      sum.actual = std::numeric_limits<double>::quiet_NaN();
    }
    return;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    Sum& sum = sums_[i];
    sum.actual = values[i];
    if (std::isnan(values[i])) {
      continue;
    }
    sum.min = std::min(sum.min, values[i]);
    sum.max = std::max(sum.max, values[i]);
    sum.sum += values[i];
    ++sum.count;
  }
}

void CIntervals::begin(std::int64_t end) {
  end_ = end;
  measured_ = 0;
  sums_.clear();
}

void CIntervals::finish(std::vector<CInterval>& ended) {
  if (sums_.empty()) {
    return;
  }
  CInterval interval;
  interval.end = end_ / kSecond;
  const double share = static_cast<double>(measured_) / static_cast<double>(length_);
  interval.percentValid = std::min(100.0, 100 * share);
  for (const Sum& sum : sums_) {
    CTrend trend;
    if (sum.count > 0) {
      const double mean = sum.sum / static_cast<double>(sum.count);
      trend = {sum.min, sum.max, std::clamp(mean, sum.min, sum.max), sum.actual};
    }
    interval.trends.push_back(trend);
  }
  ended.push_back(std::move(interval));
}

}  // namespace toolkit::trend
