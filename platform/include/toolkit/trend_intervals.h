// What becomes of values over intervals of time: minimum, maximum, average. Pure, no store, no
// clock.
//
// An interval ends at a whole multiple of its length of Unix time. A value that is measured at the
// very end belongs to it.
#pragma once

#include <sys/time.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace toolkit::trend {

struct CPeriod {
  std::uint32_t id;           // these are stored and never change
  std::int64_t seconds;       // length of an interval
  std::uint32_t max_entries;  // snapshots kept of each device
};

inline constexpr std::array<CPeriod, 4> kPeriods = {
    {{1, 60, 1440}, {2, 300, 2016}, {3, 900, 2976}, {4, 3600, 8784}}};

// NaN: there was none.
struct CTrend {
  double min = std::numeric_limits<double>::quiet_NaN();
  double max = std::numeric_limits<double>::quiet_NaN();
  double avg = std::numeric_limits<double>::quiet_NaN();
  double actual = std::numeric_limits<double>::quiet_NaN();  // measured last
};

struct CInterval {
  std::int64_t end = 0;        // Unix seconds
  double percentValid = 0;     // how much of it was measured
  std::vector<CTrend> trends;  // one a value
};

class CIntervals {
 public:
  // Between two steps that are further apart than `longestGap` nothing was measured.
  CIntervals(std::int64_t seconds, double longestGap);

  // The values at a time, always as many; NaN: there is none. Adds intervals that have come to
  // their end: also the one that was begun when the clock jumps out of it. The time since the last
  // step counts as measured unless `valid` is false: then nothing was, and the values do not count.
  void step(timeval stamp, const std::vector<double>& values, std::vector<CInterval>& ended,
            bool valid = true);

 private:
  struct Sum {
    double min = std::numeric_limits<double>::infinity();
    double max = -std::numeric_limits<double>::infinity();
    double sum = 0;
    double actual = std::numeric_limits<double>::quiet_NaN();
    std::uint64_t count = 0;
  };

  void add(const std::vector<double>& values, bool valid);
  void begin(std::int64_t end);
  void finish(std::vector<CInterval>& ended);

  // Microseconds.
  std::int64_t length_;
  std::int64_t longestGap_;
  std::int64_t last_ = 0;      // step
  std::int64_t end_ = 0;       // of the interval that was begun
  std::int64_t measured_ = 0;  // of it
  bool started_ = false;
  std::vector<Sum> sums_;  // none before the first step in the interval
};

}  // namespace toolkit::trend
