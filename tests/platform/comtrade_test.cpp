// The reader of waveform records, on the files of tests/records/make-records.
#include "toolkit/comtrade.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include "test_program.h"

namespace {

using namespace toolkit;
namespace fs = std::filesystem;

constexpr std::int64_t kStart = 1709806830;  // 2024-03-07 10:20:30 UTC, and half a second
constexpr std::size_t kSamples = 40;

std::string record(const std::string& name) {
  return RECORDS_FOLDER "/" + name;
}

float rawSample(std::size_t sample, std::size_t channel) {
  return 100.0F * static_cast<float>(channel + 1) * (static_cast<float>(sample) - 20);
}

float sampleOf(std::size_t sample, std::size_t channel) {
  return 0.5F * rawSample(sample, channel) + 10 * static_cast<float>(channel);
}

template <class Channels>
std::vector<std::string> namesOf(const Channels& channels) {
  std::vector<std::string> names;
  names.reserve(channels.size());
  for (const auto& channel : channels) {
    names.push_back(channel.name);
  }
  return names;
}

// A record that can be read, with its header when it has one.
struct Read {
  CComtradeView view;
  CWaveConfigData config;
  CWaveHeaderData header;
  CWaveSampleData samples;

  explicit Read(const std::string& name) {
    EXPECT_EQ(view.initialize(record(name)), WAVE_OK) << view.last_error();
    EXPECT_EQ(view.getConfigurationData(config), WAVE_OK) << view.last_error();
    EXPECT_EQ(samples.fillData(view, WAVE_SCALED), WAVE_OK) << view.last_error();
    if (view.hasHeader()) {
      EXPECT_EQ(header.fillData(view), WAVE_OK) << view.last_error();
    }
  }
};

std::set<std::string> recordsThatBeginWith(const std::string& prefix) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(RECORDS_FOLDER)) {
    const std::string name = entry.path().stem();
    if (name.starts_with(prefix)) {
      names.insert(name);
    }
  }
  return names;
}

TEST(Comtrade, EveryFormAndOddityGivesTheSameRecord) {
  const std::set<std::string> names = recordsThatBeginWith("same-");
  EXPECT_GT(names.size(), 40U);
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const Read read(name);
    const CWaveConfigData& config = read.config;
    EXPECT_EQ(config.stationName, "Main board");
    EXPECT_EQ(config.deviceId, "M1");
    EXPECT_DOUBLE_EQ(config.samplingRate, 4000);
    EXPECT_EQ(config.nSamples, kSamples);
    EXPECT_EQ(config.startTime.tv_sec, kStart);
    EXPECT_EQ(config.startTime.tv_usec, 500000);
    EXPECT_EQ(config.triggerIndex, 10);
    EXPECT_EQ(namesOf(config.analogChannels), (std::vector<std::string>{"VA", "VB", "IA"}));
    EXPECT_EQ(namesOf(config.digitalChannels), (std::vector<std::string>{"Trip", "Breaker"}));
    EXPECT_TRUE(config.digitalChannels.back().normal);
    EXPECT_EQ(read.header.eventDescription, "Sag : phase A");
    EXPECT_EQ(read.header.triggerChannel, "VA");
    EXPECT_EQ(read.header.triggerIndex, 10);
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const std::vector<float>& values =
          read.samples.channels.at(config.analogChannels[channel].name);
      ASSERT_EQ(values.size(), kSamples);
      for (std::size_t i = 0; i < kSamples; ++i) {
        ASSERT_EQ(values[i], sampleOf(i, channel)) << i;
      }
    }
  }
}

TEST(Comtrade, NamesAreInTheScriptThatTheyWereWrittenIn) {
  const std::set<std::string> names = recordsThatBeginWith("text-");
  EXPECT_GT(names.size(), 20U);
  for (const std::string& name : names) {
    const std::string written = name.substr(name.find_last_of('-') + 1);
    EXPECT_EQ(namesOf(Read(name).config.analogChannels), std::vector{written});
  }
}

