// Events handed over between processes, and what the platform keeps for them.
#include "toolkit/event_stream.h"

#include <map>
#include <sstream>

#include "store/store.h"
#include "store_fixture.h"

using toolkit::CCds;
using toolkit::CElement;
using toolkit::CEvent;
using toolkit::CEventStream;

namespace {

constexpr auto kAcks = CEventStream::kAcknowledgements;
constexpr auto kEvents = CEventStream::kEvents;

class Events : public StoreTest {
 protected:
  Events() { import({leaf("/Alarms/7/SourcePath", "Value", CElement("/N/Value"))}); }

  static CEvent event(std::int32_t type, std::uint64_t id) {
    CEvent event;
    event.type = type;
    event.id = id;
    return event;
  }
  static std::vector<api_status_t> send(CCds& cds, const std::vector<CEvent>& events) {
    std::vector<api_status_t> statuses;
    cds.events_send(events, statuses);
    return statuses;
  }
  // "number:id" of each entry behind a number.
  static std::string entries(CCds& cds, CEventStream::Kind kind, std::uint64_t after = 0) {
    std::vector<CEventStream::Entry> entries;
    EXPECT_EQ(CEventStream(cds, kind).read(after, entries), 0);
    std::string text;
    for (const auto& entry : entries) {
      text += std::to_string(entry.number) + ":" + std::to_string(entry.event.id) + " ";
    }
    return text;
  }

  const CEvent ack_ = event(toolkit::EVENT_ACKNOWLEDGE, 7);
};

TEST_F(Events, KeepTheFirstBytesOfLongTexts) {
  CCds cds;
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
  send(cds, {sent});
  std::vector<CEventStream::Entry> entries;
  EXPECT_EQ(CEventStream(cds, kEvents).read(0, entries), 0);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].event, expected);
}

TEST_F(Events, GoToTheirStreams) {
  CCds cds;
  EXPECT_EQ(send(cds, {ack_, event(toolkit::EVENT_ACKNOWLEDGE, 8), event(toolkit::EVENT_PLAIN, 3),
                       event(toolkit::EVENT_ALARM, 8), ack_}),
            (std::vector{API_SUCCESS, API_NOT_FOUND, API_SUCCESS, API_SUCCESS, API_SUCCESS}));
  CCds other;
  EXPECT_EQ(entries(other, kEvents, 1), "2:8 ");
  EXPECT_EQ(entries(other, kAcks), "1:7 2:7 ");
  EXPECT_EQ(CEventStream(cds, kAcks).remove(99), 0);
  send(cds, {ack_});
  EXPECT_EQ(entries(cds, kAcks), "3:7 ") << "no number twice";
  EXPECT_EQ(entries(cds, kEvents), "1:3 2:8 ");
}

TEST_F(Events, StreamsHoldAThousand) {
  CCds cds;
  const std::size_t full = CEventStream::kCapacity;
  send(cds, std::vector(full + 2, event(toolkit::EVENT_PLAIN, 1)));
  const std::string held = entries(cds, kEvents);
  EXPECT_TRUE(held.starts_with("3:1 ") && held.ends_with(" 1002:1 ")) << held;
  EXPECT_EQ(send(cds, std::vector(full + 1, ack_)).back(), API_STORE_FULL);
  EXPECT_EQ(CEventStream(cds, kAcks).remove(1), 0);
  EXPECT_EQ(send(cds, {ack_, ack_}), (std::vector{API_SUCCESS, API_STORE_FULL}));
}

