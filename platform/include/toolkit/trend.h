// trend::CLog: the interval trends of a device, one SQLite file in WAL mode: for each device and
// rate period, snapshots of the device's parameters. docs/log-databases.md has the schema.
//
// One process writes, any number reads at the same time, and none waits for another. Calls return 0
// (LOG_OK) or the log_result_t that tells why not; last_error() then has a sentence that names the
// file. Outputs of a failed call are empty. One thread at a time per object; nothing here throws
// but std::bad_alloc.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "toolkit/log_result.h"

namespace toolkit::trend {

// A double that may be absent. NaN is absent.
class COptVal {
 public:
  COptVal() = default;
  explicit COptVal(double value) : value_(value) {}
  bool is_valid() const { return !std::isnan(value_); }
  double operator*() const { return value_; }

 private:
  double value_ = std::numeric_limits<double>::quiet_NaN();
};

enum sample_type_t { SAMPLE_NORMAL = 0, SAMPLE_PF = 1, SAMPLE_LISTEND = 2 };

struct CPeriodProperties {
  std::uint32_t period = 0;       // id
  std::uint32_t max_entries = 0;  // snapshots kept of each device; 0: no bound
};

struct CDeviceProperties {
  std::string path;
};

struct CParamProperties {
  std::string path;
  sample_type_t type = SAMPLE_NORMAL;
  bool hasMin = false;
  bool hasMax = false;
  bool hasAvg = false;
  bool hasActual = false;
  unsigned index = 0;  // among the device's parameters; given by the log
};

struct CDeviceParams {
  CDeviceProperties device;
  std::vector<CParamProperties> params;
};

// Over the interval that ends at the snapshot's time.
struct CSample {
  COptVal min;
  COptVal max;
  COptVal avg;
  COptVal actual;  // at the end
};

struct CSnapshot {
  std::uint32_t period = 0;
  std::int64_t time = 0;      // Unix seconds
  double percent_valid = 0;   // 0 to 100: how much of the interval was measured
  std::vector<CSample> data;  // one a parameter
};

struct CDeviceData {
  CDeviceParams params;
  std::vector<CSnapshot> samples;
};

// A snapshot to be entered: all parameters of the device, in the order of their indices. What is
// missing at the end is absent.
struct CEntry {
  std::string device;
  CSnapshot snapshot;
};

class CLog {
 public:
  static constexpr unsigned kNoMaximum = std::numeric_limits<unsigned>::max();

  CLog();
  ~CLog();
  CLog(const CLog&) = delete;
  CLog& operator=(const CLog&) = delete;

  // The two ways to open a log that most take; see open().
  struct WriteOptions {
    bool create = true;
    unsigned waitMs = 0;
    bool durable = false;
  };
  int openToRead(const std::string& path, unsigned waitMs) {
    return open(path, true, false, waitMs, false, 0, 0, 0, false);
  }
  int openToWrite(const std::string& path, const WriteOptions& options) {
    return open(path, false, options.create, options.waitMs, options.durable, 0, 0, 0, false);
  }
  // Opens a log, after closing what was open. A reader finds a file that another process holds open
  // all the same: the calls on it are then busy.
  //   readOnly   for reading; else for the three writing calls too
  //   create     a writer makes a missing file
  //   waitMs     how long a call waits for a file that another process holds
  //   durable    what a writer enters is on the disk when the call returns; else a power loss may
  //              cost the last entries, and never the file
  //   pageSize   bytes, a power of 2 from 512 to 65536; counts for a new file only
  //   cacheSize  bytes     heapLimit  bytes, soft, of all of SQLite in this process
  //   verify     reads the whole file first and fails when it is damaged anywhere
  // A size of 0 is SQLite's own choice.
  int open(const std::string& path, bool readOnly, bool create, unsigned waitMs, bool durable,
           unsigned pageSize, unsigned cacheSize, unsigned heapLimit, bool verify);
  bool is_open() const;
  void close();

  // By id.
  int get_periods(std::vector<CPeriodProperties>& periods);
  // In the order in which they were made.
  int get_devices(std::vector<CDeviceProperties>& devices);
  // By index. None for an unknown device.
  int get_params(const CDeviceProperties& device, std::vector<CParamProperties>& params);

  // The snapshots of params.device in these periods with start <= time <= end (Unix seconds; -1: no
  // bound): of these, in order of time and then of the period's id, or with `ascending` false the
  // other way round, `max` after the first `offset`. Each has a sample for each of params.params;
  // parameters that a snapshot does not have are absent. With `completeOnly` those of 100 percent.
  int get_trend_data(CDeviceData& data, const CDeviceParams& params,
                     const std::vector<CPeriodProperties>& periods,
                     std::pair<std::int64_t, std::int64_t> range, unsigned max, unsigned offset,
                     bool ascending, bool completeOnly);

  // Of all devices and periods.
  int count(std::uint64_t& snapshots);

  // Makes the periods, or changes the bounds of those that are there.
  int set_periods(const std::vector<CPeriodProperties>& periods);
  // Makes the device, and those of its parameters that are not there yet after those that are;
  // the others' types and flags are changed.
  int set_params(const CDeviceParams& params);
  // Enters all snapshots, in one transaction, or none: also when a device or a period is not there.
  // One of the same device, period and time is replaced. Beyond the period's bound the oldest go,
  // some at a time.
  int append(const std::vector<CEntry>& entries);

  const std::string& last_error() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace toolkit::trend