TEST(Comtrade, WhatIsSpecialIsTold) {
  const auto isMissing = [](const Read& read) {
    const std::vector<float>& values = read.samples.channels.at("VB");
    return std::isnan(values[3]) && values[2] == sampleOf(2, 1) && values[4] == sampleOf(4, 1);
  };
  const auto isValue = [](const Read& read) {
    return read.samples.channels.at("VB")[3] == 99999 * 0.5F + 10;
  };
  const auto isCut = [](const Read& read) {
    return read.config.nSamples == kSamples - 1 &&
           read.samples.channels.at("IA").size() == kSamples - 1;
  };
  const auto isUpToTrigger = [](const Read& read) {
    return read.config.nSamples == 11 && read.config.nDeclared == kSamples &&
           read.config.triggerIndex == 10 && read.samples.channels.at("IA").size() == 11 &&
           read.samples.channels.at("IA")[10] == sampleOf(10, 2);
  };
  const std::pair<std::string, std::function<bool(const Read&)>> kCases[] = {
      {"missing-ascii", isMissing},
      {"missing-binary", isMissing},
      {"missing-binary32", isMissing},
      {"missing-float32", isMissing},
      {"missing-code", isMissing},
      {"missing-code-1991", isMissing},
      {"partial", isCut},
      {"partial-ascii", isCut},
      {"one-less", isCut},
      {"fewer", isUpToTrigger},
      {"fewer-ascii", isUpToTrigger},
      {"fewer-stamps", isUpToTrigger},
      {"fewer-than-many", [](const Read& read) { return read.config.nSamples == kSamples; }},
      {"no-missing-code", isValue},
      {"no-missing-code-1991", isValue},
      {"rates",
       [](const Read& read) {
         return read.config.triggerIndex == 12 && read.config.samplingRate == 4000 &&
                read.config.rates.size() == 3;
       }},
      {"combined-first", [](const Read& read) { return read.config.samplingRate == 4000; }},
      {"combined-first.cff", [](const Read& read) { return read.config.samplingRate == 2000; }},
      {"same-binary.cff", [](const Read& read) { return read.config.samplingRate == 4000; }},
      {"no-stamps",
       [](const Read& read) {
         return read.config.samplingRate == 0 && read.config.triggerIndex == 0;
       }},
      {"large-values",
       [](const Read& read) { return read.samples.channels.at("IA")[39] == 5700000 * 0.5F + 20; }},
      {"unset-times", [](const Read& read) { return read.config.startTime.tv_sec == 0; }},
      {"month-first", [](const Read& read) { return read.config.startTime.tv_sec == 1710325230; }},
      {"full-lines-1991",
       [](const Read& read) {
         const CWaveAnalogChannelConfig& channel = read.config.analogChannels.back();
         return read.config.startTime.tv_sec == kStart && channel.primary == 110 &&
                channel.secondary == 0.1 && channel.side == 'P';
       }},
      {"early-trigger", [](const Read& read) { return read.config.triggerIndex == 0; }},
      {"twins",
       [](const Read& read) {
         return read.samples.channels.at("VA")[0] == sampleOf(0, 0) &&
                read.samples.channels.at("VA#2")[0] == sampleOf(0, 1);
       }},
      {"without-channels", [](const Read& read) { return read.samples.channels.empty(); }},
      {"latin",
       [](const Read& read) {
         return read.config.stationName == "Größe" && read.config.deviceId == "Été";
       }},
      {"cyrillic",
       [](const Read& read) {
         return read.config.stationName == "Подстанция" && read.config.deviceId == "Ввод";
       }},
      {"utf", [](const Read& read) { return read.config.deviceId == "Ввод"; }},
      {"no-header", [](const Read& read) { return !read.view.hasHeader(); }},
  };
  for (const auto& [name, holds] : kCases) {
    EXPECT_TRUE(holds(Read(name))) << name;
  }
}

