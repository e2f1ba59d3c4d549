// TrendRecorder: enters the trends of the running simulation in their file.
#pragma once

#include <vector>

#include "trend_file.h"

namespace sim {

class TrendRecorder {
 public:
  static constexpr std::size_t kMostPending = 1000;

  // `file` must be open and outlive this object. Steps that are further apart than `longestGap`
  // seconds leave a gap.
  TrendRecorder(TrendFile& file, double longestGap);

  // The values as they are now. False when the file did not take what is due: it is kept in memory,
  // the newest kMostPending snapshots of it, and tried again.
  bool step(timeval stamp, const std::vector<double>& values);
  // What is due and has not been taken.
  bool enter();

 private:
  TrendFile& file_;
  std::vector<TrendIntervals> intervals_;  // one a period
  TrendFile::Entries pending_;
};

}  // namespace sim
