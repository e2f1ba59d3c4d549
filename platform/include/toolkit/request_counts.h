// RequestCounts: what one process of the web service has answered since its start, and how that
// stands in the store for others to read.
//
//   <node>/Requests:ReceivedBytes, :SentBytes   Integer64
//   <node>/Requests:DurationCounts              a list, one count for each of kDurationBounds and
//                                               one for what lasts longer; none is in two of them
//   <node>/Requests:DurationSum                 Real, seconds
//   <node>/Requests/Refused:<limit>             Integer64
//   <node>/Requests/Operations/<name>:<outcome> Integer64
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "toolkit/cds.h"

namespace toolkit {

struct RequestCounts {
  // The reply: whole, with an error string in it, a fault, or the refusal of HTTP status 401.
  enum Outcome : std::size_t { kOk, kErrorString, kFault, kUnauthorized };
  static constexpr std::array<const char*, 4> kOutcomes = {"Ok", "ErrorString", "Fault",
                                                           "Unauthorized"};
  // What a request was refused for: its envelope, its memory, its reply's size, its client's share
  // of the workers.
  enum Limit : std::size_t { kEnvelope, kMemory, kReply, kWorkers };
  static constexpr std::array<const char*, 4> kLimits = {"Envelope", "Memory", "Reply", "Workers"};
  // Seconds, each included.
  static constexpr std::array<double, 12> kDurationBounds = {
      0.00025, 0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 1, 5};

  using Outcomes = std::array<std::uint64_t, kOutcomes.size()>;

  std::map<std::string, Outcomes> operations;
  std::array<std::uint64_t, kLimits.size()> refused = {};
  std::array<std::uint64_t, kDurationBounds.size() + 1> durations = {};
  double durationSum = 0;
  std::uint64_t receivedBytes = 0;
  std::uint64_t sentBytes = 0;
};

// In one transaction; a read-only client writes it, too.
api_status_t writeRequestCounts(CCds& cds, const std::string& node, const RequestCounts& counts);
// Takes away what a former process has left.
void clearRequestCounts(CCds& cds, const std::string& node);
// Zeros where there is nothing. False when the store cannot be read.
bool readRequestCounts(CCds& cds, const std::string& node, RequestCounts& counts);

}  // namespace toolkit