TEST(Comtrade, EachChannelHasANameOfItsOwn) {
  using Names = std::vector<std::string>;
  const std::tuple<std::string, Names, std::string> kCases[] = {
      {"same-binary", {"VA", "VB", "IA"}, "1 2 3 "},
      {"twins", {"VA", "VA#2", "IA"}, "1 2 3 "},
      {"twins-like-forms", {"VA#2", "VA", "#3"}, "1 2 3 "},
      {"twins-blank", {"#3", "", "#3#"}, "1 2 1 "},
  };
  for (const auto& [name, listed, places] : kCases) {
    const Read read(name);
    const auto& channels = read.config.analogChannels;
    EXPECT_EQ(namesOf(channels), listed);
    std::string reached;
    for (std::size_t i = 0; i < channels.size(); ++i) {
      EXPECT_EQ(read.config.analogChannel(listed[i]), &channels[i]) << name << listed[i];
      EXPECT_EQ(read.samples.channels.at(listed[i])[0], sampleOf(0, i)) << name << listed[i];
      const auto* const found = read.config.analogChannel("#" + std::to_string(i + 1));
      reached += std::to_string(found - channels.data() + 1) + " ";
    }
    EXPECT_EQ(reached, places) << name;
    for (const char* none :
         {"#0", "#4", "#", "#1x", "#-1", "va", "VA#3", "#99999999999999999999"}) {
      EXPECT_EQ(read.config.analogChannel(none), nullptr) << name << none;
    }
  }
}

