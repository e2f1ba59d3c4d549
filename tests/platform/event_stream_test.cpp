// Events handed over between processes, and what the platform keeps for them.
#include "toolkit/event_stream.h"

#include <lmdb.h>

#include "store/layout.h"
#include "store/lmdb_handles.h"
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
};

TEST_F(Events, EveryFieldArrives) {
  CEvent sent;
  sent.type = toolkit::EVENT_ALARM;
  sent.path = "/N/Value";
  sent.priority = -1;
  sent.severity = toolkit::SEVERITY_CRITICAL;
  sent.raised = {1700000000, 1};
  sent.flag = true;
  sent.quality = 65535;
  sent.id = ~0ULL;
  sent.sequence = ~0U;
  sent.ack = 17;
  sent.variation = -2;
  sent.note = std::string("n\0te", 4);
  sent.source = "me";
  sent.time = {-1, 999999};
  sent.value = CElement(0.1);
  sent.value.set_time({5, 6});
  sent.message = "text";
  sent.condition = true;
  sent.autoClosing = true;
  const auto got = toolkit::store::decodeEvent(toolkit::store::encodeEvent(sent));
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(std::tie(got->type, got->path, got->priority, got->severity, got->flag, got->quality,
                     got->id, got->sequence, got->ack, got->variation, got->note, got->source),
            std::tie(sent.type, sent.path, sent.priority, sent.severity, sent.flag, sent.quality,
                     sent.id, sent.sequence, sent.ack, sent.variation, sent.note, sent.source));
  EXPECT_EQ(std::tie(got->value, got->message, got->condition, got->autoClosing),
            std::tie(sent.value, sent.message, sent.condition, sent.autoClosing));
  EXPECT_EQ(CElement(got->raised), CElement(sent.raised));
  EXPECT_EQ(CElement(got->time), CElement(sent.time));
  const std::string record = toolkit::store::encodeEvent(sent);
  for (std::size_t size = 0; size < record.size(); ++size) {
    EXPECT_FALSE(toolkit::store::decodeEvent(std::string_view(record).substr(0, size))) << size;
  }
}

TEST_F(Events, GoToTheirStreams) {
  CCds cds;
  const CEvent ack = event(toolkit::EVENT_ACKNOWLEDGE, 7);
  EXPECT_EQ(send(cds, {ack, event(toolkit::EVENT_ACKNOWLEDGE, 8), event(toolkit::EVENT_PLAIN, 3),
                       event(toolkit::EVENT_ALARM, 8), ack}),
            (std::vector{API_SUCCESS, API_NOT_FOUND, API_SUCCESS, API_SUCCESS, API_SUCCESS}));
  CCds other;
  EXPECT_EQ(entries(other, kEvents), "1:3 2:8 ");
  EXPECT_EQ(entries(other, kEvents, 1), "2:8 ");
  EXPECT_EQ(entries(other, kEvents, 2), "");
  EXPECT_EQ(entries(other, kAcks), "1:7 2:7 ");
  EXPECT_EQ(CEventStream(other, kAcks).remove(1), 0);
  EXPECT_EQ(entries(cds, kAcks), "2:7 ");
  EXPECT_EQ(CEventStream(cds, kAcks).remove(99), 0);
  EXPECT_EQ(entries(cds, kAcks) + entries(cds, kEvents), "1:3 2:8 ");
  send(cds, {ack});
  EXPECT_EQ(entries(cds, kAcks), "3:7 ") << "no number twice";
}

TEST_F(Events, StreamsHoldAThousand) {
  CCds cds;
  const std::size_t full = CEventStream::kCapacity;
  EXPECT_EQ(send(cds, std::vector(full + 2, event(toolkit::EVENT_PLAIN, 1))),
            std::vector(full + 2, API_SUCCESS));
  std::vector<CEventStream::Entry> held;
  CEventStream(cds, kEvents).read(0, held);
  ASSERT_EQ(held.size(), full);
  EXPECT_EQ(held.front().number, 3U);
  const CEvent ack = event(toolkit::EVENT_ACKNOWLEDGE, 7);
  EXPECT_EQ(send(cds, std::vector(full + 1, ack)).back(), API_STORE_FULL);
  EXPECT_EQ(CEventStream(cds, kAcks).remove(1), 0);
  EXPECT_EQ(send(cds, {ack, ack}), (std::vector{API_SUCCESS, API_STORE_FULL}));
  std::uint64_t last = 0;
  EXPECT_EQ(CEventStream(cds, kAcks).last(last), 0);
  EXPECT_EQ(last, full + 1);
}

