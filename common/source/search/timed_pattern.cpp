#include "search/timed_pattern.h"

#include <algorithm>
#include <iterator>

#include <boost/iterator/iterator_adaptor.hpp>

namespace {

std::size_t charactersOf(const std::string& utf8) {
  constexpr unsigned kMask = 0xC0;
  constexpr unsigned kContinuation = 0x80;
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & kMask) != kContinuation;
  }));
}

}  // namespace

// A position in a text that keeps the time while the regular expression is matched: the engine
// bounds the number of states that it tries, but not what a state may cost (a long back-reference).
class TimedPattern::Iterator
    : public boost::iterator_adaptor<TimedPattern::Iterator, const char*, boost::use_default,
                                     std::random_access_iterator_tag> {
 public:
  Iterator() = default;
  Iterator(const char* position, TimedPattern& pattern)
      : iterator_adaptor_(position), pattern_(&pattern) {}

 private:
  friend class boost::iterator_core_access;
  const char& dereference() const {
    pattern_->step();
    return *base();
  }

  TimedPattern* pattern_ = nullptr;
};

TimedPattern::TimedPattern(std::string pattern, const Exchange* exchange, std::chrono::seconds time,
                           Clock clock)
    : pattern_(std::move(pattern)),
      exchange_(exchange),
      clock_(clock),
      time_(time),
      end_(clock() + time) {
  if (charactersOf(pattern_) > limits::kMaxPattern) {
    throw std::length_error("The pattern is longer than " + std::to_string(limits::kMaxPattern) +
                            " characters");
  }
}

void TimedPattern::checkMatch() {
  const Time now = clock_();
  checkTime(now);
  if (!matchEnd_) {
    matchEnd_ = now + limits::kMaxMatch;
  } else if (now >= *matchEnd_) {
    throw std::runtime_error("it took more than " + std::to_string(limits::kMaxMatch.count()) +
                             " ms on one value");
  }
}

void TimedPattern::checkTime(Time now) const {
  if (now >= end_) {
    throw SearchEnded("The search was ended after " + std::to_string(time_.count()) + " s");
  }
  if (exchange_ != nullptr && exchange_->out != nullptr) {
    if (const std::string why = exchange_->out->whyEnd(); !why.empty()) {
      throw SearchEnded("The search was ended: " + why);
    }
  }
}

bool TimedPattern::isIn(const std::string& text) {
  if (pattern_.empty()) {
    return true;
  }
  if (!regex_) {
    regex_.emplace(pattern_);
  }
  matchEnd_.reset();
  const char* const begin = text.data();
  return boost::regex_search(Iterator(begin, *this), Iterator(begin + text.size(), *this), *regex_);
}
