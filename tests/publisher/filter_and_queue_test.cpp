// What is worth sending, and what is kept when a subscriber does not take it.
#include <gtest/gtest.h>

#include <cmath>

#include "backoff.h"
#include "change_filter.h"
#include "record_queue.h"

namespace {

using namespace std::chrono_literals;
using wspub::ChangeFilter;
using wspub::Clock;
using wspub::Sample;

Sample number(double value, std::uint16_t quality = 192) {
  return {toolkit::CElement(value).to_string(), value, quality, true};
}

TEST(ChangeFilter, SendsWhatLeavesTheDeadbandOfTheLastValueSent) {
  const double nan = std::nan("");
  const double infinite = HUGE_VAL;
  const struct {
    double deadband;
    std::vector<double> values;
    std::vector<bool> sent;
  } kCases[] = {
      {0, {100, 100, 100.5, 100}, {true, false, true, true}},
      {-1, {100, 100.5}, {true, true}},
      {nan, {100, 100.5}, {true, true}},
      {10, {100, 110, 110.5, 100, 99}, {true, false, true, false, true}},
      {10, {-100, -89.5, -98, -98.6}, {true, true, false, true}},
      {10, {100, 104, 108, 112}, {true, false, false, true}},
      {50, {0, 0.001, 0}, {true, true, true}},
      {10, {100, nan, nan, 100, infinite, 5, 5.1}, {true, true, false, true, true, true, false}},
  };
  for (const auto& c : kCases) {
    ChangeFilter filter;
    filter.configure(0ms, c.deadband);
    for (std::size_t i = 0; i < c.values.size(); ++i) {
      EXPECT_EQ(filter.takes(number(c.values[i]), Clock::time_point()), c.sent[i])
          << c.deadband << " % at value " << i;
    }
  }
}

TEST(ChangeFilter, SendsEveryChangeOfQualityTextAndReadability) {
  ChangeFilter filter;
  filter.configure(0ms, 1000);
  const struct {
    Sample sample;
    bool sent;
  } kCases[] = {{number(1), true},
                {number(1, 0), true},
                {number(1, 0), false},
                {{"Open", std::nullopt, 0, true}, true},
                {{"Closed", std::nullopt, 0, true}, true},
                {{"", std::nullopt, 0, false}, true},
                {{"", std::nullopt, 192, false}, false},
                {{"Closed", std::nullopt, 0, true}, true}};
  for (const auto& c : kCases) {
    EXPECT_EQ(filter.takes(c.sample, Clock::time_point()), c.sent) << c.sample.text;
  }
}

TEST(ChangeFilter, RestsForItsFreshnessAfterAValueSent) {
  const Clock::time_point start;
  ChangeFilter filter;
  filter.configure(1000ms, 0);
  EXPECT_TRUE(filter.isDue(start));
  EXPECT_TRUE(filter.takes(number(1), start));
  EXPECT_FALSE(filter.isDue(start + 999ms));
  EXPECT_TRUE(filter.isDue(start + 1000ms));
  EXPECT_FALSE(filter.takes(number(1), start + 1000ms));
  EXPECT_TRUE(filter.isDue(start + 1001ms)) << "nothing was sent, so it need not rest";
  filter.configure(-5ms, 0);
  EXPECT_TRUE(filter.isDue(start));
}

TEST(Backoff, WaitsTwiceAsLongEachTimeUpToAMinute) {
  const Clock::time_point start;
  wspub::Backoff backoff(1000ms);
  EXPECT_TRUE(backoff.isOver(start));
  for (const auto wait : {1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 32000ms, 60000ms, 60000ms}) {
    backoff.fail(start);
    EXPECT_FALSE(backoff.isOver(start + wait - 1ms)) << wait.count();
    EXPECT_TRUE(backoff.isOver(start + wait * 11 / 10)) << wait.count();
  }
  backoff.succeed();
  backoff.fail(start);
  EXPECT_TRUE(backoff.isOver(start + 1100ms));
}

class RecordQueue : public testing::Test {
 protected:
  void add(int count) {
    for (int i = 0; i < count; ++i) {
      queue.add({wspub::Value{}, ++added});
    }
  }
  // "first number, lost: records"
  std::string next(std::size_t limit) {
    const wspub::Batch batch = queue.begin(limit);
    std::string text = std::to_string(batch.sequence) + ", " + std::to_string(batch.lost) + ":";
    for (const auto* record : batch.records) {
      text += " " + std::to_string(record->streamNumber);
    }
    return text;
  }

  wspub::RecordQueue queue{5};
  std::uint64_t added = 0;
};

TEST_F(RecordQueue, GivesEachRecordOnceAndInOrder) {
  add(5);
  EXPECT_EQ(next(2), "1, 0: 1 2");
  EXPECT_EQ(queue.accepted(), 2U);
  EXPECT_EQ(next(9), "3, 0: 3 4 5");
  queue.refused();
  add(1);
  EXPECT_EQ(next(9), "3, 0: 3 4 5 6");
  EXPECT_EQ(queue.accepted(), 6U);
  EXPECT_TRUE(queue.isEmpty());
  EXPECT_EQ(queue.accepted(), 0U);
}

TEST_F(RecordQueue, DropsTheOldestAndTellsHowMany) {
  add(8);
  EXPECT_EQ(queue.room(), 0U);
  EXPECT_EQ(next(2), "4, 3: 4 5");
  queue.accepted();
  EXPECT_EQ(next(9), "6, 0: 6 7 8");
}

TEST_F(RecordQueue, KeepsWhatIsOnItsWay) {
  add(5);
  EXPECT_EQ(next(2), "1, 0: 1 2");
  add(3);  // 3, 4 and 5 go
  queue.refused();
  EXPECT_EQ(next(9), "1, 0: 1 2");
  queue.accepted();
  EXPECT_EQ(next(9), "6, 3: 6 7 8");
  queue.accepted();

  add(5);
  EXPECT_EQ(next(9), "9, 0: 9 10 11 12 13");
  add(1);  // no room at all
  queue.accepted();
  add(1);
  EXPECT_EQ(next(9), "15, 1: 15");
}

}  // namespace
