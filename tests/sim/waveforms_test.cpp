// Voltage sags and their records, on the test's own clock.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

#include "installation.h"
#include "sag_recorder.h"
#include "sandbox.h"
#include "toolkit/captured_records.h"
#include "toolkit/comtrade.h"
#include "toolkit/time.h"

namespace {

TEST(Sags, AreRareDeepAndShort) {
  sim::Grid grid(1, 50);
  std::map<std::ptrdiff_t, int> sags;  // by the number of phases that are low
  for (int second = 1, length = 0; second <= 5 * 86400; ++second) {
    grid.step(1);
    const sim::Phases& v = grid.voltage();
    const auto low = std::count_if(v.begin(), v.end(), [](double share) { return share < 0.93; });
    length = low > 0 ? length + 1 : 0;
    if (length == 4) {
      ++sags[low];
    }
    ASSERT_TRUE((sags.empty() || second > 300) && length <= 13) << second;
    ASSERT_GT(*std::min_element(v.begin(), v.end()), 0.37) << second;
  }
  for (const int phases : {1, 2, 3}) {
    EXPECT_NEAR(sags[phases], 5 * 86400 / 908.0 / 3, 40);
  }
}

class Waveforms : public Sandbox {
 protected:
  using Names = std::set<std::string>;
  bool step(int times) {  // half seconds
    bool good = true;
    while (times-- > 0) {
      timeval now{};
      qel_QELtoUNIXtime64(time_ += 500'000, &now);
      EXPECT_TRUE(installation_.advance(0.5));
      toolkit::CLeafBatch batch(now);
      recorder_.measure(installation_.plant(), now, batch);
      seen_[time_] = installation_.plant().devices;
      good = installation_.write(batch);
      recorder_.settle(good);
    }
    return good;
  }
  Names files(const std::string& end = "") const {
    Names names;
    for (const auto& entry : fs::directory_iterator(file("w"))) {
      names.insert("w/" + entry.path().filename().string());
    }
    std::erase_if(names, [&](const std::string& name) { return !name.ends_with(end); });
    return names;
  }
  void put(const std::string& leaf, double value) {
    EXPECT_EQ(set("/Feeder1/" + leaf, value), API_SUCCESS);
  }
  // What was measured before the step that the trigger names, and in the last one.
  void expectMeasured(toolkit::CComtradeView& view, std::size_t device) const {
    toolkit::CWaveConfigData config;
    toolkit::CWaveSampleData data;
    ASSERT_EQ(view.getConfigurationData(config) + data.fillData(view, 1), 0) << view.last_error();
    const auto fall = seen_.find(qel_UNIXtoQELtime64(&config.triggerTime));
    ASSERT_NE(fall, seen_.end());
    const auto& before = std::prev(fall)->second;
    const double rate = 128 * before[0].feeder.reading().frequency;
    EXPECT_NEAR(config.samplingRate, rate, 1e-3);
    EXPECT_NEAR(toolkit::secondsBetween(config.startTime, config.triggerTime), 512 / rate, 2e-6);
    EXPECT_EQ(std::pair(config.triggerIndex, config.nSamples), std::pair(512, std::size_t{2048}));
    for (const int at : {0, 512}) {
      const auto& reading = (at > 0 ? seen_.rbegin()->second : before)[device].feeder.reading();
      const auto mean = [&](const auto& a, const auto& b, int later) {
        return std::inner_product(&a[at], &a[at + 384], &b[at + later], 0.0) / 384;
      };
      for (std::size_t i = 0; i < 3; ++i) {
        const auto& v = data.channels.at({'V', "ABC"[i]});
        const auto& c = data.channels.at({'I', "ABC"[i]});
        const auto& [volts, next] = std::pair(reading.voltage[i], reading.voltage[(i + 1) % 3]);
        const double slack = 0.01 * volts * reading.current[i];
        EXPECT_NEAR(std::sqrt(mean(v, v, 0)), volts, 0.01 * volts);
        EXPECT_GE(mean(v, data.channels.at({'V', "BCA"[i]}), 43), 0.99 * volts * next);
        EXPECT_NEAR(mean(v, c, 0), reading.load.active[i], slack);
        EXPECT_NEAR(mean(v, c, 32), reading.load.reactive[i], slack) << "lags";
        const double most = *std::max_element(v.begin(), v.end()) / config.analogChannels[i].a;
        EXPECT_TRUE(most > 32000 && most < 32768) << most;
      }
    }
  }

  const bool there_ = std::filesystem::create_directory(file("w")) && importFeeder();
  std::optional<CCds> own_{std::in_place};
  sim::Installation installation_{*own_, 1};
  sim::SagRecorder recorder_{*own_, {file("w"), 2}, installation_.devicePaths()};
  std::int64_t time_ = 1700000000250000;
  std::map<std::int64_t, std::vector<sim::PlantDevice>> seen_;
};

TEST_F(Waveforms, TellWhatTheMeterMeasured) {
  set("/Feeder1:DisplayName", "Main,\r\nold");
  toolkit::CComtradeView view;
  const std::map<std::string, double> causes = {
      {"Breaker", 0}, {"NominalVoltage", 150}, {"None", 0}, {"VoltageC:.AlarmLowLimit", 300}};
  for (const auto& [leaf, value] : causes) {
    const std::string end = leaf == "Breaker" ? "Branch1.cfg" : "-Feeder1.cfg";
    step(30);
    const Names known = files(end);
    put(leaf, value);
    for (int i = 0; i < 9000 && files(end) == known; ++i) {
      step(1);
    }
    ASSERT_EQ(view.initialize(file(*files(end).rbegin())), 0) << leaf << view.last_error();
    expectMeasured(view, leaf == "Breaker" ? 1 : 0);
    put("Breaker", 1);
    put("NominalVoltage", 230);
  }
  toolkit::CWaveHeaderData header;
  EXPECT_EQ(header.fillData(view), 0) << view.last_error();
  EXPECT_EQ(header.triggerChannel + header.eventDescription,
            "VCVoltage too low /Feeder1/VoltageC/Value");
  EXPECT_TRUE(contentsOf(file(*files("-Feeder1.cfg").rbegin()))
                  .starts_with("Main   old,/Feeder1,1999\r\n8,6A,2D\r\n"));
}

// A nominal voltage, so many steps that the store takes or refuses (1), and the files then.
constexpr int kTurns[][4] = {{150, 3, 1, 3}, {230, 3, 1, 0}, {150, 3, 1, 3}, {150, 3, 0, 3},
                             {150, 3, 0, 3}, {230, 6, 0, 3}, {150, 3, 0, 6}, {230, 6, 0, 6},
                             {150, 3, 0, 6}, {150, 9, 1, 6}};

TEST_F(Waveforms, AreOneASagWhateverTheStoreSaysAndAnnouncedWithItsValues) {
  std::set<std::string> announced;
  toolkit::CLeafReader leaves;
  const auto voltage = leaves.add("/Feeder1/VoltageB");
  const toolkit::CRecordReader records(leaves, "/Feeder1");
  for (const auto& [nominal, steps, refused, count] : kTurns) {
    put("NominalVoltage", nominal);
    own_.emplace();
    if (refused == 1) {
      own_->setReadOnly();
    }
    EXPECT_EQ(step(1), refused == 0);
    ASSERT_TRUE(leaves.read(cds_));
    const auto record = records.record(leaves);
    if (record && announced.insert(record->url).second) {
      EXPECT_LT(*leaves.number(voltage), 160);
      EXPECT_EQ(toolkit::secondsBetween(record->time, leaves.element(voltage)->time()), 0);
      EXPECT_EQ(record->points, std::vector<std::string>({"VoltageA", "VoltageB", "VoltageC"}));
    }
    step(steps - 1);
    EXPECT_EQ(static_cast<int>(files().size()), count) << nominal << refused;
  }
  ASSERT_EQ(announced.size(), 3U);
  EXPECT_EQ("/waveforms" + files(".cfg").rbegin()->substr(1), *announced.rbegin());
}

TEST_F(Waveforms, LeaveNothingHalfAndOthersFilesAlone) {
  const std::string old = "w/sag-20250101T000000.000Z-";
  Names left = {"w/sag-notes.cfg", old + "X.cfg.bak", old + "X.cfg.part", "w/.sag-mine.part"};
  for (const std::string& name : left) {
    write(name, "");
  }
  write(old + "X.dat", "");
  write("w/.sag-20250101T000000.000Z-X.cfg.part", "");
  toolkit::CWaveformFolder folder(file("w"), 2);
  EXPECT_TRUE(folder.open()) << folder.lastError();
  EXPECT_EQ(files(), left);
  for (const char* device : {"/A B/\xC3\xBC", "/A_B/__", "/C"}) {
    const std::string name = folder.nameOf({1735689600, 0}, device);
    EXPECT_TRUE(folder.write(name, {"c", "d", "h"})) << folder.lastError();
  }
  fs::create_directory(file("w/z.cfg"));
  EXPECT_FALSE(folder.write("z", {"c", "d", "h"})) << "its last file cannot be named";
  EXPECT_TRUE(folder.open()) << folder.lastError();
  left.insert({"w/z.cfg", old + "C.cfg", old + "C.dat", old + "C.hdr"});
  EXPECT_EQ(files(), left);
}

TEST_F(Waveforms, AreNotWorthStoppingFor) {
  put("NominalVoltage", 150);
  const Outcome outcome = run(DEVSIM, {"--speed=9", "--ticks=9", "--waveforms=/proc"});
  EXPECT_EQ(outcome.err.find("devsim: waveforms are not recorded: /proc/.sag-"), 0U);
  EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  EXPECT_EQ(outcome.status, 0);
  EXPECT_LT(std::stod(text("/Feeder1/VoltageA")), 170);
}

}  // namespace
