// The simulated meter as a process on a store of its own, and the trends of days before its start.
#include <cmath>

#include "history.h"
#include "sandbox.h"
#include "toolkit/trend_file.h"

namespace trend = toolkit::trend;

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

// Broken off at once, in the first pass, with some of it made, with more; by meters of other seeds.
// The last one has patience for what is needed.
TEST_F(Devsim, ReachesAsFarAsThePeriodsKeepAndIsGoneOnWith) {
  const timeval now = {1700000000, 250000};
  for (int patience : {0, 20000, 37000, 47000, 72000}) {
    sim::Installation installation(cds_, static_cast<std::uint64_t>(patience));
    const auto plant = installation.copyPlant();
    trend::CPointFile trends;
    ASSERT_TRUE(trends.open(file("t")) && trends.setPoints(installation.points()));
    const auto stop = [&] { return --patience < 0; };
    EXPECT_TRUE(sim::makeHistory(installation, plant.value(), trends, 40, now, stop));
  }
  for (const auto& [id, seconds, most] : trend::kPeriods) {
    const auto [params, samples] = snapshots("t", "/Feeder1", {{id}});
    ASSERT_EQ(samples.size(), std::min<std::int64_t>(most, 3456000 / seconds)) << id;
    EXPECT_EQ(samples.back().time, now.tv_sec - now.tv_sec % seconds);
    constexpr std::size_t energy = 21;
    ASSERT_EQ(params.params.at(energy).path, "/Feeder1/EnergyImported");
    EXPECT_NEAR(*samples.back().data[energy].actual, 184230.51, 250);
    for (std::size_t i = 1; i < samples.size(); ++i) {
      ASSERT_EQ(samples[i].time - samples[i - 1].time, seconds);
      ASSERT_EQ(samples[i].percent_valid, 100);
      const double used = *samples[i].data[energy].actual - *samples[i - 1].data[energy].actual;
      ASSERT_TRUE(used > 0 && used < 300.0 * seconds / 3600) << samples[i].time;
    }
  }
}

}  // namespace
