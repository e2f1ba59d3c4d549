// Waveform records. Each handler returns SOAP_OK, and tells what went wrong in its reply; nothing
// is kept from one request to the next.
#include <cassert>

#include "front/global_data.h"
#include "soap_records.h"
#include "toolkit/comtrade.h"
#include "toolkit/time.h"
#include "values/error_strings.h"
#include "values/service_options.h"

using namespace toolkit::ws;
using toolkit::CComtradeView;
using toolkit::CWaveConfigData;

namespace {

// numberSamples of every description; how many there are is what getWaveformData returns.
constexpr int kNumberSamples = 2048;

// One request for a record.
struct Access {
  _service_options_t opts;
  CComtradeView view;
  std::string filePath;
  std::string& result;  // of the reply

  // What goes to the client; what is wrong with the record goes to the log.
  Refusal answer(WS_Errors code, const char* text) const {
    return {code, text, result, &opts, Refusal::Line::kInfo, view.last_error()};
  }

  bool open(const _global_data_t& global, const std::string& url) {
    if (global.waveFolder.empty()) {
      __psyslog->info(2, "There is no waveform folder: the option -w names it");
    }
    if (CComtradeView::parseUrlToFilepath(url, global.waveFolder, filePath) != 0) {
      return refuse(answer(WS_ARGUMENT_INVALID, "Cannot parse URL"), "Cannot parse URL %s",
                    url.c_str());
    }
    if (view.initialize(filePath) != 0) {
      return refuse(answer(WS_NO_DATA, "Failed to parse COMTRADE data"),
                    "Failed to parse COMTRADE data at %s", filePath.c_str());
    }
    return true;
  }
};

LONG64 wireTime(const timeval& time) {
  return qel_UNIXtoQELtime64(&time);
}

template <class Channels>
void copyNames(const Channels& channels, std::vector<std::string>& names) {
  for (const auto& channel : channels) {
    names.push_back(channel.name);
  }
}

bool fillHeader(Access& access, const std::string& url, nsvk__getWaveConfigResponse& response) {
  toolkit::CWaveHeaderData header;
  if (header.fillData(access.view) != 0) {
    return refuse(access.answer(WS_NO_DATA, "Failed to parse COMTRADE header"),
                  "Failed to parse COMTRADE header at %s", access.filePath.c_str());
  }
  __psyslog->info(5, "COMTRADE waveform fetched from %s", url.c_str());
  response.eventDescr = header.eventDescription;
  response.triggerChannel = header.triggerChannel;
  response.triggerIndex = header.triggerIndex;
  return true;
}

void answerConfig(Access& access, const std::string& url, nsvk__getWaveConfigResponse& response) {
  if (!fillHeader(access, url, response)) {
    return;
  }
  CWaveConfigData cfgData;
  if (access.view.getConfigurationData(cfgData) != 0) {
    refuse(access.answer(WS_NO_DATA, "Failed to parse COMTRADE configuration"),
           "Failed to parse COMTRADE config at %s", access.filePath.c_str());
    return;
  }
  response.result = "OK";
  response.stationID = cfgData.stationName;
  response.deviceID = cfgData.deviceId;
  response.samplingRate = cfgData.samplingRate;
  response.numberSamples = kNumberSamples;
  response.startTime = wireTime(cfgData.startTime);
  response.triggerTime = wireTime(cfgData.triggerTime);
  copyNames(cfgData.analogChannels, response.analogChannelNames);
  copyNames(cfgData.digitalChannels, response.digitalChannelNames);
}

void logMissing(const Access& access, const CWaveConfigData& cfgData) {
  if (cfgData.nSamples < cfgData.nDeclared) {
    __psyslog->info(1, "COMTRADE data at %s has %zu samples and not %zu", access.filePath.c_str(),
                    cfgData.nSamples, cfgData.nDeclared);
  }
}

void answerData(Access& access, const std::string& channel, nsvk__getWaveDataResponse& response) {
  CWaveConfigData cfgData;
  if (access.view.getConfigurationData(cfgData) != 0) {
    refuse(access.answer(WS_NO_DATA, "Failed to parse COMTRADE config"),
           "Failed to parse COMTRADE configuration at %s", access.filePath.c_str());
    return;
  }
  const toolkit::CWaveAnalogChannelConfig* const analog = cfgData.analogChannel(channel);
  if (analog == nullptr) {
    refuse(access.answer(WS_ARGUMENT_INVALID, "No such Analog Channel"),
           "No such Analog Channel as %s", channel.c_str());
    return;
  }
  toolkit::CWaveSampleData samples;
  if (samples.fillData(access.view, toolkit::WAVE_SCALED, &analog->name) != 0) {
    refuse(access.answer(WS_NO_DATA, "Failed to parse COMTRADE data"),
           "Failed to get COMTRADE sample data at %s", access.filePath.c_str());
    return;
  }
  const auto pos = samples.channels.find(analog->name);
  if (pos == samples.channels.end()) {
    refuse(access.answer(WS_NO_DATA, "Failed to get COMTRADE channel data"),
           "Failed to get COMTRADE sample data for %s", channel.c_str());
    return;
  }
  logMissing(access, cfgData);
  response.result = "OK";
  response.samplingRate = cfgData.samplingRate;
  response.startTime = wireTime(cfgData.startTime);
  response.triggerTime = wireTime(cfgData.triggerTime);
  response.triggerIndex = cfgData.triggerIndex;
  assert(cfgData.nSamples == pos->second.size());
  response.data.assign(pos->second.begin(), pos->second.end());
}

}  // namespace

int nsvk__getWaveformConfig(struct soap* ctx, std::string* options, std::string* url,
                            nsvk__getWaveConfigResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  Access access{{}, {}, {}, response.result};
  parseServiceOptions(glptr, options, &access.opts);
  if (access.open(*glptr, textOf(url))) {
    answerConfig(access, textOf(url), response);
  }
  return SOAP_OK;
}

int nsvk__getWaveformData(struct soap* ctx, nsvk__getWaveDataRequest* request,
                          nsvk__getWaveDataResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  const nsvk__getWaveDataRequest& asked = recordOf(request);
  Access access{{}, {}, {}, response.result};
  parseServiceOptions(glptr, &asked.options, &access.opts);
  if (access.open(*glptr, asked.url)) {
    answerData(access, asked.channel, response);
  }
  return SOAP_OK;
}
