// The reader of waveform records, on the files of tests/records/make-records.
#include "toolkit/comtrade.h"

#include <sys/stat.h>

#include <cmath>
#include <set>

#include "test_program.h"

namespace {

using namespace toolkit;

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

enum class Step { kOpen, kConfiguration, kSamples };

// A record, as far as it can be read.
struct Attempt {
  CComtradeView view;
  CWaveConfigData config;
  CWaveSampleData samples;
  Step last = Step::kOpen;
  int result = WAVE_OK;

  explicit Attempt(const std::string& path) : result(view.initialize(path)) {
    if (result == WAVE_OK) {
      last = Step::kConfiguration;
      result = view.getConfigurationData(config);
    }
    if (last == Step::kConfiguration && result == WAVE_OK) {
      last = Step::kSamples;
      result = samples.fillData(view, WAVE_SCALED);
    }
  }
};

// A record that can be read, with its header when it has one.
struct Read : Attempt {
  CWaveHeaderData header;

  explicit Read(const std::string& name) : Attempt(record(name)) {
    EXPECT_EQ(result, WAVE_OK) << view.last_error();
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

// What sets records apart; what is left out is as in all others.
struct Special {
  std::set<std::string> names;
  std::size_t samples = kSamples;
  std::size_t declared = kSamples;
  std::int32_t trigger = 10;
  double rate = 4000;
  std::size_t rates = 1;
  std::int64_t start = kStart;
  std::string station = "Main board";
  std::string device = "M1";
  bool hasHeader = true;
};

void expectLike(const Special& wanted, const Read& read) {
  const CWaveConfigData& config = read.config;
  EXPECT_EQ(config.nSamples, wanted.samples);
  EXPECT_EQ(config.nDeclared, wanted.declared);
  EXPECT_EQ(config.triggerIndex, wanted.trigger);
  EXPECT_DOUBLE_EQ(config.samplingRate, wanted.rate);
  EXPECT_EQ(config.rates.size(), wanted.rates);
  EXPECT_EQ(std::pair(config.startTime.tv_sec, config.startTime.tv_usec),
            std::pair(wanted.start, wanted.start == 0 ? 0L : 500000L));
  EXPECT_EQ(config.stationName, wanted.station);
  EXPECT_EQ(config.deviceId, wanted.device);
  EXPECT_EQ(namesOf(config.analogChannels), (std::vector<std::string>{"VA", "VB", "IA"}));
  EXPECT_EQ(namesOf(config.digitalChannels), (std::vector<std::string>{"Trip", "Breaker"}));
  EXPECT_TRUE(config.digitalChannels.back().normal);
  EXPECT_EQ(read.view.hasHeader(), wanted.hasHeader);
  if (wanted.hasHeader) {
    EXPECT_EQ(read.header.eventDescription, "Sag : phase A");
    EXPECT_EQ(read.header.triggerChannel, "VA");
    EXPECT_EQ(read.header.triggerIndex, wanted.trigger);
  }
  for (std::size_t channel = 0; channel < 3; ++channel) {
    const auto& values = read.samples.channels.at(config.analogChannels[channel].name);
    ASSERT_EQ(values.size(), wanted.samples);
    for (std::size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(values[i], sampleOf(i, channel)) << i;
    }
  }
}

TEST(Comtrade, EveryFormAndOddityGivesTheSameRecordOrIsSeen) {
  std::set<std::string> same = recordsThatBeginWith("same-");
  EXPECT_GT(same.size(), 40U);
  EXPECT_EQ(same.erase("same-without-rates"), 1U);
  const Special kCases[] = {
      {.names = same},
      {.names = {"same-without-rates"}, .rates = 0},
      {.names = {"combined-first", "same-binary.cff"}},
      {.names = {"long-ascii", "long-binary32"}, .samples = 20'000, .declared = 20'000},
      {.names = {"fewer-than-many"}, .declared = 2147483647},
      {.names = {"partial", "partial-ascii", "one-less"}, .samples = kSamples - 1},
      {.names = {"fewer", "fewer-ascii", "fewer-stamps"}, .samples = 11},
      {.names = {"rates"}, .trigger = 12, .rates = 3},
      {.names = {"combined-first.cff"}, .trigger = 5, .rate = 2000},
      {.names = {"no-stamps"}, .trigger = 0, .rate = 0},
      {.names = {"unset-times"}, .trigger = 0, .start = 0},
      {.names = {"month-first"}, .start = 1710325230},
      {.names = {"early-trigger"}, .trigger = 0},
      {.names = {"latin"}, .station = "Größe", .device = "Été"},
      {.names = {"cyrillic"}, .station = "Подстанция", .device = "Ввод"},
      {.names = {"utf"}, .station = "Größe", .device = "Ввод"},
      {.names = {"no-header"}, .hasHeader = false}};
  for (const Special& wanted : kCases) {
    for (const std::string& name : wanted.names) {
      SCOPED_TRACE(name);
      expectLike(wanted, Read(name));
    }
  }
  EXPECT_TRUE(Read("without-channels").samples.channels.empty());
  const CWaveAnalogChannelConfig full = Read("full-lines-1991").config.analogChannels.back();
  EXPECT_EQ(std::tuple(full.primary, full.secondary, full.side), std::tuple(110, 0.1, 'P'));
}

TEST(Comtrade, NamesAreInTheScriptThatTheyWereWrittenIn) {
  const std::set<std::string> names = recordsThatBeginWith("text-");
  EXPECT_GT(names.size(), 20U);
  for (const std::string& name : names) {
    const std::string written = name.substr(name.find_last_of('-') + 1);
    EXPECT_EQ(namesOf(Read(name).config.analogChannels), std::vector{written});
  }
}

TEST(Comtrade, MissingSamplesAreNoNumbers) {
  for (const char* name : {"missing-ascii", "missing-binary", "missing-binary32", "missing-float32",
                           "missing-code", "missing-code-1991"}) {
    const std::vector<float> values = Read(name).samples.channels.at("VB");
    EXPECT_TRUE(std::isnan(values[3])) << name;
    EXPECT_EQ(std::pair(values[2], values[4]), std::pair(sampleOf(2, 1), sampleOf(4, 1))) << name;
  }
  for (const char* name : {"no-missing-code", "no-missing-code-1991"}) {
    EXPECT_EQ(Read(name).samples.channels.at("VB")[3], 99999 * 0.5F + 10) << name;
  }
  EXPECT_EQ(Read("large-values").samples.channels.at("IA")[39], 5700000 * 0.5F + 20);
}

TEST(Comtrade, EachChannelHasANameOfItsOwn) {
  using Names = std::vector<std::string>;
  // The names, and the channels that "#1", "#2" and "#3" reach.
  const std::tuple<std::string, Names, std::vector<std::size_t>> kCases[] = {
      {"same-binary", {"VA", "VB", "IA"}, {0, 1, 2}},
      {"twins", {"VA", "VA#2", "IA"}, {0, 1, 2}},
      {"twins-like-forms", {"VA#2", "VA", "#3"}, {0, 1, 2}},
      {"twins-blank", {"#3", "", "#3#"}, {0, 1, 0}}};
  for (const auto& [name, listed, reached] : kCases) {
    const Read read(name);
    const auto& channels = read.config.analogChannels;
    EXPECT_EQ(namesOf(channels), listed);
    for (std::size_t i = 0; i < channels.size(); ++i) {
      EXPECT_EQ(read.config.analogChannel(listed[i]), &channels[i]) << name << listed[i];
      EXPECT_EQ(read.samples.channels.at(listed[i])[0], sampleOf(0, i)) << name << listed[i];
      EXPECT_EQ(read.config.analogChannel("#" + std::to_string(i + 1)), &channels[reached[i]]);
    }
    for (const char* none :
         {"#0", "#4", "#", "#1x", "#-1", "va", "VA#3", "#99999999999999999999"}) {
      EXPECT_EQ(read.config.analogChannel(none), nullptr) << name << none;
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
      {"short-line", Step::kSamples, "sample 2 has not as many fields"}};
  CComtradeView closed;
  EXPECT_NE(CWaveSampleData().fillData(closed, WAVE_SCALED), WAVE_OK);
  EXPECT_EQ(closed.last_error(), "no record is open");
  std::set<std::string> tried;
  for (const auto& [name, step, why] : kCases) {
    SCOPED_TRACE(name);
    tried.insert("bad-" + name);
    const Attempt read(record("bad-" + name));
    EXPECT_NE(read.result, WAVE_OK);
    EXPECT_EQ(read.last, step) << read.view.last_error();
    EXPECT_EQ(read.config.analogChannels.empty(), step != Step::kSamples);
    EXPECT_LE(read.config.triggerIndex, std::max<std::int64_t>(read.config.nSamples, 1) - 1);
    EXPECT_TRUE(read.samples.channels.empty());
    EXPECT_TRUE(contains(read.view.last_error(), why));
  }
  tried.erase("bad-absent");
  EXPECT_EQ(tried, recordsThatBeginWith("bad-"));
}

TEST(Comtrade, AUrlNamesAFileOfTheFolder) {
  std::string path;
  const std::pair<const char*, const char*> kGood[] = {
      {"http://meter:8080/waveforms/2024/sag%207.cfg?x=/y#z", "/waves/sag 7.cfg"},
      {"sag.1", "/waves/sag.1"},
      {"/waveforms/%C3%A9.CFF", "/waves/é.CFF"},
      {"a%252Fb", "/waves/a%2Fb"}};
  for (const auto& [url, expected] : kGood) {
    EXPECT_EQ(CComtradeView::parseUrlToFilepath(url, "/waves/", path), WAVE_OK) << url;
    EXPECT_EQ(path, expected) << url;
  }
  const char* const kBad[] = {"",
                              "/waveforms/",
                              "..",
                              "/waveforms/%2e%2e",
                              ".hidden",
                              "a%2Fb",
                              "..%2F..%2Fetc%2Fpasswd",
                              "a%5Cb",
                              "a%00.cfg",
                              "a%0Ab",
                              "a%4",
                              "a%zz",
                              "?sag.cfg"};
  for (const char* url : kBad) {
    path = "before";
    EXPECT_NE(CComtradeView::parseUrlToFilepath(url, "/waves/", path), WAVE_OK) << url;
    EXPECT_EQ(path, "") << url;
  }
  EXPECT_NE(CComtradeView::parseUrlToFilepath(std::string("a\0.cfg", 6), "/waves/", path), WAVE_OK);
  EXPECT_NE(CComtradeView::parseUrlToFilepath("sag.cfg", "", path), WAVE_OK);
}

class ComtradeFolder : public testing::Test {
 protected:
  void copy(const std::string& from, const std::string& to) const {
    fs::copy_file(record(from), path(to), fs::copy_options::overwrite_existing);
  }
  // Both files of a record.
  void copySet(const std::string& from, const std::string& to) const {
    copy(from + ".cfg", to + ".cfg");
    copy(from + ".dat", to + ".dat");
  }
  void grow(const std::string& name, std::uintmax_t size) const {
    fs::resize_file(path(name), size);
  }
  std::string path(const std::string& name) const { return folder_.path() / name; }
  void expectRefused(const std::string& name, wave_result_t why, const std::string& sentence) {
    const Attempt read(path(name));
    EXPECT_EQ(read.result, why) << read.view.last_error();
    EXPECT_TRUE(contains(read.view.last_error(), sentence));
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
  copySet("same-ascii", "config");
  grow("config.cfg", kLine);
  expectRefused("config", WAVE_TOO_LARGE, "config.cfg: 104857600 bytes");
  copySet("same-ascii", "data");
  grow("data.dat", CComtradeView::kMaxData);
  expectRefused("data", WAVE_TOO_LARGE, "data.dat: a line of more than");
  grow("data.dat", 1ULL << 40);
  expectRefused("data", WAVE_TOO_LARGE, "data.dat: 1099511627776 bytes");
  copy("same-combined-ascii.cff", "combined.cff");
  grow("combined.cff", CComtradeView::kMaxData);
  expectRefused("combined", WAVE_TOO_LARGE, "combined.cff: a line of more than");
  const auto repeat = [&](const std::string& line, int count) {
    std::ofstream file(path("lines.cff"));
    for (int i = 0; i < count; ++i) {
      file << line;
    }
  };
  repeat("--- file type: x ---\n", 1001);
  expectRefused("lines", WAVE_DAMAGED, "lines.cff: has more than 1000 marks of sections");
  repeat("1\n", 10'000'001);
  expectRefused("lines", WAVE_TOO_LARGE, "lines.cff: more than 10000000 lines");
  copySet("fewer-than-many", "many");
  grow("many.dat", CComtradeView::kMaxData);
  expectRefused("many", WAVE_TOO_LARGE, "many.cfg: 4194304 samples");
}

TEST_F(ComtradeFolder, AFileThatShrinksWhileItIsReadIsAFailure) {
  for (const std::string form : {"same-ascii", "same-binary"}) {
    copySet(form, "short");
    CComtradeView view;
    CWaveConfigData config;
    CWaveSampleData samples;
    ASSERT_EQ(view.initialize(path("short")), WAVE_OK);
    ASSERT_EQ(view.getConfigurationData(config), WAVE_OK);
    grow("short.dat", 100);
    EXPECT_EQ(samples.fillData(view, WAVE_SCALED), WAVE_DAMAGED);
    EXPECT_TRUE(contains(view.last_error(), "became shorter"));
    EXPECT_TRUE(samples.channels.empty());
  }
}

}  // namespace
