// Recorder: enters the events of the device in its logs.
//
//   log           keeps
//   deadband.db   EVENT_DELTA
//   system.db     EVENT_SYSTEM
//   alarms.db     all others
//
// Each log marks how far it has got in the transaction that enters the events, so that a kill loses
// none and enters none twice. A stream without the marked event has begun anew with the device, and
// is entered from its oldest event on.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/event_stream.h"
#include "toolkit/log.h"

namespace sim {

class Recorder {
 public:
  // `cds` must outlive this object.
  explicit Recorder(toolkit::CCds& cds) : cds_(cds), stream_(cds, toolkit::CEventStream::kEvents) {}

  // Opens the logs of a folder, or makes them. Both calls return false with the reason in
  // lastError().
  bool open(const std::string& folder);
  // Enters what is new. A log that does not take it has lost nothing: the next step tries again.
  bool step();
  const std::string& lastError() const { return lastError_; }

 private:
  using Entries = std::vector<toolkit::CEventStream::Entry>;
  struct Log {
    toolkit::CLog file;
    toolkit::CLog::Mark seen;  // newest entry that was looked at, of whatever kind
  };

  bool read(Entries& entries);
  bool forgetLost(const Entries& entries);
  bool enter(std::size_t place, const Entries& entries);

  toolkit::CCds& cds_;
  toolkit::CEventStream stream_;
  std::array<Log, 3> logs_;
  std::optional<std::uint64_t> complete_;  // the stream's newest entry that all logs have seen
  std::string lastError_;
};

}  // namespace sim
