// Backoff: when to try again. The first pause is given, each further one is twice as long up to a
// minute; up to a tenth is added by chance, so that clients that failed together do not return
// together.
#pragma once

#include <algorithm>
#include <chrono>
#include <random>

#include "change_filter.h"

namespace wspub {

class Backoff {
 public:
  static constexpr std::chrono::milliseconds kMaxDelay{60000};

  explicit Backoff(std::chrono::milliseconds first) : first_(first), next_(first) {}

  bool isOver(Clock::time_point now) const { return now >= until_; }
  bool isFailing() const { return next_ != first_; }

  void fail(Clock::time_point now) {
    std::uniform_int_distribution<std::int64_t> more(0, next_.count() / 10);
    until_ = now + next_ + std::chrono::milliseconds(more(chance_));
    next_ = std::min(next_ * 2, std::max(first_, kMaxDelay));
  }
  void succeed() { next_ = first_; }

 private:
  std::chrono::milliseconds first_;
  std::chrono::milliseconds next_;
  Clock::time_point until_;
  std::minstd_rand chance_{std::random_device{}()};
};

}  // namespace wspub
