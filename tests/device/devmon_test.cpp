// A device as real processes: devmon with the simulated meter as its source.
#include <algorithm>
#include <map>
#include <set>

#include "sandbox.h"

namespace {

class Devmon : public Sandbox {
 protected:
  Devmon() {
    EXPECT_TRUE(importFeeder());
    for (const char* phase : {"A", "B", "C"}) {
      put(std::string("/Feeder1/Voltage") + phase + ":.AlarmDelay", 0.05);
    }
  }
  ~Devmon() override {
    for (pid_t pid : {monitor_, meter_}) {
      if (pid > 0) {
        end(pid, SIGKILL);
      }
    }
  }

  void startMonitor(const char* logs = "") {
    monitor_ = startProcess(folder(), DEVMON, {"--rate=200", "--logs", folder() / logs});
  }
  void startMeter() { meter_ = startProcess(folder(), DEVSIM, {"--rate=100"}); }
  int end(pid_t& pid, int signal) const {
    kill(pid, signal);
    return waitForProcess(std::exchange(pid, 0), folder()).status;
  }
  void put(const std::string& path, double value) {
    EXPECT_EQ(set(path, value), API_SUCCESS) << path;
  }
  // An alarm's event: "number:sequence".
  static std::string nameOf(const CEvent& event) {
    return std::to_string(event.id) + ":" + std::to_string(event.sequence);
  }

  pid_t monitor_ = 0;
  pid_t meter_ = 0;
};

TEST_F(Devmon, KeepsFourFilesAndLeavesOthersAlone) {
  put("/Feeder1/VoltageA:.AlarmHighLimit", 100);
  startMonitor();
  startMeter();
  EXPECT_TRUE(await([&] { return text("/Alarms/AlarmCount") == "1"; }));
  EXPECT_EQ(watchdogs().size(), 2U);
  EXPECT_EQ(end(meter_, SIGTERM), 0);
  EXPECT_EQ(end(monitor_, SIGTERM), 0);
  EXPECT_TRUE(watchdogs().empty());
  EXPECT_EQ(contentsOf(folder() / "err"), "");
  std::multiset<std::string> told;
  for (const CEvent& event : eventsOf("system.db")) {
    told.insert(event.message);
  }
  EXPECT_EQ(told,
            std::multiset<std::string>({"Device monitor started", "Device monitor stopped",
                                        "Simulated meter started", "Simulated meter stopped"}));
  EXPECT_EQ(eventsOf("alarms.db").at(0).message, "Voltage too high");
  EXPECT_GE(eventsOf("deadband.db").size(), 12U);
  toolkit::trend::CLog trends;
  std::vector<toolkit::trend::CDeviceProperties> devices;
  EXPECT_EQ(trends.open(file("interval-trends.db"), true, false, 1000, false, 0, 0, 0, true), 0);
  EXPECT_EQ(trends.get_devices(devices) + devices.size(), 2U);
  write("system.db", "mine");
  EXPECT_EQ(run(DEVMON, {"--logs", folder()}).status, 1);
  EXPECT_EQ(contentsOf(file("system.db")), "mine");
}

TEST_F(Devmon, RaisesAlarmsWhileItsLogsHaveNoRoom) {
  const SmallDisk disk(folder() / "logs");
  SKIP_UNLESS(disk.isMounted());
  const std::string filler = write("logs/filler", std::string(2 << 20, 'x'));
  startMonitor("logs");
  EXPECT_TRUE(await([&] { return bool{contains(contentsOf(file("err")), "logs/deadband.db")}; }));
  startMeter();
  put("/Feeder1/NominalVoltage", 260);
  EXPECT_TRUE(await([&] { return text("/Alarms/AlarmCount") == "3"; }));
  fs::remove(filler);
  EXPECT_TRUE(await([&] { return fs::exists(file("logs/interval-trends.db")); }));
  EXPECT_EQ(end(monitor_, SIGTERM), 0);
  EXPECT_EQ(eventsOf("logs/alarms.db").size(), 3U);
}

// Kills one or the other, or both, at whatever moment it is, while alarms come and go.
TEST_F(Devmon, KillsInAnyOrderLoseAndDoubleNoEvent) {
  startMonitor();
  startMeter();
  for (int round = 0; round < 8; ++round) {
    put("/Feeder1/NominalVoltage", round % 2 == 0 ? 260 : 230);
    const std::string wanted = round % 2 == 0 ? "true" : "false";
    const bool isEarly = round % 3 == 0;
    EXPECT_TRUE(isEarly || await([&] { return text("/Feeder1/VoltageA:InAlarm") == wanted; }));
    if (round % 4 != 1) {
      EXPECT_EQ(end(monitor_, SIGKILL), 128 + SIGKILL);
    }
    if (round % 4 != 2) {
      EXPECT_EQ(end(meter_, SIGKILL), 128 + SIGKILL);
      startMeter();
    }
    if (monitor_ == 0) {
      startMonitor();
    }
    EXPECT_TRUE(await([&] { return text("/Feeder1/VoltageA:InAlarm") == wanted; })) << round;
  }
  put("/Feeder1/NominalVoltage", 260);
  EXPECT_TRUE(await([&] { return text("/Feeder1/VoltageA:InAlarm") == "true"; }));
  EXPECT_EQ(end(meter_, SIGTERM), 0);
  EXPECT_EQ(end(monitor_, SIGTERM), 0);
  std::multiset<std::string> told;
  std::map<std::uint64_t, std::uint32_t> sequences;
  for (const auto& [number, event, ring] : events()) {
    if (event.type == toolkit::EVENT_ALARM) {
      told.insert(nameOf(event));
      EXPECT_EQ(event.sequence, ++sequences[event.id]);
    }
  }
  std::multiset<std::string> entered;
  for (const CEvent& event : eventsOf("alarms.db")) {
    if (event.type == toolkit::EVENT_ALARM) {
      entered.insert(nameOf(event));
    }
  }
  EXPECT_EQ(entered, told);
  EXPECT_GE(told.size(), 9U) << "five times up and four down";
  EXPECT_EQ(std::set<std::string>(told.begin(), told.end()).size(), told.size());
}

TEST_F(Devmon, SeesThatItsSourceIsGone) {
  put("/Feeder1:ValueAge", 0.2);
  put("/Feeder1/Branch1:ValueAge", 100);
  startMeter();
  startMonitor();
  const auto type = [](const auto& entry) { return entry.event.type; };
  EXPECT_TRUE(
      await([&] { return std::ranges::count(events(), toolkit::EVENT_SYSTEM, type) == 2; }));
  end(meter_, SIGKILL);
  EXPECT_TRUE(await([&] { return text("/Feeder1/.Quality") == "0"; }));
  EXPECT_EQ(text("/Feeder1/Branch1/.Quality"), "192");
  end(monitor_, SIGKILL);
  startMonitor();
  startMeter();
  EXPECT_TRUE(await([&] { return text("/Feeder1/.Quality") == "192"; }));
  EXPECT_EQ(end(monitor_, SIGTERM), 0);
  const auto told = [](const CEvent& event) { return event.path + std::to_string(event.quality); };
  EXPECT_EQ(joined(eventsOf("alarms.db"), told), "/Feeder1/.Quality0 /Feeder1/.Quality192 ");
}

}  // namespace
