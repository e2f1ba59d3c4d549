// A client's regular expression, with bounds on what it may cost.
//
// Perl syntax; the expression may match anywhere in a text, and the empty one is in every text. It
// works on the bytes of UTF-8: "." and a class such as "[é]" match one byte and not one character.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

#include <boost/regex.hpp>

#include "front/exchange.h"
#include "front/request_limits.h"

struct SearchEnded : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class TimedPattern {
 public:
  using Clock = std::chrono::steady_clock::time_point (*)();

  // The time runs from now. Throws std::length_error for a pattern that is longer than
  // limits::kMaxPattern. `exchange`, unless null, is the request's, and outlives the pattern.
  TimedPattern(std::string pattern, const Exchange* exchange,
               Clock clock = std::chrono::steady_clock::now);

  // Throws SearchEnded when limits::kMaxSearch is over, also in the middle of a text, or when the
  // request should end; and another std::exception each time for a bad pattern or one that takes
  // too many steps on the text.
  bool isIn(const std::string& text);
  // Throws SearchEnded.
  void checkTime() const;

 private:
  class Iterator;

  // To be called for every character looked at: checks the time now and then.
  void step() {
    if (++steps_ % kStepsPerCheck == 0) {
      checkTime();
    }
  }

  static constexpr unsigned kStepsPerCheck = 4096;

  std::string pattern_;
  const Exchange* exchange_;
  Clock clock_;
  std::chrono::steady_clock::time_point end_;
  unsigned steps_ = 0;
  std::optional<boost::regex> regex_;
};
