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

  // `time` is for all texts, and runs from now. Throws std::length_error for a pattern that is
  // longer than limits::kMaxPattern. `exchange`, unless null, is the request's, and outlives the
  // pattern.
  TimedPattern(std::string pattern, const Exchange* exchange, std::chrono::seconds time,
               Clock clock = std::chrono::steady_clock::now);

  // Throws SearchEnded when the time is over, also in the middle of a text, or when the request
  // should end; and another std::exception each time for a bad pattern or one that takes too many
  // steps on the text or longer than limits::kMaxMatch.
  bool isIn(const std::string& text);
  // Throws SearchEnded.
  void checkTime() const { checkTime(clock_()); }

 private:
  using Time = std::chrono::steady_clock::time_point;
  class Iterator;

  // To be called for every character looked at: checks the time now and then.
  void step() {
    if (++steps_ % kStepsPerCheck == 0) {
      checkMatch();
    }
  }
  void checkMatch();
  void checkTime(Time now) const;

  static constexpr unsigned kStepsPerCheck = 4096;

  std::string pattern_;
  const Exchange* exchange_;
  Clock clock_;
  std::chrono::seconds time_;
  Time end_;
  std::optional<Time> matchEnd_;  // of the text, once it has taken some steps
  unsigned steps_ = 0;
  std::optional<boost::regex> regex_;
};
