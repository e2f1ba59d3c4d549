// Subscriptions and acknowledgements over the real socket: what other processes then find in the
// store.
#include "service_fixture.h"
#include "toolkit/event_stream.h"
#include "toolkit/time.h"

namespace {

using toolkit::CEvent;
using toolkit::CEventStream;

constexpr const char* kPublisher = "/Software/Data Servers/WS-Publisher";
const std::string kFolder = std::string(kPublisher) + "/Subscriptions";

std::string id(const std::string& text) {
  return tags({{"n:subscriptionId", text}});
}

class Subscriptions : public ServiceTest {
 protected:
  Subscriptions() {
    start();
    EXPECT_EQ(cds_.init(), 0) << cds_.last_error();
  }

  std::string create(const std::string& name, const std::string& points,
                     const std::string& more = "") const {
    return call("createSubscription", id(name) + more + tags({{"n:realTimeNodes", points}}));
  }
  std::string update(const std::string& name, const Texts& add, const Texts& remove) const {
    std::string points;
    for (const std::string& path : add) {
      points += point(path);
    }
    const Pairs lists = {{"n:realTimeNodesToAdd", points},
                         {"n:realTimeNodesToRemove", tagged("n:string", remove)}};
    return call("updateSubscriptionRealTimeNodes", id(name) + tags(lists));
  }
  FastCgiReply cancel(const std::string& name) const {
    return post(envelope("cancelSubscription", id(name)));
  }

  std::string stored(const std::string& path) { return StoreTest::text(cds_, kPublisher + path); }
  std::string inDemo(const std::string& path) { return stored("/Subscriptions/demo" + path); }
  void expectInDemo(const Pairs& expected) {
    for (const auto& [path, text] : expected) {
      EXPECT_EQ(inDemo(path), text) << path;
    }
  }

