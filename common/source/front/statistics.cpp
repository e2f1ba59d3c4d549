#include "front/statistics.h"

#include <algorithm>

#include "values/error_strings.h"

void Statistics::begin() {
  begun_ = Clock::now();
  errorStrings_ = errorStringsBuilt();
  operation_ = kNoOperation;
}

void Statistics::end(Counts::Outcome outcome, std::size_t received, std::size_t sent) {
  const double seconds = std::chrono::duration<double>(Clock::now() - begun_).count();
  const auto& bounds = Counts::kDurationBounds;
  const auto bucket = std::lower_bound(bounds.begin(), bounds.end(), seconds) - bounds.begin();
  ++counts_.durations.at(static_cast<std::size_t>(bucket));
  counts_.durationSum += seconds;
  counts_.receivedBytes += received;
  counts_.sentBytes += sent;
  if (outcome == Counts::kOk && errorStringsBuilt() != errorStrings_) {
    outcome = Counts::kErrorString;
  }
  ++counts_.operations[operation_].at(outcome);
  ++requests_;
}

void Statistics::publish(toolkit::CCds& cds, const std::string& node) {
  if (requests_ != published_ && toolkit::writeRequestCounts(cds, node, counts_) == API_SUCCESS) {
    published_ = requests_;
  }
}
