// The simulated meter as a process on a store of its own.
#include <cmath>

#include "sandbox.h"

namespace {

class Devsim : public Sandbox {
 protected:
  Devsim() { EXPECT_TRUE(importFeeder()); }

  void simulate(const std::string& ticks, const std::string& seed = "1") const {
    ASSERT_EQ(run(DEVSIM, {"--rate=1000", "--speed=1000", "--ticks", ticks, "--seed", seed}).status,
              0);
  }
  void setpoint(const std::string& name, const std::string& value) const {
    expectSuccess({"store", "set", "/Feeder1/" + name, "--", value});
  }
  // A value below /Feeder1.
  CElement read(const std::string& name) {
    const Read leaf = StoreTest::read(cds_, {"/Feeder1/" + name});
    EXPECT_EQ(leaf.statuses[0], API_SUCCESS) << name << ": " << cds_.last_error();
    return leaf.elements[0];
  }
  double number(const std::string& name) { return read(name).to_double(); }
};

TEST_F(Devsim, SameSeedSameValues) {
  simulate("20", "7");
  const auto reading = [this] {
    return std::pair(number("PowerTotal"), number("Branch1/CurrentA"));
  };
  const auto first = reading();
  for (const char* seed : {"7", "8"}) {
    useStore(seed);
    ASSERT_TRUE(importFeeder());
    simulate("20", seed);
    EXPECT_EQ(reading() == first, std::string(seed) == "7") << seed;
  }
}

TEST_F(Devsim, ReadingsAgreeWithEachOther) {
  const double energy = number("EnergyImported");
  simulate("60");
  double active = 0;
  double apparent = 0;
  for (const std::string phase : {"A", "B", "C"}) {
    EXPECT_NEAR(number("Voltage" + phase), 230, 25);
    active += number("Power" + phase);
    apparent += number("Voltage" + phase) * number("Current" + phase) / 1000;
  }
  EXPECT_NEAR(number("PowerTotal"), active, 1e-6);
  EXPECT_NEAR(apparent * number("PowerFactor"), active, 0.01 * active);
  EXPECT_NEAR(number("VoltageAB"), number("VoltageA") * std::sqrt(3), 8);
  EXPECT_GT(number("CurrentA"), number("Branch1/CurrentA"));
  // 60 simulated seconds
  EXPECT_NEAR(number("EnergyImported") - energy, active / 60, 0.2 * active / 60);
}

TEST_F(Devsim, AnOpenBreakerStopsTheCurrentAndWhatIsBelow) {
  simulate("5");
  setpoint("Breaker", "Open");
  simulate("5");
  EXPECT_EQ(number("CurrentA"), 0);
  EXPECT_GT(number("VoltageA"), 200);
  EXPECT_EQ(number("Branch1/VoltageA"), 0);
}

TEST_F(Devsim, FollowsItsSetpointsWithinTheirRange) {
  setpoint("NominalVoltage", "120");
  setpoint("PowerFactorTarget", "0.99");
  setpoint("DemandInterval", "1");
  setpoint("RatedCurrent", "40");
  simulate("600");
  EXPECT_NEAR(number("VoltageA"), 120, 13);
  EXPECT_GE(number("PowerFactor"), 0.99 - 1e-9);
  EXPECT_NEAR(number("PowerDemand"), number("PowerTotal"), 15);
  EXPECT_LT(number("PowerTotal"), 100) << "the demand has come down from 134.54";
  for (const char* bad : {"nan", "-5", "1e300"}) {
    setpoint("NominalVoltage", bad);
    simulate("2");
    EXPECT_NEAR(number("VoltageA"), 230, 25) << bad;
  }
}

TEST_F(Devsim, MovesUntilItIsToldToStop) {
  const CElement before = read("VoltageA");
  const pid_t pid = startProcess(folder(), DEVSIM, {});
  EXPECT_TRUE(await([&] { return read("VoltageA").time().tv_sec != before.time().tv_sec; }));
  const auto watched = watchdogs();
  kill(pid, SIGTERM);
  EXPECT_EQ(waitForProcess(pid, folder()).status, 0);
  EXPECT_EQ(watched.size(), 1U);
  EXPECT_TRUE(watchdogs().empty());
}

TEST_F(Devsim, LeavesMissingPointsAlone) {
  ASSERT_EQ(devctl({"store", "rm", "/Feeder1/VoltageB"}).status, 0);
  simulate("3");
  EXPECT_EQ(devctl({"store", "get", "/Feeder1/VoltageB"}).status, 1);
  ASSERT_EQ(devctl({"store", "rm", "/Feeder1"}).status, 0);
  EXPECT_EQ(run(DEVSIM, {"--ticks", "3"}).status, 1);
}

TEST_F(Devsim, MakesHistoryAndEnds) {
  ASSERT_EQ(run(DEVSIM, {"--history=1", "--logs", folder()}).status, 0);
  EXPECT_TRUE(
      contains(expectSuccess({"trends", "list", file("interval-trends.db")}), "/Feeder1/Branch1"));
  EXPECT_EQ(run(DEVSIM, {"--history=1"}).status, 1) << "one needs the other";
  EXPECT_EQ(run(DEVSIM, {"--logs", folder()}).status, 1) << "one needs the other";
  write("interval-trends.db", "mine");
  EXPECT_EQ(run(DEVSIM, {"--history=1", "--logs", folder()}).status, 1);
  EXPECT_EQ(contentsOf(file("interval-trends.db")), "mine");
}

}  // namespace
