#include "change_filter.h"

#include <algorithm>
#include <cmath>

namespace wspub {

namespace {

constexpr double kPercent = 100;

bool isFinite(const std::optional<double>& number) {
  return number && std::isfinite(*number);
}

}  // namespace

void ChangeFilter::configure(std::chrono::milliseconds freshness, double deadbandPercent) {
  freshness_ = std::max(freshness, std::chrono::milliseconds(0));
  deadband_ = deadbandPercent;
}

bool ChangeFilter::takes(const Sample& sample, Clock::time_point now) {
  if (last_ && !isNews(sample)) {
    return false;
  }
  last_ = sample;
  sentAt_ = now;
  return true;
}

bool ChangeFilter::isNews(const Sample& sample) const {
  if (!sample.isReadable || !last_->isReadable) {
    return sample.isReadable != last_->isReadable;
  }
  if (sample.quality != last_->quality) {
    return true;
  }
  if (sample.text == last_->text) {
    return false;
  }
  if (!(deadband_ > 0) || !isFinite(sample.number) || !isFinite(last_->number)) {
    return true;
  }
  return std::abs(*sample.number - *last_->number) >
         deadband_ / kPercent * std::abs(*last_->number);
}

}  // namespace wspub
