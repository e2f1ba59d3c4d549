#include "trend_file.h"

#include <algorithm>

namespace sim {

namespace trend = toolkit::trend;

namespace {

trend::CParamProperties paramOf(const MovedPoint& point) {
  trend::CParamProperties param;
  param.path = point.path;
  param.type = point.kind == PointKind::kPowerFactor ? trend::SAMPLE_PF : trend::SAMPLE_NORMAL;
  param.hasMin = param.hasMax = param.hasAvg = point.kind != PointKind::kCounter;
  param.hasActual = true;
  return param;
}

trend::CSample sampleOf(const Trend& values, PointKind kind) {
  const trend::COptVal actual(values.actual);
  if (kind == PointKind::kCounter) return {{}, {}, {}, actual};
  return {trend::COptVal(values.min), trend::COptVal(values.max), trend::COptVal(values.avg),
          actual};
}

}  // namespace

TrendFile::TrendFile(const std::vector<MovedPoint>& points) {
  for (const MovedPoint& point : points) {
    if (devices_.empty() || devices_.back().params.device.path != point.device) {
      devices_.push_back({{{point.device}, {}}, kinds_.size(), 0});
    }
    devices_.back().params.params.push_back(paramOf(point));
    kinds_.push_back(point.kind);
  }
}

bool TrendFile::open(const std::string& path) {
  std::vector<trend::CPeriodProperties> periods;
  periods.reserve(kTrendPeriods.size());
  for (const TrendPeriod& period : kTrendPeriods) periods.push_back({period.id, period.most});
  return log_.open(path, false, true, 0, false, 0, 0, 0, false) == toolkit::LOG_OK &&
         log_.set_periods(periods) == toolkit::LOG_OK &&
         std::all_of(devices_.begin(), devices_.end(),
                     [this](Device& device) { return makeParams(device); });
}

// The file may have parameters of former times, and in another order.
bool TrendFile::makeParams(Device& device) {
  std::vector<trend::CParamProperties> there;
  if (log_.set_params(device.params) != toolkit::LOG_OK ||
      log_.get_params(device.params.device, there) != toolkit::LOG_OK) {
    return false;
  }
  for (trend::CParamProperties& param : device.params.params) {
    for (const trend::CParamProperties& other : there) {
      if (other.path == param.path) param.place = other.place;
    }
  }
  device.places = there.size();
  return true;
}

std::size_t TrendFile::firstValue(std::size_t device) const {
  return device < devices_.size() ? devices_[device].first : kinds_.size();
}

trend::CEntry TrendFile::entryOf(std::size_t device, std::uint32_t period,
                                 const Interval& interval) const {
  const Device& wanted = devices_[device];
  trend::CEntry entry{wanted.params.device.path, {period, interval.end, interval.percentValid, {}}};
  entry.snapshot.data.resize(wanted.places);
  for (std::size_t i = 0; i < wanted.params.params.size(); ++i) {
    entry.snapshot.data[wanted.params.params[i].place] =
        sampleOf(interval.trends[wanted.first + i], kinds_[wanted.first + i]);
  }
  return entry;
}

bool TrendFile::read(std::size_t device, std::uint32_t period, std::optional<Kept>& kept) {
  const trend::CDeviceParams& params = devices_[device].params;
  trend::CDeviceData oldest;
  trend::CDeviceData newest;
  for (const bool ascending : {true, false}) {
    if (log_.get_trend_data(ascending ? oldest : newest, params, {{period}}, {-1, -1}, 1, 0,
                            ascending, false) != toolkit::LOG_OK) {
      return false;
    }
  }
  kept.reset();
  if (oldest.samples.empty() || newest.samples.empty()) return true;
  kept.emplace();
  kept->oldest = oldest.samples[0].time;
  kept->newest = newest.samples[0].time;
  for (const trend::CSample& sample : oldest.samples[0].data) {
    kept->actuals.push_back(*sample.actual);
  }
  return true;
}

}  // namespace sim
