// Waveform records over the real socket.
#include <filesystem>

#include "service_fixture.h"

namespace {

namespace fs = std::filesystem;

class Waveforms : public ServiceTest {
 protected:
  Waveforms() {
    import(testModel());
    fs::create_directory(folder());
  }
  fs::path folder() const { return root() / "waves"; }
  void copy(const std::string& from, const std::string& to) const {
    fs::copy_file(fs::path(RECORDS_FOLDER) / from, folder() / to);
  }
  void copySet(const std::string& from, const std::string& to) const {
    for (const char* extension : {".cfg", ".dat", ".hdr"}) {
      copy(from + extension, to + extension);
    }
  }
  void startWithFolder() { start({"-d", "-D", "9", "-w", folder()}); }
  std::string config(const std::string& url) const {
    return ask("getWaveformConfig", "<options/><url>" + url + "</url>");
  }
  std::string data(const std::string& url, const std::string& channel) const {
    return ask("getWaveformData",
               "<request><url>" + url + "</url><channel>" + channel + "</channel></request>");
  }
};

TEST_F(Waveforms, AreDescribedAndGivenByChannel) {
  copySet("same-binary", "sag 7");
  startWithFolder();
  const std::string described = config("http://meter/waveforms/sag%207.cfg");
  EXPECT_EQ(elements(described, "stationID"), Texts{"Main board"});
  EXPECT_TRUE(contains(log(), "COMTRADE waveform fetched from http://meter/waveforms/sag%207.cfg"));

  const std::string given = data("sag%207", "VB");
  const Texts samples = elements(given, "data");
  ASSERT_EQ(samples.size(), 40U);
  EXPECT_EQ(samples.front(), "-1990");
  EXPECT_EQ(samples.back(), "1910");
  EXPECT_EQ(elements(data("sag%207", "#2"), "data"), samples) << "by its number";
}

TEST_F(Waveforms, WithOddSamplesAndTextsAreWellFormed) {
  copySet("missing-binary", "gap");
  copySet("cyrillic", "cyrillic");
  copySet("fewer", "cut");
  startWithFolder();
  EXPECT_EQ(elements(data("cut", "VB"), "data").size(), 11U);
  EXPECT_TRUE(contains(log(), "cut has 11 samples and not 40"));
  EXPECT_EQ(elements(data("gap", "VB"), "data")[3], "NaN");
  EXPECT_EQ(elements(config("cyrillic"), "stationID"), Texts{"Подстанция"});
}

TEST_F(Waveforms, ThatCannotBeUsedAreRefused) {
  copySet("same-binary", "good");
  copySet("bad-date", "config");
  copySet("bad-before-trigger", "short");
  copy("no-header.cfg", "bare.cfg");
  copy("no-header.dat", "bare.dat");
  copy("same-binary.cfg", "lonely.cfg");
  copySet("same-binary", "wordy");
  fs::resize_file(folder() / "wordy.hdr", (1 << 20) + 1);
  fs::create_symlink(fs::path(RECORDS_FOLDER) / "same-binary.cfg", folder() / "link.cfg");
  startWithFolder();
  const std::string at = folder().string() + "/";
  const std::tuple<std::string, std::string, std::string> kDescriptions[] = {
      {"", "? 33 Argument Invalid/Not Supported : Cannot parse URL", "Cannot parse URL "},
      {"%2e%2e", "? 33 Argument Invalid/Not Supported : Cannot parse URL",
       "Cannot parse URL %2e%2e"},
      {"none", "? 22 No Data Available : Failed to parse COMTRADE data",
       "Failed to parse COMTRADE data at " + at + "none"},
      {"lonely", "? 22 No Data Available : Failed to parse COMTRADE data",
       "lonely.dat: No such file"},
      {"link", "? 22 No Data Available : Failed to parse COMTRADE data", "link.cfg: "},
      {"bare", "? 22 No Data Available : Failed to parse COMTRADE header",
       "Failed to parse COMTRADE header at " + at + "bare"},
      {"wordy", "? 22 No Data Available : Failed to parse COMTRADE header",
       "wordy.hdr: 1048577 bytes, more than the 1048576 allowed"},
      {"config", "? 22 No Data Available : Failed to parse COMTRADE configuration",
       "Failed to parse COMTRADE config at " + at + "config"}};
  for (const auto& [url, result, line] : kDescriptions) {
    EXPECT_EQ(elements(config(url), "result"), Texts{result}) << url;
    EXPECT_TRUE(contains(log(), line));
  }
  const std::tuple<std::string, std::string, std::string, std::string> kData[] = {
      {"a%2Fb", "VA", "? 33 Argument Invalid/Not Supported : Cannot parse URL",
       "Cannot parse URL a%2Fb"},
      {"none", "VA", "? 22 No Data Available : Failed to parse COMTRADE data",
       "Failed to parse COMTRADE data at " + at + "none"},
      {"config", "VA", "? 22 No Data Available : Failed to parse COMTRADE config",
       "Failed to parse COMTRADE configuration at " + at + "config"},
      {"good", "va", "? 33 Argument Invalid/Not Supported : No such Analog Channel",
       "No such Analog Channel as va"},
      {"good", "Trip", "? 33 Argument Invalid/Not Supported : No such Analog Channel",
       "No such Analog Channel as Trip"},
      {"short", "VA", "? 22 No Data Available : Failed to parse COMTRADE data",
       "Failed to get COMTRADE sample data at " + at + "short"}};
  for (const auto& [url, channel, result, line] : kData) {
    const std::string reply = data(url, channel);
    EXPECT_EQ(elements(reply, "result"), Texts{result}) << url << " " << channel;
    EXPECT_EQ(elements(reply, "data"), Texts{});
    EXPECT_TRUE(contains(log(), line));
  }
  EXPECT_EQ(elements(data("bare", "VA"), "result"), Texts{"OK"}) << "data needs no header";
}

}  // namespace