TEST_F(Events, AClientThatMayNotWriteSendsNothing) {
  CCds cds;
  cds.setReadOnly();
  EXPECT_EQ(send(cds, {event(toolkit::EVENT_PLAIN, 1)}), std::vector{API_READ_ONLY});
  cds.close();
  EXPECT_EQ(send(cds, {event(toolkit::EVENT_PLAIN, 1)}), std::vector{API_FAILED});
  std::vector<CEventStream::Entry> held(1);
  EXPECT_NE(CEventStream(cds, kEvents).read(0, held), 0);
  EXPECT_TRUE(held.empty());
  EXPECT_NE(CEventStream(cds, kEvents).remove(1), 0);
}

TEST_F(Events, AStoreWithoutTheirTableGetsIt) {
  for (const auto& file : {persistentFile(), liveFile()}) {
    MDB_env* environment = nullptr;
    mdb_env_create(&environment);
    const toolkit::store::EnvironmentHandle owner(environment);
    mdb_env_set_maxdbs(environment, 7);
    ASSERT_EQ(mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR, 0600), 0);
    MDB_txn* transaction = nullptr;
    MDB_dbi table = 0;
    mdb_txn_begin(environment, nullptr, 0, &transaction);
    ASSERT_EQ(mdb_dbi_open(transaction, "event", 0, &table), 0);
    ASSERT_EQ(mdb_drop(transaction, table, 1), 0);
    ASSERT_EQ(mdb_txn_commit(transaction), 0);
  }
  CCds cds;
  ASSERT_TRUE(cds.is_open()) << cds.last_error();
  EXPECT_EQ(text(cds, "/Alarms/7/SourcePath"), "/N/Value");
  send(cds, {event(toolkit::EVENT_PLAIN, 3)});
  EXPECT_EQ(entries(cds, kEvents), "1:3 ");
}

TEST_F(Events, CountsAddUpBetweenProcesses) {
  constexpr int kTimes = 200;
  const auto count = [](const char* path) {
    CCds cds;
    api_status_t status = API_NONE;
    int sum = 0;
    for (int i = 0; i < kTimes; ++i) cds.add_to_leaf(path, 1, &sum, status, "counter");
    return status == API_SUCCESS && sum >= kTimes ? 0 : 1;
  };
  {
    ChildProcess first([&] { return count("/Count"); });
    ChildProcess second([&] { return count("/Count"); });
    EXPECT_EQ(first.wait() + second.wait(), 0);
  }
  CCds cds;
  EXPECT_EQ(text(cds, "/Count"), std::to_string(2 * kTimes));
  EXPECT_EQ(count("/Count:.Time"), 1);
  api_status_t status = API_NONE;
  std::string writer = "old";
  EXPECT_EQ(cds.get_writer("/Count", status, writer), 0);
  EXPECT_EQ(std::pair(status, writer), std::pair(API_SUCCESS, std::string("counter")));
  EXPECT_EQ(cds.get_writer("/Gone", status, writer), 0);
  EXPECT_EQ(std::pair(status, writer), std::pair(API_NOT_FOUND, std::string()));
  EXPECT_EQ(cds.get_writer("bad", status, writer), 0);
  EXPECT_EQ(status, API_BAD_PATH);
  set(cds, "/Count", CElement(2147483647));
  int sum = 0;
  EXPECT_EQ(cds.add_to_leaf("/Count", 1, &sum, status, "counter"), 0);
  EXPECT_EQ(sum, -2147483647 - 1);
}

TEST_F(Events, ANodeIsRemovedOnlyAsItWas) {
  CCds cds;
  CElement expected(5);
  expected.set_time({1700000000, 5});
  set(cds, "/Node/Lease", expected);
  CElement later = expected;
  later.set_time({1700000000, 6});
  const struct {
    const char* node;
    const char* leaf;
    CElement element;
    api_status_t status;
  } kCases[] = {{"/Node", "/Node/Lease", CElement(5), API_NOT_FOUND},
                {"/Node", "/Node/Lease", later, API_NOT_FOUND},
                {"/Node", "/Node/Gone", expected, API_NOT_FOUND},
                {"/Node", "/Node:.Time", expected, API_BAD_PATH},
                {"Node", "/Node/Lease", expected, API_BAD_PATH},
                {"/Alarms", "/Node/Lease", expected, API_NOT_AUTHORIZED},
                {"/Node", "/Node/Lease", expected, API_SUCCESS}};
  for (const auto& test : kCases) {
    EXPECT_TRUE(cds.node_exists("/Node"));
    api_status_t status = API_NONE;
    EXPECT_EQ(cds.remove_node_if(test.node, test.leaf, test.element, status, "test"), 0);
    EXPECT_EQ(status, test.status) << test.node << " " << test.leaf;
  }
  EXPECT_FALSE(cds.node_exists("/Node"));
}

}  // namespace