TEST(Comtrade, LongRecordsAreReadPieceByPiece) {
  for (const char* name : {"long-ascii", "long-binary32"}) {
    const Read read(name);
    const std::vector<float>& values = read.samples.channels.at("IA");
    ASSERT_EQ(values.size(), 20'000U);
    for (std::size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(values[i], sampleOf(i, 2)) << i;
    }
  }
}

TEST(Comtrade, OneChannelIsReadAloneAndAsItIsInTheFile) {
  for (const char* name : {"same-ascii", "same-float32"}) {
    CComtradeView view;
    ASSERT_EQ(view.initialize(record(name)), WAVE_OK) << view.last_error();
    CWaveSampleData samples;
    const std::string channel = "IA";
    ASSERT_EQ(samples.fillData(view, WAVE_RAW, &channel), WAVE_OK) << view.last_error();
    ASSERT_EQ(samples.channels.size(), 1U);
    EXPECT_EQ(samples.channels.at("IA")[5], rawSample(5, 2));
  }
  CComtradeView view;
  std::string text;
  ASSERT_EQ(view.initialize(record("same-combined-binary")), WAVE_OK);
  EXPECT_EQ(view.getInformationText(text), WAVE_OK);
  EXPECT_EQ(text, "[Public]\r\n");
}

enum class Step { kOpen, kConfiguration, kSamples };

TEST(Comtrade, DamageIsNamed) {
  const std::tuple<std::string, Step, std::string> kCases[] = {
      {"absent", Step::kOpen, "/bad-absent.cfg: No such file"},
      {"no-data", Step::kOpen, "bad-no-data.dat: No such file"},
      {"no-section", Step::kOpen, "has no section \"file type: DAT\""},
      {"no-configuration", Step::kOpen, "has no section \"file type: CFG\""},
      {"no-marks", Step::kOpen, "has no section"},
      {"empty", Step::kConfiguration, ":0: ends before the station"},
      {"binary", Step::kConfiguration, "bad-binary.cfg:2: the number of analog channels"},
      {"cut", Step::kConfiguration, "bad-cut.cfg:4: ends before the analog channels do"},
      {"counts", Step::kConfiguration, ":2: the number of digital channels is \"xD\""},
      {"channels", Step::kConfiguration, ":6: a channel has not even 7 fields"},
      {"negative-count", Step::kConfiguration, ":2: the number of analog channels is \"-3A\""},
      {"factor", Step::kConfiguration, ":4: the channel's factor a is \"0.5x\""},
      {"infinite", Step::kConfiguration, ":4: the channel's factor a is \"1e999\""},
      {"rate-count", Step::kConfiguration, ":9: the number of sampling rates is \"many\""},
      {"rate", Step::kConfiguration, ":10: the sampling rates"},
      {"sample-count", Step::kConfiguration, ":10: the last sample of a sampling rate"},
      {"rates-fall", Step::kConfiguration, ":11: the sampling rates do not ascend"},
      {"date", Step::kConfiguration, ":11: the start time is \"31/02/2024,10:20:30\""},
      {"time", Step::kConfiguration, ":12: the trigger time"},
      {"type", Step::kConfiguration, ":13: the type of the data is \"BINARY16\""},
      {"stamp-factor", Step::kConfiguration, ":14: the factor of the time stamps"},
      {"before-trigger", Step::kSamples, "has 10 samples and not 40, and ends before the trigger"},
      {"before-trigger-header", Step::kSamples, "has 30 samples and not 40"},
      {"before-trigger-stamps", Step::kSamples, "has 10 samples and not 40"},
      {"data-empty", Step::kSamples, "has 0 samples and not 40"},
      {"word", Step::kSamples, "sample 2 of channel VA is no number"},
      {"short-line", Step::kSamples, "sample 2 has not as many fields"},
  };
  CComtradeView closed;
  EXPECT_NE(CWaveSampleData().fillData(closed, WAVE_SCALED), WAVE_OK);
  EXPECT_EQ(closed.last_error(), "no record is open");
  std::set<std::string> tried;
  for (const auto& [name, step, why] : kCases) {
    SCOPED_TRACE(name);
    tried.insert("bad-" + name);
    CComtradeView view;
    CWaveConfigData config;
    CWaveSampleData samples;
    int result = view.initialize(record("bad-" + name));
    EXPECT_EQ(result == WAVE_OK, step != Step::kOpen) << view.last_error();
    if (step != Step::kOpen) {
      result = view.getConfigurationData(config);
      EXPECT_EQ(result == WAVE_OK, step == Step::kSamples) << view.last_error();
      EXPECT_EQ(config.analogChannels.empty(), step == Step::kConfiguration);
      EXPECT_LE(config.triggerIndex, std::max<std::int64_t>(config.nSamples, 1) - 1);
    }
    if (step == Step::kSamples) {
      result = samples.fillData(view, WAVE_SCALED);
    }
    EXPECT_NE(result, WAVE_OK);
    EXPECT_TRUE(samples.channels.empty());
    EXPECT_NE(view.last_error().find(why), std::string::npos) << view.last_error();
  }
  for (const std::string& name : recordsThatBeginWith("bad-")) {
    EXPECT_EQ(tried.count(name), 1U) << name;
  }
}

TEST(Comtrade, AUrlNamesAFileOfTheFolder) {
  const std::pair<std::string, std::string> kCases[] = {
      {"http://meter:8080/waveforms/2024/sag%207.cfg?x=/y#z", "sag 7.cfg"},
      {"sag.1", "sag.1"},
      {"/waveforms/%C3%A9.CFF", "é.CFF"},
      {"a%252Fb", "a%2Fb"},
      {"", ""},
      {"/waveforms/", ""},
      {"..", ""},
      {"/waveforms/%2e%2e", ""},
      {".hidden", ""},
      {"a%2Fb", ""},
      {"..%2F..%2Fetc%2Fpasswd", ""},
      {"a%5Cb", ""},
      {"a%00.cfg", ""},
      {std::string("a\0.cfg", 6), ""},
      {"a%0Ab", ""},
      {"a%4", ""},
      {"a%zz", ""},
      {"?sag.cfg", ""},
  };
  for (const auto& [url, name] : kCases) {
    std::string path = "before";
    EXPECT_EQ(CComtradeView::parseUrlToFilepath(url, "/waves/", path) == WAVE_OK, !name.empty())
        << url;
    EXPECT_EQ(path, name.empty() ? "" : "/waves/" + name) << url;
  }
  std::string path;
  EXPECT_NE(CComtradeView::parseUrlToFilepath("sag.cfg", "", path), WAVE_OK);
}

// A folder with one file of the given name, which is another one's link, a pipe, or very large.
class ComtradeFolder : public testing::Test {
 protected:
  void copy(const std::string& from, const std::string& to) const {
    fs::copy_file(record(from), path(to), fs::copy_options::overwrite_existing);
  }
  void grow(const std::string& name, std::uintmax_t size) const {
    fs::resize_file(path(name), size);
  }
  std::string path(const std::string& name) const { return folder_.path() / name; }
  void expectRefused(const std::string& name, wave_result_t why, const std::string& sentence) {
    CComtradeView view;
    CWaveConfigData config;
    CWaveSampleData samples;
    int result = view.initialize(path(name));
    if (result == WAVE_OK) {
      result = view.getConfigurationData(config);
    }
    if (result == WAVE_OK) {
      result = samples.fillData(view, WAVE_SCALED);
    }
    EXPECT_EQ(result, why) << view.last_error();
    EXPECT_NE(view.last_error().find(sentence), std::string::npos) << view.last_error();
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(ComtradeFolder, OnlyRegularFilesAreOpened) {
  copy("same-ascii.dat", "link.dat");
  fs::create_symlink(record("same-ascii.cfg"), path("link.cfg"));
  expectRefused("link", WAVE_FAILED, "link.cfg");
  copy("same-ascii.dat", "pipe.dat");
  ASSERT_EQ(mkfifo(path("pipe.cfg").c_str(), 0600), 0);
  expectRefused("pipe", WAVE_FAILED, "not a regular file");
  copy("same-ascii.cfg", "folder.cfg");
  fs::create_directory(path("folder.dat"));
  expectRefused("folder", WAVE_FAILED, "not a regular file");
}

TEST_F(ComtradeFolder, SizesAreCheckedBeforeAnythingIsRead) {
  constexpr std::uintmax_t kLine = 100 << 20;  // without an end
  copy("same-ascii.cfg", "config.cfg");
  copy("same-ascii.dat", "config.dat");
  grow("config.cfg", kLine);
  expectRefused("config", WAVE_TOO_LARGE, "config.cfg: 104857600 bytes");
  copy("same-ascii.cfg", "data.cfg");
  copy("same-ascii.dat", "data.dat");
  grow("data.dat", CComtradeView::kMaxData);
  expectRefused("data", WAVE_TOO_LARGE, "data.dat: a line of more than");
  grow("data.dat", 1ULL << 40);
  expectRefused("data", WAVE_TOO_LARGE, "data.dat: 1099511627776 bytes");
  copy("same-combined-ascii.cff", "combined.cff");
  grow("combined.cff", CComtradeView::kMaxData);
  expectRefused("combined", WAVE_TOO_LARGE, "combined.cff: a line of more than");
  copy("fewer-than-many.cfg", "many.cfg");
  copy("fewer-than-many.dat", "many.dat");
  grow("many.dat", CComtradeView::kMaxData);
  expectRefused("many", WAVE_TOO_LARGE, "many.cfg: 4194304 samples");
}

TEST_F(ComtradeFolder, AFileThatShrinksWhileItIsReadIsAFailure) {
  for (const std::string form : {"same-ascii", "same-binary"}) {
    copy(form + ".cfg", "short.cfg");
    copy(form + ".dat", "short.dat");
    CComtradeView view;
    CWaveConfigData config;
    CWaveSampleData samples;
    ASSERT_EQ(view.initialize(path("short")), WAVE_OK);
    ASSERT_EQ(view.getConfigurationData(config), WAVE_OK);
    grow("short.dat", 100);
    EXPECT_EQ(samples.fillData(view, WAVE_SCALED), WAVE_DAMAGED);
    EXPECT_NE(view.last_error().find("became shorter"), std::string::npos) << view.last_error();
    EXPECT_TRUE(samples.channels.empty());
  }
}

}  // namespace
