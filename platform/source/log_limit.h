// How many lines of one kind are written in some time, so that no client fills the log.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

namespace toolkit {

// A kind is a format: its address tells it from others, so it must outlive this object.
class LogLimit {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr std::uint32_t kBurst = 50;
  static constexpr std::chrono::seconds kInterval{10};

  struct HeldBack {
    const char* format;
    int severity;
    std::uint64_t lines;
    std::chrono::seconds time;  // in which they came
  };

  LogLimit();

  // False for a line that is counted instead.
  bool admits(const char* format, int severity, Time now);

  // A kind of which lines were held back, which is then forgotten: one whose interval is over, or
  // any.
  enum class Which { Due, All };
  std::optional<HeldBack> next(Time now, Which which);

 private:
  static constexpr std::size_t kKinds = 128;  // more than a program has

  struct Kind {
    const char* format = nullptr;
    int severity = 0;
    std::uint32_t written = 0;
    std::uint64_t heldBack = 0;
    Time begin;
  };

  Kind& kindOf(const char* format);

  std::array<Kind, kKinds + 1> kinds_;  // the last one stands for all that find no place
  std::optional<Time> nextDue_;         // no kind is due before
};

}  // namespace toolkit
