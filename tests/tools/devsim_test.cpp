// The simulated meter as a process on a store of its own.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <numeric>
#include <thread>

#include "sandbox.h"
#include "toolkit/admin.h"
#include "toolkit/cds.h"

namespace {

using toolkit::CElement;
using toolkit::CPath;

class Devsim : public Sandbox {
 protected:
  void SetUp() override { importFeeder(); }

  void importFeeder() const {
    const Outcome outcome = devctl({"store", "import", FEEDER_MODEL});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }

  void simulate(const std::vector<std::string>& more) const {
    std::vector<std::string> arguments = {"--rate", "1000", "--speed", "1000"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = run(DEVSIM, arguments);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }

  static CElement read(const std::string& text) {
    toolkit::CCds cds;
    CPath path(text);
    path.normalize();
    api_status_t status = API_NONE;
    CElement element;
    element_property_t source = ELEMENT_NORMAL;
    EXPECT_EQ(cds.get_leaf(path, status, element, source), 0) << cds.last_error();
    EXPECT_EQ(status, API_SUCCESS) << text;
    return element;
  }

  static double number(const std::string& path) { return read(path).to_double(); }

  static std::string allValues() {
    toolkit::admin::Model model;
    EXPECT_EQ(toolkit::admin::exportModel("/Feeder1", model), "");
    std::string text;
    for (const auto& leaf : model.leaves) {
      text += leaf.node + ":" + leaf.name + "=" + leaf.element.to_string(17) + "\n";
    }
    return text;
  }
};

TEST_F(Devsim, SameSeedSameValues) {
  simulate({"--ticks", "20", "--seed", "7"});
  const std::string first = allValues();
  useStore("second");
  importFeeder();
  simulate({"--ticks", "20", "--seed", "7"});
  EXPECT_EQ(allValues(), first);
  useStore("third");
  importFeeder();
  simulate({"--ticks", "20", "--seed", "8"});
  EXPECT_NE(allValues(), first);
}

TEST_F(Devsim, ReadingsAgreeWithEachOther) {
  const double energy = number("/Feeder1/EnergyImported");
  simulate({"--ticks", "60"});
  double active = 0;
  double apparent = 0;
  for (const char* phase : {"A", "B", "C"}) {
    const std::string at = std::string("/Feeder1/");
    EXPECT_NEAR(number(at + "Voltage" + phase), 230, 25);
    active += number(at + "Power" + phase);
    apparent += number(at + "Voltage" + phase) * number(at + "Current" + phase) / 1000;
  }
  EXPECT_NEAR(number("/Feeder1/PowerTotal"), active, 1e-6);
  EXPECT_NEAR(apparent * number("/Feeder1/PowerFactor"), active, 0.01 * active);
  EXPECT_NEAR(number("/Feeder1/VoltageAB"), number("/Feeder1/VoltageA") * std::sqrt(3), 8);
  EXPECT_NEAR(number("/Feeder1/Frequency"), 50, 0.5);
  EXPECT_GT(number("/Feeder1/CurrentA"), number("/Feeder1/Branch1/CurrentA"));
  // 60 simulated seconds
  EXPECT_NEAR(number("/Feeder1/EnergyImported") - energy, active / 60, 0.2 * active / 60);
  EXPECT_EQ(read("/Feeder1/OperatingTime").to_int64(), 31556952 + 60);
}

TEST_F(Devsim, AnOpenBreakerStopsTheCurrentAndWhatIsBelow) {
  const std::int64_t operations = read("/Feeder1/BreakerOperations").to_int64();
  simulate({"--ticks", "5"});
  ASSERT_EQ(devctl({"store", "set", "/Feeder1/Breaker", "Open"}).status, 0);
  simulate({"--ticks", "5"});
  EXPECT_EQ(number("/Feeder1/CurrentA"), 0);
  EXPECT_GT(number("/Feeder1/VoltageA"), 200);
  EXPECT_EQ(number("/Feeder1/Branch1/VoltageA"), 0);
  EXPECT_EQ(number("/Feeder1/Branch1/PowerTotal"), 0);
  EXPECT_EQ(read("/Feeder1/BreakerOperations").to_int64(), operations);
}

TEST_F(Devsim, FollowsItsSetpointsWithinTheirRange) {
  ASSERT_EQ(devctl({"store", "set", "/Feeder1/NominalVoltage", "120"}).status, 0);
  ASSERT_EQ(devctl({"store", "set", "/Feeder1/PowerFactorTarget", "0.99"}).status, 0);
  ASSERT_EQ(devctl({"store", "set", "/Feeder1/DemandInterval", "1"}).status, 0);
  ASSERT_EQ(devctl({"store", "set", "/Feeder1/RatedCurrent", "40"}).status, 0);
  simulate({"--ticks", "600"});
  EXPECT_NEAR(number("/Feeder1/VoltageA"), 120, 13);
  EXPECT_GE(number("/Feeder1/PowerFactor"), 0.99 - 1e-9);
  EXPECT_NEAR(number("/Feeder1/PowerDemand"), number("/Feeder1/PowerTotal"), 15);
  EXPECT_LT(number("/Feeder1/PowerTotal"), 100) << "the demand has come down from 134.54";
  for (const char* bad : {"nan", "-5", "1e300"}) {
    ASSERT_EQ(devctl({"store", "set", "/Feeder1/NominalVoltage", "--", bad}).status, 0) << bad;
    simulate({"--ticks", "2"});
    EXPECT_NEAR(number("/Feeder1/VoltageA"), 230, 25) << bad;
  }
}

TEST_F(Devsim, MovesUntilItIsToldToStop) {
  const timeval before = read("/Feeder1/VoltageA").time();
  const pid_t pid = start(DEVSIM, {});
  bool moved = false;
  for (int tries = 0; !moved && tries < 600; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const timeval now = read("/Feeder1/VoltageA").time();
    moved = now.tv_sec != before.tv_sec || now.tv_usec != before.tv_usec;
  }
  std::vector<toolkit::admin::Watchdog> watched;
  EXPECT_EQ(toolkit::admin::watchdogs(watched), "");
  const Outcome outcome = finish(pid, true);
  EXPECT_TRUE(moved);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  ASSERT_EQ(watched.size(), 1U);
  EXPECT_EQ(watched[0].name, "devsim");
  EXPECT_EQ(toolkit::admin::watchdogs(watched), "");
  EXPECT_TRUE(watched.empty());
}

TEST_F(Devsim, LeavesMissingPointsAlone) {
  ASSERT_EQ(devctl({"store", "rm", "/Feeder1/VoltageB"}).status, 0);
  simulate({"--ticks", "3"});
  EXPECT_EQ(devctl({"store", "get", "/Feeder1/VoltageB"}).status, 1);
  ASSERT_EQ(devctl({"store", "rm", "/Feeder1"}).status, 0);
  const Outcome outcome = run(DEVSIM, {"--ticks", "3"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("no device"), std::string::npos) << outcome.err;
}

}  // namespace
