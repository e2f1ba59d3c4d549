// The interval trends. Each handler returns SOAP_OK, and tells what went wrong in its reply.
#include <algorithm>
#include <cassert>
#include <limits>

#include "front/global_data.h"
#include "logs/log_retrieval.h"
#include "soap_records.h"
#include "toolkit/time.h"
#include "toolkit/trend.h"
#include "values/error_strings.h"
#include "values/service_options.h"

using namespace toolkit::ws;
namespace trend = toolkit::trend;

namespace {

constexpr int kSnapshotShare = 12;  // of the delta records' maximum, what snapshots may have
constexpr unsigned kWaitMs = 40;
constexpr std::int64_t kNoBound = -1;

template <class Items, class Predicate>
void keep(Items& items, Predicate isWanted) {
  items.erase(
      std::remove_if(items.begin(), items.end(), [&](const auto& item) { return !isWanted(item); }),
      items.end());
}

template <class Values, class Value>
bool contains(const Values& values, const Value& value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

// Opens the trend log unless an earlier request has.
bool CheckOpenTrendLog(_global_data_t* glptr, const _service_options_t& opts,
                       std::string& errorText) {
  if (glptr->trendLog) {
    return true;
  }
  glptr->trendLog = std::make_shared<trend::CLog>();
  if (glptr->trendLog->open(glptr->trendLogPath, true, false, kWaitMs, false,
                            static_cast<unsigned>(glptr->pageSize),
                            static_cast<unsigned>(glptr->cacheSize),
                            static_cast<unsigned>(glptr->heapLimit), false) == 0) {
    return true;
  }
  glptr->trendLog.reset();
  refuse({WS_NO_HISTORY, "Failed to open trend log database", errorText, &opts},
         "Failed to open database %s", glptr->trendLogPath.c_str());
  return false;
}

bool findDevice(_global_data_t* glptr, const _service_options_t& opts,
                const std::string& devicePath, std::string& errorText,
                trend::CDeviceProperties& device) {
  std::vector<trend::CDeviceProperties> devices;
  if (glptr->trendLog->get_devices(devices) != 0) {
    BnwsErrMsg(WS_NO_HISTORY, "No Trending devices found.", errorText, &opts);
    return false;
  }
  const auto found =
      std::find_if(devices.begin(), devices.end(),
                   [&](const trend::CDeviceProperties& d) { return d.path == devicePath; });
  if (found == devices.end()) {
    refuse({WS_NO_HISTORY, "No Trend data found for this device.", errorText, &opts},
           "No Trend data found for device %s", devicePath.c_str());
    return false;
  }
  device = *found;
  return true;
}

// The parameters of a device, cut down to `pointPaths` unless that is empty. 0 on success. When
// nothing is left of them the reply stays without a text.
int GetDeviceParams(_global_data_t* glptr, const _service_options_t& opts,
                    const std::string& devicePath, const std::vector<std::string>& pointPaths,
                    std::string& errorText, trend::CDeviceParams& deviceParams) {
  assert(glptr != 0);  // NOLINT(modernize-use-nullptr): printed so
  assert(glptr->cdsApi.is_initialized());
  if (!CheckOpenTrendLog(glptr, opts, errorText) ||
      !findDevice(glptr, opts, devicePath, errorText, deviceParams.device)) {
    return -1;
  }
  if (glptr->trendLog->get_params(deviceParams.device, deviceParams.params) != 0) {
    refuse({WS_NO_HISTORY, "Failed to get Trend parameters for this device", errorText, &opts},
           "Failed to get Trend parameters for device %s", devicePath.c_str());
    return -1;
  }
  if (pointPaths.empty()) {
    return 0;
  }
  keep(deviceParams.params, [&](const auto& param) { return contains(pointPaths, param.path); });
  if (deviceParams.params.empty()) {
    __psyslog->info(1, "No Trend data for requested parameter(s) %s", pointPaths.front().c_str());
    return -1;
  }
  return 0;
}

void MapDeviceParams(const std::vector<trend::CParamProperties>& params,
                     std::vector<stParamProperties>& records) {
  records.resize(params.size());
  for (std::size_t i = 0; i < params.size(); ++i) {
    records[i].path = params[i].path;
    records[i].type = static_cast<enum enumSampleType>(params[i].type);
    records[i].hasMin = params[i].hasMin;
    records[i].hasMax = params[i].hasMax;
    records[i].hasAvg = params[i].hasAvg;
    records[i].hasActual = params[i].hasActual;
  }
}

// In a snapshot a parameter is known by its path alone.
void MapDeviceParams(const trend::CDeviceParams& params, stDeviceParams& record) {
  record.devicePath = params.device.path;
  for (const trend::CParamProperties& param : params.params) {
    record.paramPaths.push_back(param.path);
  }
}

void mapValue(const trend::COptVal& value, double& record, bool& valid) {
  valid = value.is_valid();
  record = valid ? *value : 0;
}

void mapSample(const trend::CSample& sample, stSample& record) {
  mapValue(sample.min, record.min, record.minValid);
  mapValue(sample.max, record.max, record.maxValid);
  mapValue(sample.avg, record.avg, record.avgValid);
  mapValue(sample.actual, record.actual, record.actualValid);
}

void MapTrendData(const trend::CDeviceData& data, stDeviceData& record) {
  MapDeviceParams(data.params, record.params);
  record.samples.resize(data.samples.size());
  for (std::size_t i = 0; i < data.samples.size(); ++i) {
    const trend::CSnapshot& snapshot = data.samples[i];
    stSnapshot& out = record.samples[i];
    const timeval time{static_cast<time_t>(snapshot.time), 0};
    out.period = snapshot.period;
    out.timestamp = qel_UNIXtoQELtime64(&time);
    out.percent_valid = snapshot.percent_valid;
    out.data.resize(snapshot.data.size());
    for (std::size_t k = 0; k < snapshot.data.size(); ++k) {
      mapSample(snapshot.data[k], out.data[k]);
    }
  }
}

std::int64_t secondsOf(LONG64 time) {
  const std::optional<timeval> bound = boundOf(time);
  return bound ? bound->tv_sec : kNoBound;
}

// The periods of the log that the request names. False when there is none.
bool choosePeriods(trend::CLog& log, const std::vector<ULONG64>& wanted,
                   std::vector<trend::CPeriodProperties>& periods) {
  if (log.get_periods(periods) != 0) {
    return false;
  }
  keep(periods, [&](const auto& period) { return contains(wanted, ULONG64{period.period}); });
  return !periods.empty();
}

void answerTrendData(_global_data_t* glptr, const _service_options_t& opts,
                     const nsvk__getTrendDataRequest& request, int max,
                     nsvk__getTrendDataResponse& response) {
  if (!CheckOpenTrendLog(glptr, opts, response.result)) {
    return;
  }
  std::vector<trend::CPeriodProperties> periods;
  if (!choosePeriods(*glptr->trendLog, request.periods, periods)) {
    BnwsErrMsg(WS_NO_HISTORY, "No Trend periods data matching the request.", response.result,
               &opts);
    return;
  }
  trend::CDeviceParams params;
  if (GetDeviceParams(glptr, opts, request.devicePath, request.pointPaths, response.result,
                      params) != 0) {
    return;
  }
  const auto offset = static_cast<unsigned>(
      std::min<ULONG64>(request.startingOffset, std::numeric_limits<unsigned>::max()));
  trend::CDeviceData data;
  const Retrieval retrieval = retrieveWithRetries(*glptr, [&] {
    return glptr->trendLog->get_trend_data(
        data, params, periods, {secondsOf(request.startTime), secondsOf(request.endTime)},
        static_cast<unsigned>(max), offset, request.ascendingOrder, false);
  });
  if (retrieval.succeeded()) {
    MapTrendData(data, response.data);
  }
  if (retrieval.inTime()) {
    response.result = "OK";
  } else {
    BnwsErrMsg(WS_NO_DATA, "Trend data retrieval failed with these params", response.result, &opts);
  }
}

}  // namespace

int nsvk__getTrendPeriods(struct soap* ctx, std::string* options,
                          nsvk__getTrendPeriodsResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  _service_options_t opts;
  parseServiceOptions(glptr, options, &opts);
  if (!CheckOpenTrendLog(glptr, opts, response.result)) {
    return SOAP_OK;
  }
  std::vector<trend::CPeriodProperties> periods;
  if (glptr->trendLog->get_periods(periods) != 0) {
    refuse({WS_NO_HISTORY, "No Trend periods data.", response.result, &opts},
           "Failed to get Trends periods in %s", glptr->trendLogPath.c_str());
    return SOAP_OK;
  }
  response.result = "OK";
  for (const trend::CPeriodProperties& period : periods) {
    stPeriodProperties& record = response.periodProperties.emplace_back();
    record.period = period.period;
    record.max_entries = period.max_entries;
  }
  return SOAP_OK;
}

int nsvk__getDeviceTrendParams(struct soap* ctx, std::string* options, std::string* devicePath,
                               nsvk__getDeviceTrendParamsResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  _service_options_t opts;
  parseServiceOptions(glptr, options, &opts);
  const std::string device = textOf(devicePath);
  trend::CDeviceParams params;
  if (GetDeviceParams(glptr, opts, device, {}, response.result, params) == 0) {
    MapDeviceParams(params.params, response.deviceParams);
    __psyslog->info(2, "Returning %zd Trend parameters for device %s.",
                    response.deviceParams.size(), device.c_str());
  }
  return SOAP_OK;
}

int nsvk__getTrendData(struct soap* ctx, nsvk__getTrendDataRequest* request,
                       nsvk__getTrendDataResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  const nsvk__getTrendDataRequest& asked = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(glptr, &asked.options, &opts);
  const int limit = glptr->maxRecords / kSnapshotShare;
  if (asked.nMaxToReturn > limit) {
    BnwsErrMsg(WS_RESULT_TOO_BIG, tooManyRecords(limit).c_str(), response.result, &opts);
    return SOAP_OK;
  }
  answerTrendData(glptr, opts, asked, asked.nMaxToReturn < 1 ? limit : asked.nMaxToReturn,
                  response);
  return SOAP_OK;
}
