// Fuzzes the reader of waveform records with a combined file (.cff), whose sections go the same way
// as files of their own, and with the same bytes as a URL.
#include <boost/locale/utf.hpp>
#include <fstream>

#include "support.h"
#include "toolkit/comtrade.h"

namespace {

using namespace toolkit;

void requireUtf8(const std::string& text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  for (auto at = text.begin(); at != text.end();) {
    const auto point = Utf8::decode(at, text.end());
    require(point != boost::locale::utf::illegal && point != boost::locale::utf::incomplete);
  }
}

void readSamples(CComtradeView& view, const CWaveConfigData& config) {
  CWaveSampleData all;
  if (all.fillData(view, WAVE_SCALED) == WAVE_OK) {
    for (const auto& [name, values] : all.channels) {
      require(values.size() == config.nSamples);
    }
  }
  for (const CWaveAnalogChannelConfig& channel : config.analogChannels) {
    require(config.analogChannel(channel.name) == &channel);
  }
  for (const CWaveAnalogChannelConfig& channel : config.analogChannels) {
    requireUtf8(channel.name);
    CWaveSampleData one;
    if (one.fillData(view, WAVE_RAW, &channel.name) == WAVE_OK) {
      require(one.channels.at(channel.name).size() == config.nSamples);
    }
    break;
  }
}

void readRecord(const std::string& path) {
  CComtradeView view;
  if (view.initialize(path) != WAVE_OK) {
    require(!view.last_error().empty());
    return;
  }
  CWaveHeaderData header;
  if (view.hasHeader() && header.fillData(view) == WAVE_OK) {
    requireUtf8(header.text);
  }
  CWaveConfigData config;
  if (view.getConfigurationData(config) != WAVE_OK) {
    require(!view.last_error().empty());
    return;
  }
  requireUtf8(config.stationName);
  require(config.triggerIndex >= 0);
  require(config.triggerIndex == 0 ||
          static_cast<std::size_t>(config.triggerIndex) < config.nSamples);
  readSamples(view, config);
}

void parseUrl(const std::string& url) {
  constexpr std::string_view kFolder = "/waves/";
  std::string path;
  if (CComtradeView::parseUrlToFilepath(url, "/waves", path) != WAVE_OK) {
    require(path.empty());
    return;
  }
  require(path.starts_with(kFolder) && path.find('/', kFolder.size()) == std::string::npos);
  require(path[kFolder.size()] != '.' && path.find('\0') == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Scratch scratch;
  const std::string bytes(data, data + size);
  const std::string path = scratch.folder() / "record.cff";
  std::ofstream(path, std::ios::binary) << bytes;
  readRecord(path);
  parseUrl(bytes);
  return 0;
}
