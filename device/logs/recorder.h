// Recorder: enters the events of the device in its logs.
//
//   log           keeps
//   deadband.db   EVENT_DELTA
//   system.db     EVENT_SYSTEM
//   alarms.db     all others
//
// Each log marks how far it has got in each ring of the stream in the transaction that enters the
// events, so that a kill loses none and enters none twice. A ring without the marked event has
// begun anew with the device, or lost all that was entered: it is entered from its oldest event on.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "toolkit/event_stream.h"
#include "toolkit/log.h"

namespace device {

class Recorder {
 public:
  // `cds` must outlive this object.
  explicit Recorder(toolkit::CCds& cds);

  // Opens the logs of a folder, or makes them. Both calls return false with the reason in
  // lastError().
  bool open(const std::string& folder);
  // Enters what is new. A log that does not take it has lost nothing: the next step tries again.
  bool step();
  const std::string& lastError() const { return lastError_; }
  // Events that left the stream before they were in their log, since the last call.
  std::uint64_t takeMissed() { return std::exchange(missed_, 0); }

 private:
  using Entries = std::vector<toolkit::CEventStream::Entry>;
  struct Log {
    toolkit::CLog file;
    toolkit::CLog::Marks entered;
    std::vector<toolkit::CLog::Mark> refused;  // what it did not take at the last step
  };

  bool read(Entries& entries);
  bool readAll(Entries& entries);
  bool forgetLost(const Entries& entries);
  std::uint64_t newestSeen() const;
  bool enter(std::size_t place, const Entries& entries);

  toolkit::CCds& cds_;
  toolkit::CEventStream stream_;
  std::vector<Log> logs_;
  toolkit::CLog::Mark newest_;  // entry that was looked at
  bool complete_ = false;       // all logs have what they keep up to there
  std::uint64_t missed_ = 0;
  std::string lastError_;
};

}  // namespace device