// Events are sent by groups, "3d" is three deltas; q(uality), a(larm), s(ystem), p(lain).
TEST_F(Events, ChangesPushOutNoOtherEventsAndTheMissingAreCounted) {
  const std::map<char, std::int32_t> kinds = {{'d', toolkit::EVENT_DELTA},
                                              {'q', toolkit::EVENT_QUALITY},
                                              {'a', toolkit::EVENT_ALARM},
                                              {'s', toolkit::EVENT_SYSTEM},
                                              {'p', toolkit::EVENT_PLAIN}};
  struct Case {
    const char* sent;
    std::uint64_t after;
    const char* missed;  // all, events, changes
    std::uint64_t first;
    std::size_t count;
  };
  const Case kCases[] = {
      {"1a 1s 1p 900d 1100q", 0, "1000 0 1000", 1, 1003},
      {"1a 2000d", 1, "1000 0 1000", 1002, 1000},
      {"1a 2000d", 600, "401 0 401", 1002, 1000},
      {"1a 2000d", 1001, "0 0 0", 1002, 1000},
      {"1a 2000d", 2001, "0 0 0", 0, 0},
      {"1a 2000d", 2500, "0 0 0", 0, 0},
      {"500d 600a 600p 1s", 0, "201 201 0", 1, 1500},
      {"500d 600a 600p 1s 10d", 500, "201 201 0", 702, 1010},
      {"10a 1500d 1500a 3d 1a", 1510, "501 501 0", 2012, 1003},
      {"1d 1001a 1500d", 2, "500 0 500", 3, 2000},
      {"2000d 2000a", 0, "2000 1000 1000", 1001, 2000},
  };
  for (const Case& one : kCases) {
    for (const char* half : {"TOOLKIT_RUN", "TOOLKIT_STATE"}) {
      std::filesystem::remove_all(std::getenv(half));
    }
    import({});
    CCds cds;
    std::istringstream groups(one.sent);
    std::size_t count = 0;
    for (char kind = 0; groups >> count >> kind;) {
      send(cds, std::vector(count, event(kinds.at(kind), 1)));
    }
    std::vector<CEventStream::Entry> entries;
    CEventStream::Missed missed;
    EXPECT_EQ(CEventStream(cds, kEvents).read(one.after, entries, missed), 0);
    EXPECT_EQ(std::to_string(missed.all) + " " + std::to_string(missed.events) + " " +
                  std::to_string(missed.changes),
              one.missed)
        << one.sent << one.after;
    EXPECT_EQ(entries.size(), one.count) << one.sent << one.after;
    EXPECT_EQ(entries.empty() ? 0 : entries.front().number, one.first) << one.sent << one.after;
    for (std::size_t i = 1; i < entries.size(); ++i) {
      ASSERT_LT(entries[i - 1].number, entries[i].number) << one.sent;
    }
  }
}

TEST_F(Events, AStreamOfAnEarlierProgramGoesOn) {
  CCds cds;
  send(cds, std::vector(CEventStream::kCapacity + 5, event(toolkit::EVENT_PLAIN, 1)));
  // It had one ring, and noted nothing of what was gone.
  cds.handle()->write([](toolkit::store::Change& change) {
    change.live().erase(toolkit::store::Table::kMeta, "gone-event");
  });
  std::vector<CEventStream::Entry> entries;
  CEventStream::Missed missed;
  EXPECT_EQ(CEventStream(cds, kEvents).read(2, entries, missed), 0);
  EXPECT_EQ(missed.events, 3U);
  send(cds, {event(toolkit::EVENT_DELTA, 2), event(toolkit::EVENT_ALARM, 3)});
  EXPECT_EQ(CEventStream(cds, kEvents).read(5, entries, missed), 0);
  EXPECT_EQ(missed.all, 1U);
  EXPECT_EQ(entries.front().number, 7U);
  EXPECT_TRUE(CEventStream(cds, kEvents).remove(99) != 0) << "nobody takes them from the others";
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
  CCds cds;
  EXPECT_EQ(text(cds, "/Count"), std::to_string(2 * kTimes));
  std::vector<std::string> own;
  normalized("/Own").getChildPaths(cds, own);
  EXPECT_EQ(own.size(), 2 * kTimes / 100);
  cds.add_to_leaf("/Count", 2147483647, &sum, status, "counter");
  EXPECT_EQ(sum, 2 * kTimes - 2147483647 - 2) << "it goes on from the smallest number";
}

TEST_F(Events, ANodeIsRemovedOnlyAsItWas) {
  CCds cds;
  CElement expected(5);
  set(cds, "/Node/Lease", expected);
  CElement later = expected;
  later.set_time({1700000000, 6});
  const auto remove = [&](const char* node, const char* leaf, const CElement& element) {
    EXPECT_TRUE(cds.node_exists("/Node"));
    api_status_t status = API_NONE;
    EXPECT_EQ(cds.remove_node_if(node, leaf, element, status, "test"), 0);
    return status;
  };
  EXPECT_EQ(remove("/Node", "/Node/Lease", later), API_NOT_FOUND);
  EXPECT_EQ(remove("/Node", "/Node:.Time", expected), API_BAD_PATH);
  EXPECT_EQ(remove("/Alarms", "/Node/Lease", expected), API_NOT_AUTHORIZED);
  EXPECT_EQ(remove("/Node", "/Node/Lease", expected), API_SUCCESS);
  EXPECT_FALSE(cds.node_exists("/Node"));
}

}  // namespace
