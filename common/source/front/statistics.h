// Statistics: counts what this process answers. A request only adds to numbers in memory; the timer
// brings them into the store.
#pragma once

#include <chrono>
#include <string>

#include "toolkit/request_counts.h"

class Statistics {
 public:
  using Counts = toolkit::RequestCounts;
  // Of requests that ask for nothing that there is.
  static constexpr const char* kNoOperation = "none";

  // A request begins.
  void begin();
  // What it asks for, once that is known.
  void setOperation(std::string name) { operation_ = std::move(name); }
  // It is, or would have been, refused for this.
  void refuse(Counts::Limit limit) { ++counts_.refused.at(limit); }
  // It has been answered, with a reply or otherwise. kOk counts as kErrorString where it holds one.
  void end(Counts::Outcome outcome, std::size_t received, std::size_t sent);

  // Writes the counts below `node`, unless nothing was counted since the last time.
  void publish(toolkit::CCds& cds, const std::string& node);

 private:
  using Clock = std::chrono::steady_clock;

  Counts counts_;
  std::string operation_;
  Clock::time_point begun_;
  std::uint64_t errorStrings_ = 0;  // built before the request
  std::uint64_t requests_ = 0;
  std::uint64_t published_ = 0;  // of requests_
};
