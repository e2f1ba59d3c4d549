// What is worth sending, what is kept when a subscriber does not take it, and for how long.
#include <cmath>

#include "publisher_fixture.h"
#include "subscriptions.h"
#include "toolkit/time.h"

namespace {

using namespace std::chrono_literals;
using wspub::ChangeFilter;
using wspub::Clock;
using wspub::Sample;

const Clock::time_point kStart;

Sample number(double value, std::uint16_t quality = 192) {
  return {toolkit::CElement(value).to_string(), value, quality, true};
}

TEST(ChangeFilter, SendsWhatLeavesTheDeadbandOfTheLastValueSent) {
  const double nan = std::nan("");
  const std::tuple<double, std::vector<double>, std::string> kCases[] = {
      {0, {100, 100, 100.5, 100}, "1011"},
      {-1, {100, 100.5}, "11"},
      {10, {100, 110, 110.5, 100, 99}, "10101"},
      {10, {-100, -89.5, -98, -98.6}, "1101"},
      {10, {100, 104, 108, 112}, "1001"},
      {50, {0, 0.001, 0}, "111"},
      {10, {100, nan, nan, 100, HUGE_VAL, 5, 5.1}, "1101110"},
  };
  for (const auto& [deadband, values, expected] : kCases) {
    ChangeFilter filter;
    filter.configure(0ms, deadband);
    std::string sent;
    for (const double value : values) {
      sent += filter.takes(number(value), kStart) ? '1' : '0';
    }
    EXPECT_EQ(sent, expected) << deadband << " %, from " << values.front();
  }
}

TEST(ChangeFilter, RestsForItsFreshnessAfterAValueSent) {
  ChangeFilter filter;
  filter.configure(1000ms, 0);
  EXPECT_TRUE(filter.takes(number(1), kStart));
  EXPECT_FALSE(filter.isDue(kStart + 999ms));
  EXPECT_FALSE(filter.takes(number(1), kStart + 1000ms));
  EXPECT_TRUE(filter.isDue(kStart + 1001ms)) << "nothing was sent, so it need not rest";
}

TEST(Backoff, WaitsTwiceAsLongEachTimeUpToAMinute) {
  wspub::Backoff backoff(1000ms);
  for (const auto wait : {1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 32000ms, 60000ms, 60000ms}) {
    backoff.fail(kStart);
    EXPECT_FALSE(backoff.isOver(kStart + wait - 1ms)) << wait.count();
    EXPECT_TRUE(backoff.isOver(kStart + wait * 11 / 10)) << wait.count();
  }
}

TEST(Lease, CountsFromTheLatestUpdate) {
  const auto written = [](int value, std::chrono::microseconds ago) {
    timeval time = {};
    qel_QELtoUNIXtime64(qel_UTCtime64() - ago.count(), &time);
    toolkit::CElement element(value);
    element.set_time(time);
    return element;
  };
  wspub::Subscription subscription("one", 5, 1s);
  wspub::Terms terms;
  terms.leaseDuration = written(3'600'000, 2h);
  terms.nodeCount = written(1, 30min);
  subscription.apply(terms, kStart);
  EXPECT_FALSE(subscription.hasLapsed(kStart + 29min));
  EXPECT_TRUE(subscription.hasLapsed(kStart + 30min));
  subscription.apply(terms, kStart + 20min);
  EXPECT_TRUE(subscription.hasLapsed(kStart + 30min)) << "no update has come";
  terms.nodeCount = written(1, 0min);
  subscription.apply(terms, kStart + 20min);
  EXPECT_FALSE(subscription.hasLapsed(kStart + 79min));
  EXPECT_TRUE(subscription.hasLapsed(kStart + 80min));
}

TEST(RecordQueue, GivesEachRecordOnceInOrderAndDropsTheOldestThatIsNotOnItsWay) {
  wspub::RecordQueue queue(5);
  std::uint64_t added = 0;
  const auto add = [&](int count) {
    for (int i = 0; i < count; ++i) {
      queue.add({wspub::Value{}, ++added});
    }
  };
  // Number of the first record, how many are lost, and the records.
  using Sent = std::tuple<std::uint64_t, std::uint64_t, std::vector<std::uint64_t>>;
  const auto next = [&](std::size_t limit) {
    const wspub::Batch batch = queue.begin(limit);
    Sent sent = {batch.sequence, batch.lost, {}};
    for (const auto* record : batch.records) {
      std::get<2>(sent).push_back(record->streamNumber);
    }
    return sent;
  };
  add(5);
  EXPECT_EQ(next(2), (Sent{1, 0, {1, 2}}));
  EXPECT_EQ(queue.accepted(), 2U);
  EXPECT_EQ(next(9), (Sent{3, 0, {3, 4, 5}}));
  queue.refused();
  add(1);
  EXPECT_EQ(next(9), (Sent{3, 0, {3, 4, 5, 6}}));
  EXPECT_EQ(queue.accepted(), 6U);
  EXPECT_TRUE(queue.isEmpty());

  add(8);
  EXPECT_EQ(next(2), (Sent{10, 3, {10, 11}}));
  add(3);  // 12, 13 and 14 go
  queue.refused();
  EXPECT_EQ(next(9), (Sent{10, 3, {10, 11}}));
  queue.accepted();
  EXPECT_EQ(next(9), (Sent{15, 3, {15, 16, 17}}));
  queue.accepted();
  add(5);
  EXPECT_EQ(next(9), (Sent{18, 0, {18, 19, 20, 21, 22}}));
  add(1);  // no room at all
  queue.accepted();
  add(1);
  EXPECT_EQ(next(9), (Sent{24, 1, {24}}));
}

TEST(RecordQueue, HoldsABoundInBytesAndAtLeastOneRecord) {
  wspub::RecordQueue queue(1000);
  const auto record = [](std::size_t size) {
    return wspub::Record{wspub::Value{"/A", wspub::Texts{std::string(size, 'x'), {}}}};
  };
  constexpr std::size_t kBytes = wspub::RecordQueue::kMaxBytes;
  queue.add(record(2 * kBytes));
  EXPECT_EQ(queue.begin(9).records.size(), 1U) << "larger than the bound, but alone";
  queue.add(record(1));
  EXPECT_FALSE(queue.hasRoomFor(record(1)));
  queue.accepted();
  for (int i = 0; i < 10; ++i) {
    queue.add(record(kBytes / 4));
  }
  const wspub::Batch batch = queue.begin(99);
  EXPECT_EQ(batch.records.size(), 3U);
  EXPECT_EQ(batch.lost, 8U);
}

TEST(RecordQueue, AllTogetherHaveABoundThatCostsOnlyTheLargest) {
  constexpr std::size_t kBytes = 100000;
  const auto budget = std::make_shared<wspub::QueueBudget>(3 * kBytes);
  const wspub::Record record{wspub::Value{"/A", wspub::Texts{std::string(9000, 'x'), {}}}};
  const auto fill = [&](wspub::RecordQueue& queue, int count) {
    for (int i = 0; i < count; ++i) {
      queue.add(record);
    }
  };
  wspub::RecordQueue small(1000, budget);
  wspub::RecordQueue away(1000, budget);
  fill(small, 9);
  fill(away, 500);
  {
    wspub::RecordQueue third(1000, budget);
    fill(third, 9);
    EXPECT_EQ(third.begin(99).records.size(), 9U);
    EXPECT_TRUE(third.hasRoomFor(record)) << "up to an equal share";
    EXPECT_FALSE(away.hasRoomFor(record));
    EXPECT_EQ(away.begin(99).records.size(), 14U);
    third.refused();
    fill(third, 100);  // what is on its way to the other one stays
    EXPECT_EQ(away.begin(99).lost, 486U);
    away.refused();
  }
  EXPECT_EQ(small.begin(99).lost, 0U);
  EXPECT_EQ(small.begin(99).records.size(), 9U);
  EXPECT_TRUE(away.hasRoomFor(record)) << "what a queue held is free with its end";
}

using SubscriptionsTest = PublisherTest;

TEST_F(SubscriptionsTest, AreNotTakenForCancelledWhileTheStoreCannotBeRead) {
  toolkit::CSysLog log("test", -1, false, false, false);
  wspub::Subscriptions subscriptions(cds_, log, {});
  create("one", {"http://127.0.0.1:1/", {{"/P"}}, 0, 1000});
  EXPECT_TRUE(subscriptions.refresh(kStart).empty());
  const auto lapsed = kStart + 10s;
  cds_.close();
  EXPECT_TRUE(subscriptions.removeLapsed(lapsed).empty());
  ASSERT_NE(subscriptions.find("one"), nullptr);
  EXPECT_FALSE(subscriptions.find("one")->points.empty());
  ASSERT_EQ(cds_.init(), 0);
  EXPECT_EQ(subscriptions.removeLapsed(lapsed), Texts{"one"});
}

}  // namespace
