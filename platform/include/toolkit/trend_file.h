// trend::CPointFile: the file of the interval trends, in terms of points and their values.
//
// It has the periods of trend_intervals.h. Calls that return false leave the reason in
// lastError().
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "toolkit/trend.h"
#include "toolkit/trend_intervals.h"
#include "toolkit/trend_points.h"

namespace toolkit::trend {

class CPointFile {
 public:
  using Entries = std::vector<CEntry>;
  // The snapshots that there are of one device and period.
  struct Kept {
    std::int64_t oldest = 0;
    std::int64_t newest = 0;
    std::vector<double> actuals;  // of the oldest, one for each of the device's points
  };

  // Opens the file or makes it, with all periods.
  bool open(const std::string& path);
  // Makes the points' parameters. Points stand in the order of their values, device by device. The
  // former ones stay when it fails.
  bool setPoints(const std::vector<CPoint>& points);
  const std::string& lastError() const { return log_.last_error(); }

  std::size_t devices() const { return devices_.size(); }
  // Index of a device's first value; of the last device's end with devices().
  std::size_t firstValue(std::size_t device) const;
  const CPoint& point(std::size_t value) const { return points_[value]; }

  // `first`: index of the device's first value in the interval.
  CEntry entryOf(std::size_t device, std::uint32_t period, const CInterval& interval,
                 std::size_t first) const;
  // All or none.
  bool append(const Entries& entries) { return log_.append(entries) == LOG_OK; }
  bool read(std::size_t device, std::uint32_t period, std::optional<Kept>& kept);

 private:
  struct Device {
    CDeviceParams params;   // in the order of the values
    std::size_t first = 0;  // value
    std::size_t paramsInFile = 0;
  };

  bool makeParams(Device& device);

  CLog log_;
  std::vector<Device> devices_;
  std::vector<CPoint> points_;
};

}  // namespace toolkit::trend
