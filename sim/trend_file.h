// The file of the interval trends, in terms of the values of an installation.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "moved_point.h"
#include "toolkit/trend.h"
#include "trend_intervals.h"

namespace sim {

class TrendFile {
 public:
  using Entries = std::vector<toolkit::trend::CEntry>;
  // The snapshots that there are of one device and period.
  struct Kept {
    std::int64_t oldest = 0;
    std::int64_t newest = 0;
    std::vector<double> actuals;  // of the oldest, one for each of the device's points
  };

  // Points in the order of the values, device by device.
  explicit TrendFile(const std::vector<MovedPoint>& points);

  // Opens the file or makes it, with all periods and parameters. This and all others that return
  // false leave the reason in lastError().
  bool open(const std::string& path);
  const std::string& lastError() const { return log_.last_error(); }

  std::size_t devices() const { return devices_.size(); }
  // Place of a device's first value; of the last device's end with devices().
  std::size_t firstValue(std::size_t device) const;
  PointKind kindOf(std::size_t value) const { return kinds_[value]; }

  toolkit::trend::CEntry entryOf(std::size_t device, std::uint32_t period,
                                 const Interval& interval) const;
  // All or none.
  bool append(const Entries& entries) { return log_.append(entries) == toolkit::LOG_OK; }
  bool read(std::size_t device, std::uint32_t period, std::optional<Kept>& kept);

 private:
  struct Device {
    toolkit::trend::CDeviceParams params;  // in the order of the values
    std::size_t first = 0;                 // value
    std::size_t places = 0;                // in the file
  };

  bool makeParams(Device& device);

  toolkit::trend::CLog log_;
  std::vector<Device> devices_;
  std::vector<PointKind> kinds_;
};

}  // namespace sim