  toolkit::CCds cds_;
};

TEST_F(Subscriptions, CreateLeavesTheWholeTreeAndAbsentElementsTakeDefaults) {
  const std::string reply =
      create("demo",
             point("/M1/Va", tags({{"n:RequestedFreshness", "500"}, {"n:DeadbandPercent", "0.5"}})),
             tags({{"n:replyUri", "http://192.0.2.1/x?a=1&amp;b=2"},
                   {"n:leaseDuration", "60000"},
                   {"n:logSinceTime", "1700000000250000"},
                   {"n:subscribeLogOptions", "Alarm"},
                   {"n:other", ""},
                   {"n:subscribeLogOptions", "Trend"}}));
  EXPECT_EQ(elements(reply, "Value"), Texts{"230.123"});
  const Pairs tree = {
      {"/ReplyURI", "http://192.0.2.1/x?a=1&b=2"}, {"/LeaseDuration", "60000"},
      {"/LogSinceTime", "1700000000.250000"},      {"/LogOptions", "5"},
      {"/RTNodes:HasDynamicChildren", "true"},     {"/RTNodes:Children", "M1.Va"},
      {"/RTNodes/M1.Va:NodeType", "Collection"},   {"/RTNodes/M1.Va/RqstdFreshness", "500"},
      {"/RTNodes/M1.Va/Deadband", "0.5"},          {"/RTNodes/M1.Va/Deadband:Units", "percent"}};
  expectInDemo(tree);
  EXPECT_EQ(stored("/SubUpdateCount"), "1");
  std::string writer;
  api_status_t status = API_NONE;
  cds_.get_writer(kFolder + "/demo/RTNodes/M1.Va/Deadband", status, writer);
  EXPECT_EQ(CEvent::user_of_source(writer), "operator") << writer;
  CEvent::format_source_string(writer, "WS", "", "");
  EXPECT_EQ(writer, "WS: anonymous");
  EXPECT_TRUE(contains(call("createSubscription", id("demo")), "xsi:nil=\"true\""));
  expectInDemo({{"/ReplyURI", ""}, {"/LeaseDuration", "0"}});
  expectInDemo({{"/LogSinceTime", "0.000000"}, {"/RTNodes:Children", ""}});
}

TEST_F(Subscriptions, AnswersWithAReadingOfEachPoint) {
  const std::int64_t before = qel_UTCtime64();
  const std::string reply =
      create("demo", point("/M1/Breaker") + point("") + point("/M1/Enabled") + point("/") +
                         "<n:NodeSubscription/>" + point("/No/Such") + point("/Bad//path") +
                         point("/Units") + point("/M1/Count:.Time") + point("/Secret/Value1") +
                         point("/M1/" + std::string(300, 'x')));
  EXPECT_EQ(elements(reply, "Value"),
            (Texts{"Closed", "Enabled", "? 9 Node Not Found : CDS access failed",
                   "? 8 Bad Path Syntax : CDS Error in supplied path", "1700000000500000",
                   "? 2 Not Authorized : Unauthorized read"}));
  EXPECT_EQ(elements(reply, "NumericValue"), (Texts{"1", "1"}));
  EXPECT_EQ(elements(reply, "Quality"), (Texts{"192", "192", "0", "0", "192", "192"}));
  const Texts times = elements(reply, "Time");
  EXPECT_EQ(times.at(0), "1700000000500000");
  EXPECT_GE(std::stoll(times.at(2)), before) << "a failed reading has the present time";
  EXPECT_EQ(inDemo("/RTNodeCount"), "6");
  EXPECT_EQ(inDemo("/RTNodes:Children"),
            "?||Bad||path;M1.Breaker;M1.Count!..Time;M1.Enabled;No.Such;Secret.Value1");
  update("demo", {"M1;", "/:&#9;"}, {"/Bad//path"});
  EXPECT_EQ(inDemo("/RTNodeCount"), "7") << inDemo("/RTNodes:Children");
}

TEST_F(Subscriptions, CreateReplacesUpdateChangesCancelRemoves) {
  create("demo", point("/M1/Va") + point("/M1/Count"));
  create("other", point("/M1/Va"));
  create("demo", point("/M1/Text") + point("/M1/Text", "<n:DeadbandPercent>3</n:DeadbandPercent>"));
  // A create counts results.
  expectInDemo({{"/RTNodes:Children", "M1.Text"},
                {"/RTNodeCount", "2"},
                {"/RTNodes/M1.Text/Deadband", "3"}});
  EXPECT_EQ(
      elements(update("demo", {"/M1/Count", "/M1/Va"}, {"/M1/Text", "/", "", "/M1/No"}), "Value"),
      (Texts{"42", "230.123"}));
  expectInDemo({{"/RTNodes:Children", "M1.Count;M1.Va"}, {"/RTNodeCount", "2"}});
  EXPECT_EQ(stored("/SubUpdateCount"), "3") << "an update does not count";
  EXPECT_TRUE(contains(update("demo", {}, {"/M1/Count", "/M1/Va"}), "xsi:nil"));
  EXPECT_EQ(inDemo("/RTNodeCount"), "0");
  EXPECT_EQ(cancel("demo").status(), 200);
  const FastCgiReply again = cancel("demo");
  EXPECT_EQ(again.status(), 500);
  EXPECT_TRUE(contains(again.body(), "No such subscription"));
  EXPECT_EQ(stored("/SubUpdateCount"), "4");
  EXPECT_EQ(elements(update("demo", {"/M1/Va"}, {}), "Value"),
            Texts{"? 28 No match for SubscriberId : updateSubscriptionRealTimeNodes() failed"});
  EXPECT_EQ(stored("/Subscriptions:Children"), "other");
}

TEST_F(Subscriptions, AnIdReachesNothingButItsOwnNode) {
  create("demo", point("/M1/Va"));
  toolkit::admin::Model before;
  ASSERT_EQ(toolkit::admin::exportModel(kFolder, before), "");
  for (const char* bad :
       {"/", ".", "..", "demo/", "demo/RTNodes", "/demo", "Value", "demo:Value", "a&#10;b"}) {
    EXPECT_EQ(cancel(bad).status(), 500) << bad;
    EXPECT_TRUE(contains(create(bad, point("/M1/Count")), "Fault")) << bad;
    const Texts refused = elements(update(bad, {"/M1/Count"}, {"/M1/Va"}), "Value");
    EXPECT_EQ(refused.at(0).substr(0, 4), "? 28") << bad;
  }
  EXPECT_EQ(cancel("").status(), 500);
  EXPECT_EQ(elements(create("", point("/M1/Count")), "Value"), Texts{});
  EXPECT_TRUE(contains(update("", {"/M1/Count"}, {}), "Fault"));
  toolkit::admin::Model after;
  ASSERT_EQ(toolkit::admin::exportModel(kFolder, after), "");
  expectSame(before, after);
}

TEST_F(Subscriptions, ListTheirPoints) {
  create("demo", point("/M1/Va") + point("/M1/Count"));
  create("none", "");
  const std::string refusal = "? 28 No match for SubscriberId";
  const auto listed = [this](const char* name) {
    const FastCgiReply reply = post(envelope("getSubscribedNodes", id(name), "TarnixWSTest"));
    EXPECT_EQ(reply.status(), 200) << name;
    return elements(reply.body(), "getSubscribedNodesResult");
  };
  EXPECT_EQ(listed("demo"), (Texts{"/M1/Count", "/M1/Va"}));
  EXPECT_EQ(listed("none"), Texts{});
  EXPECT_EQ(listed("other"), Texts{refusal + " : other"});
  EXPECT_EQ(listed("demo/RTNodes"), Texts{refusal + " : demo/RTNodes"});
  EXPECT_EQ(listed(""), Texts{refusal});
}

TEST_F(Subscriptions, LongIdsAreCutBetweenCharacters) {
  const std::string name(255 - kFolder.size() - 2, 'x');  // with room for one byte more
  EXPECT_FALSE(contains(create(name + "é" + std::string(600, 'y'), point("/M1/Va")), "Fault"));
  EXPECT_EQ(stored("/Subscriptions:Children"), name);
  EXPECT_EQ(cancel(name).status(), 200);
  EXPECT_EQ(cancel(std::string(600, 'y')).status(), 500);
}

TEST_F(Subscriptions, TakeNoMoreThanTheirBounds) {
  const auto createAs = [&](const std::string& user, const std::string& name, std::size_t uri = 9) {
    const std::string text = tags({{"n:replyUri", std::string(uri, 'u')}});
    return call("createSubscription", id(name) + text, user);
  };
  EXPECT_TRUE(contains(createAs("ann", "demo", 2049), ">replyUri longer than 2048 bytes<"));
  EXPECT_EQ(stored("/Subscriptions:Children"), "status 2") << "nothing half done";
  createAs("ann", "demo", 2048);
  EXPECT_EQ(inDemo("/ReplyURI"), std::string(2048, 'u'));
  for (const auto& [user, count] : {std::pair("ann", 63), {"bob", 64}, {"", 64}, {"joe", 64}}) {
    for (int i = 0; i < count; ++i) {
      ASSERT_FALSE(contains(createAs(user, user + std::to_string(i)), "Fault")) << i;
    }
  }
  const std::string before = stored("/Subscriptions:Children");
  EXPECT_TRUE(contains(createAs("ann", "x"), ">No more than 64 subscriptions for one user<"));
  EXPECT_TRUE(contains(createAs("sue", "x"), ">No more than 256 subscriptions<"));
  EXPECT_EQ(stored("/Subscriptions:Children"), before);
  EXPECT_FALSE(contains(createAs("ann", "demo"), "Fault")) << "in its own place";
  EXPECT_EQ(cancel("demo").status(), 200);
  EXPECT_FALSE(contains(createAs("ann", "x"), "Fault"));
}

TEST_F(Subscriptions, PointsBeyondTheBoundsAreLeftOut) {
  const auto tally = [&](const std::string& name, int count) {
    api_status_t status = API_NONE;
    cds_.set_leaf(kFolder + "/" + name + "/RTNodes:PointCount", toolkit::CElement(count), status,
                  PCD_FALSE, "test");
  };
  for (const char* name : {"demo", "other", "third"}) {
    call("createSubscription", id(name), name == std::string("third") ? "ann" : "operator");
  }
  const auto added = [&](int own, int other, int third) {
    create("demo", "");
    tally("demo", own);
    tally("other", other);
    tally("third", third);
    return elements(update("demo", {"/M1/Va", "/M1/Va", "/M1/Count", "/M1/Text"}, {}), "Value");
  };
  const Texts all = {"230.123", "230.123", "42", "é 漢 😀 <&>"};
  EXPECT_EQ(added(0, 0, 0), all);
  EXPECT_EQ(inDemo("/RTNodes:PointCount"), "3");
  EXPECT_EQ(added(20000 - 4, 0, 0), all);
  EXPECT_EQ(added(20000 - 2, 0, 0), (Texts{"230.123", "230.123"})) << "of a subscription";
  EXPECT_EQ(added(10000 - 3, 20000, 0).size(), 3U) << "of a user";
  EXPECT_EQ(added(10000 - 1, 20000, 20000).size(), 1U);
  EXPECT_EQ(added(10000, 20000, 20000).size(), 0U);
  EXPECT_EQ(added(9000, 20000, 21000).size(), 0U) << "of all";
  tally("third", 0);
  tally("other", 30000 - 2);
  const std::string points = point("/M1/Va") + point("/M1/Count") + point("/M1/Text");
  EXPECT_EQ(elements(create("demo", points), "Value").size(), 2U);
  EXPECT_EQ(inDemo("/RTNodeCount"), "2");
}

class Acknowledgements : public Subscriptions {
 protected:
  Acknowledgements() {
    api_status_t status = API_NONE;
    cds_.add_node("/Alarms/7", status, "test");
  }
  static std::string request(const std::string& number, const std::string& more = "") {
    return tags({{"n:AckRequest", tags({{"n:EventId", number}}) + more}});
  }
  std::string acknowledge(const std::string& requests, const std::string& user = "operator") const {
    return call("acknowledgeAlarm", tags({{"n:requests", requests}}), user);
  }
  std::vector<CEventStream::Entry> queue() {
    std::vector<CEventStream::Entry> entries;
    EXPECT_EQ(CEventStream(cds_, CEventStream::kAcknowledgements).read(0, entries), 0);
    return entries;
  }
};

TEST_F(Acknowledgements, AreQueuedForTheAlarmEngine) {
  const std::string note =
      tags({{"n:Note", "fuse &amp; relay"}, {"n:VariationLevel", "-2"}, {"n:Status", "Acked"}});
  const std::int64_t before = qel_UTCtime64() / 1000000;
  const std::string reply = acknowledge(request("8") + request("7", note) +
                                        request("18446744073709551615") + request("7"));
  const std::string refused = "? 20 Write Failed : CDS event_send failed";
  EXPECT_EQ(elements(reply, "acknowledgeAlarmResult"), (Texts{refused, "", refused, ""}));
  const auto entries = queue();
  ASSERT_EQ(entries.size(), 2U);
  CEvent expected;
  expected.type = toolkit::EVENT_ACKNOWLEDGE;
  expected.path = "/";
  expected.priority = 10;
  expected.severity = 1;
  expected.flag = true;
  expected.id = 7;
  expected.ack = toolkit::ACK_ACKED;
  expected.variation = -2;
  expected.note = "fuse & relay";
  expected.source = "Web-Services: operator@192.0.2.1";
  expected.time = entries[0].event.time;
  EXPECT_GE(expected.time.tv_sec, before);
  EXPECT_EQ(entries[0].event, expected);
  EXPECT_EQ(entries[1].event.note, "");
}

TEST_F(Acknowledgements, WithoutACallerOrARequestOrWithALongNoteAreRefused) {
  EXPECT_TRUE(contains(acknowledge(""), "Client</faultcode><faultstring>No requests<"));
  EXPECT_TRUE(contains(acknowledge(request("7"), ""),
                       "Server</faultcode><faultstring>No user or address from the web server<"));
  EXPECT_TRUE(queue().empty());
  const auto note = [](std::size_t size) { return tags({{"n:Note", std::string(size, 'x')}}); };
  const std::string reply = acknowledge(request("7", note(4097)) + request("7", note(4096)));
  EXPECT_EQ(elements(reply, "acknowledgeAlarmResult"),
            (Texts{"? 20 Write Failed : Note longer than 4096 bytes", ""}));
  ASSERT_EQ(queue().size(), 1U);
  EXPECT_EQ(queue().front().event.note.size(), 4096U);
}

}  // namespace
