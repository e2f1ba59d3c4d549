// Waveform records over the real socket.

#include "service_fixture.h"

namespace {

class Waveforms : public ServiceTest {
 protected:
  void startWithFolder() { start({"-d", "-D", "9", "-w", waves()}); }
  std::string config(const std::string& url) const {
    return ask("getWaveformConfig", tags({{"url", url}}));
  }
  std::string data(const std::string& url, const std::string& channel) const {
    return ask("getWaveformData", tags({{"request", tags({{"url", url}, {"channel", channel}})}}));
  }
};

TEST_F(Waveforms, AreDescribedAndGivenByChannel) {
  copyWaveform("same-binary", "sag 7");
  copyWaveform("missing-binary", "gap");
  copyWaveform("cyrillic", "cyrillic");
  copyWaveform("fewer", "cut");
  startWithFolder();
  const std::string url = "http://meter/waveforms/sag%207.cfg";
  EXPECT_EQ(elements(config(url), "stationID"), Texts{"Main board"});
  EXPECT_TRUE(contains(log(), "COMTRADE waveform fetched from " + url));
  EXPECT_EQ(elements(data("sag%207", "#2"), "data").at(0), "-1990") << "by its number";
  EXPECT_EQ(elements(data("cut", "VB"), "data").size(), 11U);
  EXPECT_TRUE(contains(log(), "cut has 11 samples and not 40"));
  EXPECT_EQ(elements(data("gap", "VB"), "data")[3], "NaN");
  EXPECT_EQ(elements(config("cyrillic"), "stationID"), Texts{"Подстанция"});
}

TEST_F(Waveforms, ThatCannotBeUsedAreRefused) {
  copyWaveform("same-binary", "good");
  copyWaveform("bad-date", "config");
  copyWaveform("bad-before-trigger", "short");
  copyWaveform("no-header", "bare", {".cfg", ".dat"});
  copyWaveform("same-binary", "lonely", {".cfg"});
  copyWaveform("same-binary", "wordy");
  fs::resize_file(waves() / "wordy.hdr", (1 << 20) + 1);
  fs::create_symlink(fs::path(RECORDS_FOLDER) / "same-binary.cfg", waves() / "link.cfg");
  startWithFolder();
  const std::string invalid = "? 33 Argument Invalid/Not Supported : ";
  const std::string failed = "? 22 No Data Available : Failed to parse COMTRADE ";
  const std::string at = " at " + waves().string() + "/";
  // URL; the result; a part of a line in the log.
  const std::tuple<const char*, std::string, std::string> kDescriptions[] = {
      {"", invalid + "Cannot parse URL", "Cannot parse URL "},
      {"%2e%2e", invalid + "Cannot parse URL", "Cannot parse URL %2e%2e"},
      {"none", failed + "data", "Failed to parse COMTRADE data" + at + "none"},
      {"lonely", failed + "data", "lonely.dat: No such file"},
      {"link", failed + "data", "link.cfg: "},
      {"bare", failed + "header", "Failed to parse COMTRADE header" + at + "bare"},
      {"wordy", failed + "header", "wordy.hdr: 1048577 bytes, more than the 1048576 allowed"},
      {"config", failed + "configuration", "Failed to parse COMTRADE config" + at + "config"}};
  for (const auto& [url, result, line] : kDescriptions) {
    EXPECT_EQ(elements(config(url), "result"), Texts{result}) << url;
    EXPECT_TRUE(contains(log(), line));
  }
  const std::tuple<const char*, const char*, std::string, std::string> kData[] = {
      {"a%2Fb", "VA", invalid + "Cannot parse URL", "Cannot parse URL a%2Fb"},
      {"none", "VA", failed + "data", "Failed to parse COMTRADE data" + at + "none"},
      {"config", "VA", failed + "config", "Failed to parse COMTRADE configuration" + at + "config"},
      {"good", "va", invalid + "No such Analog Channel", "No such Analog Channel as va"},
      {"good", "Trip", invalid + "No such Analog Channel", "No such Analog Channel as Trip"},
      {"short", "VA", failed + "data", "Failed to get COMTRADE sample data" + at + "short"}};
  for (const auto& [url, channel, result, line] : kData) {
    expectElements(data(url, channel), {{"result", {result}}, {"data", {}}});
    EXPECT_TRUE(contains(log(), line));
  }
  EXPECT_EQ(elements(data("bare", "VA"), "result"), Texts{"OK"}) << "data needs no header";
}

}  // namespace
