// Events handed over between processes, and what the platform keeps for them.
#include <algorithm>

#include "store/store.h"
#include "store_fixture.h"

using toolkit::CEventStream;

namespace {

constexpr auto kAcks = CEventStream::kAcknowledgements;
constexpr auto kEvents = CEventStream::kEvents;

class Events : public ClientTest {
 protected:
  Events() { import({leaf("/Alarms/7/SourcePath", "/N/Value")}); }

  static CEvent event(std::int32_t type, std::uint64_t id) {
    CEvent event;
    event.type = type;
    event.id = id;
    return event;
  }
  // Number and id of each entry after a number.
  using Entries = std::vector<std::pair<std::uint64_t, std::uint64_t>>;
  static Entries entries(CCds& cds, CEventStream::Kind kind, std::uint64_t after = 0) {
    Entries found;
    for (const auto& entry : events(cds, after, kind)) {
      found.emplace_back(entry.number, entry.event.id);
    }
    return found;
  }

  const CEvent ack_ = event(toolkit::EVENT_ACKNOWLEDGE, 7);
};

TEST_F(Events, KeepTheFirstBytesOfLongTexts) {
  const std::string most(CEventStream::kMaxText, 'x');
  CEvent sent = event(toolkit::EVENT_ALARM, 1);
  sent.time = {5, 0};
  sent.path = sent.note = sent.source = sent.message = most;
  sent.value = CElement(most);
  sent.value.set_time(sent.time);
  sent.waveforms = {most};
  const CEvent expected = sent;
  for (std::string* text : {&sent.path, &sent.note, &sent.source, &sent.message}) {
    *text += "é";
  }
  sent.value = CElement(most + "y");
  sent.value.set_time(sent.time);
  sent.waveforms.push_back("z");
  send({sent});
  const auto entries = events();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].event, expected);
}

TEST_F(Events, GoToTheirStreams) {
  EXPECT_EQ(send({ack_, event(toolkit::EVENT_ACKNOWLEDGE, 8), event(toolkit::EVENT_PLAIN, 3),
                  event(toolkit::EVENT_ALARM, 8), ack_}),
            (std::vector{API_SUCCESS, API_NOT_FOUND, API_SUCCESS, API_SUCCESS, API_SUCCESS}));
  CCds other;
  EXPECT_EQ(entries(other, kEvents, 1), (Entries{{2, 8}}));
  EXPECT_EQ(entries(other, kAcks), (Entries{{1, 7}, {2, 7}}));
  EXPECT_EQ(CEventStream(cds_, kAcks).remove(99), 0);
  send({ack_});
  EXPECT_EQ(entries(cds_, kAcks), (Entries{{3, 7}})) << "no number twice";
  EXPECT_EQ(entries(cds_, kEvents), (Entries{{1, 3}, {2, 8}}));
}

TEST_F(Events, StreamsHoldAThousand) {
  const std::size_t full = CEventStream::kCapacity;
  send(std::vector(full + 2, event(toolkit::EVENT_PLAIN, 1)));
  const Entries held = entries(cds_, kEvents);
  EXPECT_EQ(std::pair(held.front().first, held.back().first), std::pair(3UL, full + 2));
  EXPECT_EQ(send(std::vector(full + 1, ack_)).back(), API_STORE_FULL);
  EXPECT_EQ(CEventStream(cds_, kAcks).remove(1), 0);
  EXPECT_EQ(send({ack_, ack_}), (std::vector{API_SUCCESS, API_STORE_FULL}));
}

