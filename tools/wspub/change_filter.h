// ChangeFilter: decides which samples of one point are worth sending.
//
// The first sample is. Later ones are when quality or text differ from what was sent last; a plain
// number must also have left the deadband, a percentage of the number that was sent last (0, less
// or no number: every change counts). After a sample that was sent the point rests for its
// freshness. Pure: time comes from the caller.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace wspub {

using Clock = std::chrono::steady_clock;

struct Sample {
  std::string text;
  std::optional<double> number;  // of a plain number
  std::uint16_t quality = 0;
  bool isReadable = true;  // else text, number and quality mean nothing
};

class ChangeFilter {
 public:
  void configure(std::chrono::milliseconds freshness, double deadbandPercent);

  // True once a sample was sent.
  bool hasStarted() const { return last_.has_value(); }
  // False while the point rests.
  bool isDue(Clock::time_point now) const { return !last_ || now >= sentAt_ + freshness_; }
  // True when the sample is to be sent; it then counts as sent. Ask only when the point is due.
  bool takes(const Sample& sample, Clock::time_point now);

 private:
  bool isNews(const Sample& sample) const;

  std::chrono::milliseconds freshness_{0};
  double deadband_ = 0;
  std::optional<Sample> last_;
  Clock::time_point sentAt_;
};

}  // namespace wspub
