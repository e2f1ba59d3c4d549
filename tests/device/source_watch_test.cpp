// Devices whose source falls silent, on the test's own clock.
#include "quality/source_watch.h"

#include "store_fixture.h"

namespace {

class SourceWatch : public ClientTest {
 protected:
  SourceWatch() {
    import({leaf("/D:NodeType", "Device"), leaf("/D/.Quality", 192), leaf("/D/P", 1.0),
            leaf("/D/P:.TrendTraits", "Actual"), leaf("/D/Set", 1.0)});
    restart();
  }
  void restart() {
    watch_.reset();
    watch_ = std::make_unique<Services>(cds_);
  }
  void put(const std::string& path, CElement value, const char* source = "meter") {
    value.set_time(now_);
    api_status_t status = API_NONE;
    cds_.set_leaf(normalized(path), value, status, PCD_FALSE, source);
    EXPECT_EQ(status, API_SUCCESS) << path;
  }
  // Half seconds, in each of which the source writes or does not.
  void step(int times, bool writes) {
    while (times-- > 0) {
      now_.tv_usec += 500'000;
      now_.tv_sec += now_.tv_usec / 1'000'000;
      now_.tv_usec %= 1'000'000;
      if (writes) {
        put("/D/P", CElement(1.0));
      }
      ASSERT_TRUE(watch_->values.read(now_));
      EXPECT_TRUE(watch_->sources.step(watch_->values.leaves(), 0.5, now_));
    }
  }
  std::string quality() { return text("/D/.Quality"); }
  // Of all events.
  std::string told() {
    std::string told;
    for (const auto& entry : events()) {
      EXPECT_EQ(std::pair(entry.event.type, entry.event.path),
                std::pair(std::int32_t{toolkit::EVENT_QUALITY}, std::string("/D/.Quality")));
      told += std::to_string(entry.event.quality) + " ";
    }
    return told;
  }

  struct Services {
    explicit Services(CCds& cds) : points(cds), sources(cds, points), values(cds, {&sources}) {}
    device::PointList points;
    device::SourceWatch sources;
    device::ValueReader values;
  };

  timeval now_ = {1700000000, 0};
  std::unique_ptr<Services> watch_;
};

TEST_F(SourceWatch, SilenceIsBadAndTheNextWriteGoodAgain) {
  step(20, true);
  EXPECT_EQ(quality(), "192");
  put("/D/Set", CElement(2.0));
  step(10, false);
  EXPECT_EQ(quality(), "192");
  step(1, false);
  EXPECT_EQ(quality(), "0") << "after more than five seconds";
  put("/D/Set", CElement(3.0), "an operator");
  step(20, false);
  EXPECT_EQ(quality(), "0");
  step(3, true);
  EXPECT_EQ(quality() + " " + told(), "192 0 192 ");
  EXPECT_FALSE(cds_.node_exists("/Software/Silent Devices/D"));
}

TEST_F(SourceWatch, RestartsChangeNothing) {
  put("/D/.Quality", CElement(64));
  step(20, false);
  restart();
  step(20, false);
  EXPECT_EQ(quality(), "0");
  step(2, true);
  EXPECT_EQ(quality() + " " + told(), "64 0 64 ") << "what its source has said";
  restart();
  step(10, true);
  EXPECT_EQ(told(), "0 64 ");
}

TEST_F(SourceWatch, WhatASourceSaysOfItselfStays) {
  put("/D/.Quality", CElement(64));
  step(20, true);
  EXPECT_EQ(quality() + told(), "64");
  step(20, false);
  put("/D/.Quality", CElement(28));
  step(3, true);
  EXPECT_EQ(quality() + " " + told(), "28 0 ");
  put("/D/.Quality", CElement(0));
  step(20, false);
  step(3, true);
  EXPECT_EQ(quality() + " " + told(), "0 0 ") << "it was bad before";
}

TEST_F(SourceWatch, LimitIsTheModelsOrTenPeriods) {
  for (int i = 0; i < 6; ++i) {
    step(9, false);
    step(1, true);
  }
  step(99, false);
  EXPECT_EQ(quality(), "192") << "it writes every five seconds";
  step(2, false);
  EXPECT_EQ(quality(), "0");
  put("/D/P:ValueAge", CElement(2));
  put("/D:ValueAge", CElement(3.5));
  step(30, true);
  step(4, false);
  EXPECT_EQ(quality(), "192");
  step(1, false);
  EXPECT_EQ(quality(), "0");
}

TEST_F(SourceWatch, AStoreThatRefusesIsTriedAgain) {
  cds_.setReadOnly();
  for (int i = 0; i < 13; ++i) {
    ASSERT_TRUE(watch_->values.read(now_));
    const bool overdue = 0.5 * (i + 1) > device::SourceWatch::kMinSeconds;
    EXPECT_EQ(watch_->sources.step(watch_->values.leaves(), 0.5, now_), !overdue) << i;
  }
  EXPECT_EQ(quality(), "192");
}

}  // namespace