TEST_F(Events, ChangesPushOutNoOtherEventsAndTheMissingAreCounted) {
  using namespace toolkit;
  using Missed = std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>;  // all, events, changes
  using Look = std::tuple<std::uint64_t, Missed, std::uint64_t, std::size_t>;  // first, count
  using Sent = std::vector<std::pair<std::size_t, std::int32_t>>;              // so many of a type
  constexpr auto alarm = EVENT_ALARM;
  constexpr auto delta = EVENT_DELTA;
  constexpr auto plain = EVENT_PLAIN;
  const std::pair<Sent, std::vector<Look>> kCases[] = {
      {{{2, alarm}, {1, plain}, {900, delta}, {1100, EVENT_QUALITY}},
       {{0, {1000, 0, 1000}, 1, 1003}}},
      {{{1, alarm}, {2000, delta}},
       {{1, {1000, 0, 1000}, 1002, 1000},
        {600, {401, 0, 401}, 1002, 1000},
        {1001, {0, 0, 0}, 1002, 1000},
        {2001, {0, 0, 0}, 0, 0},
        {2500, {0, 0, 0}, 0, 0}}},
      {{{500, delta}, {600, alarm}, {601, EVENT_SYSTEM}}, {{0, {201, 201, 0}, 1, 1500}}},
      {{{500, delta}, {600, alarm}, {601, plain}, {10, delta}}, {{500, {201, 201, 0}, 702, 1010}}},
      {{{10, alarm}, {1500, delta}, {1500, alarm}, {3, delta}, {1, alarm}},
       {{1510, {501, 501, 0}, 2012, 1003}}},
      {{{1, delta}, {1001, alarm}, {1500, delta}}, {{2, {500, 0, 500}, 3, 2000}}},
      {{{2000, delta}, {2000, alarm}}, {{0, {2000, 1000, 1000}, 1001, 2000}}}};
  for (const auto& [sent, looks] : kCases) {
    cds_.close();
    fs::remove_all(folder() / "run");
    import({});
    for (const auto& [count, type] : sent) {
      send(std::vector(count, event(type, 1)));
    }
    for (const auto& [after, expected, first, count] : looks) {
      SCOPED_TRACE(testing::PrintToString(sent) + " after " + std::to_string(after));
      std::vector<CEventStream::Entry> entries;
      CEventStream::Missed missed;
      EXPECT_EQ(CEventStream(cds_, kEvents).read(after, entries, missed), 0);
      EXPECT_EQ(Missed(missed.all, missed.events, missed.changes), expected);
      EXPECT_EQ(entries.size(), count);
      EXPECT_EQ(entries.empty() ? 0 : entries.front().number, first);
      EXPECT_EQ(std::ranges::adjacent_find(entries, std::ranges::greater_equal(),
                                           &CEventStream::Entry::number),
                entries.end());
    }
  }
}

TEST_F(Events, AStreamOfAnEarlierProgramGoesOn) {
  send(std::vector(CEventStream::kCapacity + 5, event(toolkit::EVENT_PLAIN, 1)));
  // It had one ring, and noted nothing of what was gone.
  cds_.handle()->write([](toolkit::store::Change& change) {
    change.live().erase(toolkit::store::Table::kMeta, "gone-event");
  });
  std::vector<CEventStream::Entry> entries;
  CEventStream::Missed missed;
  EXPECT_EQ(CEventStream(cds_, kEvents).read(2, entries, missed), 0);
  EXPECT_EQ(missed.events, 3U);
  send({event(toolkit::EVENT_DELTA, 2), event(toolkit::EVENT_ALARM, 3)});
  EXPECT_EQ(CEventStream(cds_, kEvents).read(5, entries, missed), 0);
  EXPECT_EQ(missed.all, 1U);
  EXPECT_EQ(entries.front().number, 7U);
  EXPECT_TRUE(CEventStream(cds_, kEvents).remove(99) != 0) << "nobody takes them from the others";
}

TEST_F(Events, CountsAddUpBetweenProcesses) {
  constexpr int kTimes = 3000;
  api_status_t status = API_NONE;
  int sum = 0;
  const auto count = [&] {
    CCds cds;
    for (int i = 0; i < kTimes; ++i) {
      cds.add_to_leaf("/Count", 1, &sum, status, "counter");
      // A durable write now and then, which goes to the other half too.
      if (i % 100 == 0) {
        set(cds, "/Own/" + std::to_string(getpid() * kTimes + i), {}, PCD_TRUE);
      }
    }
    return status == API_SUCCESS && sum >= kTimes ? 0 : 1;
  };
  ChildProcess other(count);
  EXPECT_EQ(count() + other.wait(), 0);
  EXPECT_EQ(text("/Count"), std::to_string(2 * kTimes));
  std::vector<std::string> own;
  normalized("/Own").getChildPaths(cds_, own);
  EXPECT_EQ(own.size(), 2 * kTimes / 100);
  cds_.add_to_leaf("/Count", 2147483647, &sum, status, "counter");
  EXPECT_EQ(sum, 2 * kTimes - 2147483647 - 2) << "it goes on from the smallest number";
}

TEST_F(Events, ANodeIsRemovedOnlyAsItWas) {
  CElement expected(5);
  set("/Node/Lease", expected);
  CElement later = expected;
  later.set_time({1700000000, 6});
  const auto remove = [&](const char* node, const char* leaf, const CElement& element) {
    EXPECT_TRUE(cds_.node_exists("/Node"));
    api_status_t status = API_NONE;
    EXPECT_EQ(cds_.remove_node_if(node, leaf, element, status, "test"), 0);
    return status;
  };
  EXPECT_EQ(remove("/Node", "/Node/Lease", later), API_NOT_FOUND);
  EXPECT_EQ(remove("/Node", "/Node:.Time", expected), API_BAD_PATH);
  EXPECT_EQ(remove("/Alarms", "/Node/Lease", expected), API_NOT_AUTHORIZED);
  EXPECT_EQ(remove("/Node", "/Node/Lease", expected), API_SUCCESS);
  EXPECT_FALSE(cds_.node_exists("/Node"));
}

}  // namespace
