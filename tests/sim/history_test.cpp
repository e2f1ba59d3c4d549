// The trends of days before a start, on the test's own clock.
#include "history.h"

#include "sandbox.h"
#include "toolkit/trend_file.h"

namespace trend = toolkit::trend;

namespace {

class History : public Sandbox {
 protected:
  const timeval now_ = {1700000000, 250000};
};

// Broken off at once, in the first pass, with some of it made, with more; by meters of other seeds.
// The last one has patience for what is needed.
TEST_F(History, ReachesAsFarAsThePeriodsKeepAndIsGoneOnWith) {
  ASSERT_TRUE(importFeeder());
  for (int patience : {0, 20000, 37000, 47000, 72000}) {
    sim::Installation installation(cds_, static_cast<std::uint64_t>(patience));
    const auto plant = installation.copyPlant();
    trend::CPointFile trends;
    ASSERT_TRUE(trends.open(file("t")) && trends.setPoints(installation.points()));
    const auto stop = [&] { return --patience < 0; };
    EXPECT_TRUE(sim::makeHistory(installation, plant.value(), trends, 40, now_, stop));
  }
  for (const auto& [id, seconds, most] : trend::kPeriods) {
    const auto [params, samples] = snapshots("t", "/Feeder1", {{id}});
    ASSERT_EQ(samples.size(), std::min<std::int64_t>(most, 3456000 / seconds)) << id;
    EXPECT_EQ(samples.back().time, now_.tv_sec - now_.tv_sec % seconds);
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
