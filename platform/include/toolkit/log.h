// CLog: a log of events, one SQLite file in WAL mode. The event, system and delta logs of a device
// are three of them. docs/log-databases.md has the schema.
//
// One process writes, any number reads at the same time, and none waits for another. Calls return 0
// (LOG_OK) or the log_result_t that tells why not; last_error() then has a sentence that names the
// file. Outputs of a failed call are empty. One thread at a time per object; nothing here throws
// but std::bad_alloc.
#pragma once

#include <sys/time.h>

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "toolkit/event.h"
#include "toolkit/event_stream.h"
#include "toolkit/log_result.h"

namespace toolkit {

class CLog {
 public:
  static constexpr unsigned kNoMaximum = std::numeric_limits<unsigned>::max();
  // With `wait`: how long a reader and a writer wait for a file that another process holds.
  static constexpr int kReaderWaitMs = 40;
  static constexpr int kWriterWaitMs = 5000;

  // How far a ring of the event stream has been entered in this log.
  struct Mark {
    std::uint64_t number = 0;  // of the last entry; 0: none
    timeval time{};            // of its event
  };
  using Marks = std::array<Mark, CEventStream::kRings>;

  CLog();
  ~CLog();
  CLog(const CLog&) = delete;
  CLog& operator=(const CLog&) = delete;

  // The two ways to open a log that most take; see init().
  struct WriteOptions {
    unsigned capacity = 0;
    bool durable = false;
    bool wait = true;
    std::uint64_t maxBytes = 0;  // see setMaxBytes()
  };
  int openToRead(const std::string& path) {
    return init(path, 0, false, false, true, true, 0, 0, 0);
  }
  int openToWrite(const std::string& path, const WriteOptions& options) {
    setMaxBytes(options.maxBytes);
    return init(path, options.capacity, true, options.durable, false, options.wait, 0, 0, 0);
  }
  // Opens a log, after closing what was open. A file that another process holds is open all the
  // same: the calls on it are then busy.
  //   capacity   rows that a writer keeps; 0: no bound
  //   write      for append(); else for reading
  //   durable    a writer's append() is on the disk when it returns; else a power loss may cost the
  //              last ones, and never the file
  //   mustExist  a writer fails on a missing file instead of making it; a reader always does
  //   wait       see above; else a held file is LOG_BUSY at once
  //   pageSize   bytes, a power of 2 from 512 to 65536; counts for a new file only
  //   cacheSize  bytes     heapLimit  bytes, soft, of all of SQLite in this process
  // A size of 0 is SQLite's own choice.
  int init(const std::string& path, unsigned capacity, bool write, bool durable, bool mustExist,
           bool wait, unsigned pageSize, unsigned cacheSize, unsigned heapLimit);
  bool is_initialized() const;
  void close();

  // Beyond so many bytes of the file append() removes the rows that were entered first, but for the
  // newest; 0: no bound. The file is then at most one append longer.
  void setMaxBytes(std::uint64_t bytes);

  // The events with start <= time <= end (null: no bound) whose path is `pathFilter` or lies below
  // it, by whole components; "" and "/" are every path. Of more than `max` the oldest ones, or with
  // `latest` the newest. In order of time, and of their entry where that is equal; with `reverse`
  // the other way round. `types` is a sum of event_type_t; 0: all.
  int retrieve(std::vector<CEvent>& events, const std::string& pathFilter, const timeval* start,
               const timeval* end, unsigned max, bool latest, bool reverse, unsigned types);

  int count(std::uint64_t& events);

  // Enters all events, in one transaction, or none. Beyond the capacity the rows that were entered
  // first go, some at a time. `marks` are kept with them, but for those without a number: what was
  // marked before stays there.
  int append(const std::vector<CEvent>& events, const Marks& marks);
  int append(const std::vector<CEvent>& events);
  int get_marks(Marks& marks);

  const std::string& last_error() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace toolkit
