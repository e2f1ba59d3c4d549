#include "toolkit/trend_file.h"

#include <algorithm>

namespace toolkit::trend {

namespace {

COptVal optional(bool isKept, double value) {
  return isKept ? COptVal(value) : COptVal();
}

CSample sampleOf(const CTrend& values, const CParamProperties& param) {
  return {optional(param.hasMin, values.min), optional(param.hasMax, values.max),
          optional(param.hasAvg, values.avg), optional(param.hasActual, values.actual)};
}

}  // namespace

bool CPointFile::open(const std::string& path) {
  std::vector<CPeriodProperties> periods;
  periods.reserve(kPeriods.size());
  for (const CPeriod& period : kPeriods) {
    periods.push_back({period.id, period.max_entries});
  }
  return log_.openToWrite(path, {}) == LOG_OK && log_.set_periods(periods) == LOG_OK;
}

bool CPointFile::setPoints(const std::vector<CPoint>& points) {
  std::vector<Device> devices;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (devices.empty() || devices.back().params.device.path != points[i].device) {
      devices.push_back({{{points[i].device}, {}}, i, 0});
    }
    devices.back().params.params.push_back(points[i].param);
  }
  if (!std::all_of(devices.begin(), devices.end(),
                   [this](Device& device) { return makeParams(device); })) {
    return false;
  }
  devices_ = std::move(devices);
  points_ = points;
  return true;
}

// The file may have parameters of former times, and in another order.
bool CPointFile::makeParams(Device& device) {
  std::vector<CParamProperties> there;
  if (log_.set_params(device.params) != LOG_OK ||
      log_.get_params(device.params.device, there) != LOG_OK) {
    return false;
  }
  for (CParamProperties& param : device.params.params) {
    for (const CParamProperties& other : there) {
      if (other.path == param.path) {
        param.index = other.index;
      }
    }
  }
  device.paramsInFile = there.size();
  return true;
}

std::size_t CPointFile::firstValue(std::size_t device) const {
  return device < devices_.size() ? devices_[device].first : points_.size();
}

CEntry CPointFile::entryOf(std::size_t device, std::uint32_t period, const CInterval& interval,
                           std::size_t first) const {
  const Device& wanted = devices_[device];
  CEntry entry{wanted.params.device.path, {period, interval.end, interval.percentValid, {}}};
  entry.snapshot.data.resize(wanted.paramsInFile);
  for (std::size_t i = 0; i < wanted.params.params.size(); ++i) {
    const CParamProperties& param = wanted.params.params[i];
    entry.snapshot.data[param.index] = sampleOf(interval.trends[first + i], param);
  }
  return entry;
}

bool CPointFile::read(std::size_t device, std::uint32_t period, std::optional<Kept>& kept) {
  const CDeviceParams& params = devices_[device].params;
  CDeviceData oldest;
  CDeviceData newest;
  for (const bool ascending : {true, false}) {
    if (log_.get_trend_data(ascending ? oldest : newest, params, {{period}}, {-1, -1}, 1, 0,
                            ascending, false) != LOG_OK) {
      return false;
    }
  }
  kept.reset();
  if (oldest.samples.empty() || newest.samples.empty()) {
    return true;
  }
  kept.emplace();
  kept->oldest = oldest.samples[0].time;
  kept->newest = newest.samples[0].time;
  for (const CSample& sample : oldest.samples[0].data) {
    kept->actuals.push_back(*sample.actual);
  }
  return true;
}

}  // namespace toolkit::trend
