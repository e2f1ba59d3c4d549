// The publisher as a process, between a store and clients that behave well and badly; and the
// receiving program.
#include "delivery.h"
#include "message.h"
#include "publisher_fixture.h"
#include "toolkit/run_lock.h"
#include "toolkit/trees.h"

namespace {

using Publisher = PublisherTest;

TEST_F(Publisher, DeliversEachChangeOnceAndInOrderWhateverTheClientDoes) {
  Receiver witness;
  Receiver client;
  start();
  create("client", {client.uri(), {{"/A"}}});
  create("one", {witness.uri(), {{"/A"}}});
  settled(witness);  // wspub runs: its process no longer shares the receivers' sockets
  Texts expected;
  for (const Manner manner : {Manner::kAccept, Manner::kFail, Manner::kClose, Manner::kDown,
                              Manner::kSilent, Manner::kAccept}) {
    client.behave(manner);
    for (int i = 0; i < 3; ++i) {
      expected.push_back("/A = " + std::to_string(expected.size() + 1) + " (192)");
      put("/A", static_cast<double>(expected.size()));
      settled(witness);
    }
  }
  EXPECT_EQ(records(witness), expected);
  EXPECT_EQ(settled(client, "client"), expected);
  std::uint64_t next = 1;
  for (const Message& message : client.taken()) {
    EXPECT_EQ(message.sequence, next);
    next += message.records.size();
  }
}

TEST_F(Publisher, DropsTheOldestButNoFirstValuesAndTellsHowManyAreMissing) {
  std::vector<PointWish> points;
  for (int i = 0; i < 25; ++i) {
    points.push_back({"/P" + std::to_string(i)});
    put(points.back().path, i);
  }
  Receiver witness;
  Receiver client(Manner::kSilent);
  start({"--queue", "5", "--batch", "3", "--timeout", "2"});
  create("client", {client.uri(), {{"/A"}}});
  create("one", {witness.uri(), points});
  for (int value = 2; value <= 15; ++value) {
    put("/A", value);
    settled(witness);
  }
  ASSERT_TRUE(await([&] { return client.connections() >= 2; })) << "given up and tried again";
  client.behave(Manner::kAccept);
  settled(client, "client");
  EXPECT_TRUE(contains(records(client, "client").back(), " records lost = "));
  for (const Message& message : client.taken()) {
    EXPECT_LE(message.records.size(), 4U) << "three, and what is lost";
  }
  EXPECT_EQ(records(witness).size(), points.size());
}

TEST_F(Publisher, ASilentClientDelaysNobodyAndCanBeReplacedAndCancelled) {
  Receiver silent(Manner::kSilent);
  Receiver client;
  start({"--timeout", "600"});
  create("cancelled", {silent.uri(), {{"/A"}}});
  create("replaced", {silent.uri(), {{"/A"}}});
  ASSERT_TRUE(await([&] { return silent.connections() == 1; }));
  create("one", {client.uri(), {{"/A"}}});
  for (int value = 2; value < 10; ++value) {
    put("/A", value);
    settled(client);
  }
  EXPECT_EQ(silent.connections(), 1U) << "it is still silent to the first message";
  remove(subscriptionPath("cancelled"));
  count();
  create("replaced", {client.uri(), {{"/A"}}});
  EXPECT_EQ(settled(client, "replaced"), Texts{"/A = 9 (192)"});
  create("cancelled", {client.uri(), {{"/A"}}});
  EXPECT_EQ(settled(client, "cancelled"), Texts{"/A = 9 (192)"});
  EXPECT_EQ(stop(SIGTERM), 0);
}

TEST_F(Publisher, KeepsToDeadbandAndFreshnessAndTakesUpUpdates) {
  put("/A", 100);
  Receiver client;
  start();
  create("one", {client.uri(), {{"/A", 0, 10}, {"/B", 3'600'000}}});
  for (const double step : {1.0, 2.0, 3.0}) {
    settled(client);
    put("/A", 96 + 5 * step);
    put("/B", step);
  }
  settled(client);
  update("one", {{"/B", 0}, {"/C"}});
  settled(client);
  remove(subscriptionPath("one") + "/RTNodes/A");
  update("one", {});
  settled(client);
  put("/A", 200);
  put("/C", 1);
  EXPECT_EQ(settled(client), (Texts{"/A = 100 (192)", "/B = 1 (192)", "/A = 111 (192)",
                                    "/B = 3 (192)", "/C = - (0)", "/C = 1 (192)"}));
}

TEST_F(Publisher, ALeaseThatRunsOutEndsTheSubscriptionAndAHalfWrittenOneWaits) {
  Receiver client;
  const std::string half = subscriptionPath("half");
  put(half + "/ReplyURI", CElement(client.uri()));
  CElement late(1);
  late.set_time({1000, 0});
  ASSERT_EQ(set(subscriptionPath("gone") + "/LastEvent", late), API_SUCCESS);
  start();
  create("short", {.uri = client.uri(), .points = {{"/A"}}, .lease = 300});
  create("unreachable", {.uri = "ftp://127.0.0.1/", .lease = 300});
  create("one", {.uri = client.uri(), .points = {{"/A"}}, .lease = -1});
  EXPECT_TRUE(await([&] { return !exists("short") && !exists("unreachable"); }));
  put("/A", 2);
  EXPECT_EQ(settled(client).back(), "/A = 2 (192)");
  EXPECT_LE(records(client, "short").size(), 1U);
  EXPECT_FALSE(exists("gone")) << "what was left over";
  // Three creates and two ends.
  EXPECT_EQ(text("/Software/Data Servers/WS-Publisher/SubUpdateCount"), "5");

  put(half + "/RTNodeCount", CElement(0));
  count();
  settled(client);
  update("half", {{"/A"}});
  EXPECT_TRUE(await([&] { return records(client, "half") == Texts{"/A = 2 (192)"}; }));
}

TEST_F(Publisher, LongTextsAreSentWholeAndOnlyWhenTheyChange) {
  Receiver client;
  const std::string first(10000, 'a');
  const std::string second(10000, 'b');
  put("/A", CElement(first));
  start();
  create("one", {.uri = client.uri(), .points = {{"/A"}}});
  for (const std::string& text : {first, second, second}) {
    settled(client);
    put("/A", CElement(text));
  }
  EXPECT_EQ(settled(client), (Texts{"/A = " + first + " (192)", "/A = " + second + " (192)"}));
}

TEST_F(Publisher, ALeaseThatRunsOutWaitsForWhoChangesTheSubscriptions) {
  Receiver client;
  start();
  {
    const toolkit::CRunLock lock(toolkit::kSubscriptionLock, std::chrono::seconds(0));
    create("short", {.uri = client.uri(), .lease = 1});
    create("one", {.uri = client.uri(), .points = {{"/A"}}});
    EXPECT_EQ(settled(client), Texts{"/A = 1 (192)"}) << "deliveries go on";
    EXPECT_TRUE(exists("short"));
  }
  EXPECT_TRUE(await([&] { return !exists("short"); }));
}

TEST_F(Publisher, APointThatCannotBeReadIsToldOnce) {
  put("/Secret", 1);
  toolkit::admin::Model model;
  model.rights = {{"/Secret", "*", ""}, {"/Secret", "viewer", "r"}};
  ASSERT_EQ(toolkit::admin::importModel(model, false), "");
  Receiver client;
  start();
  Texts expected = {"/A:.Time = - (0)", "/Missing = - (0)", "/Secret = - (0)"};
  create("one", {client.uri(), {{"/A:.Time"}, {"/Missing"}, {"/Secret"}}});
  EXPECT_EQ(settled(client), expected);
  user = "viewer";
  create("viewer", {client.uri(), {{"/Secret"}}});
  EXPECT_EQ(settled(client, "viewer"), Texts{"/Secret = 1 (192)"});
  user = "operator";
  create("taken", {client.uri(), {}});
  user = "viewer";
  update("taken", {{"/Secret"}});
  EXPECT_EQ(settled(client, "taken"), Texts{"/Secret = - (0)"}) << "the address is another user's";
  model.rights[1].allow = "";
  ASSERT_EQ(toolkit::admin::importModel(model, false), "");
  EXPECT_TRUE(await([&] { return records(client, "viewer").back() == "/Secret = - (0)"; }));
  put("/A", 2);
  put("/Missing", 1);
  settled(client);
  remove("/Missing");
  expected.insert(expected.end(), {"/Missing = 1 (192)", "/Missing = - (0)"});
  EXPECT_EQ(settled(client), expected);
}

TEST_F(Publisher, StatesReadAsLabelsAndQualityIsTheDevices) {
  put("/Dev/NodeType", CElement("Device"));
  put("/Dev/.Quality", CElement(64));
  put("/Dev/Breaker", CElement(1));
  put("/Dev/Breaker/PossibleValues", CElement("Open;Closed"));
  put("/Dev/Door", CElement(true));
  Receiver client;
  start();
  create("not http", {client.uri().substr(7), {{"/Dev/Door"}}});
  create("one", {client.uri("HTTP"), {{"/Dev/Breaker"}, {"/Dev/Door"}}});
  settled(client);
  put("/Dev/.Quality", CElement(192));
  settled(client);
  put("/Dev/Breaker", CElement(0));
  EXPECT_EQ(settled(client), (Texts{"/Dev/Breaker = Closed [1] (64)", "/Dev/Door = true [1] (64)",
                                    "/Dev/Breaker = Closed [1] (192)", "/Dev/Door = true [1] (192)",
                                    "/Dev/Breaker = Open [0] (192)"}));
  EXPECT_EQ(records(client, "not http"), Texts());
}

using Wslisten = PublisherTest;

bool isTaken(const std::string& uri, const std::string& body) {
  wspub::Delivery delivery({});
  std::vector<wspub::Delivery::Outcome> outcomes;
  for (bool runs = delivery.start("", uri, body); runs && outcomes.empty();) {
    outcomes = delivery.drive(std::chrono::milliseconds(100));
  }
  return !outcomes.empty() && outcomes.front().accepted;
}

TEST_F(Wslisten, PrintsALineARecordAndRefusesEverythingElse) {
  const pid_t pid =
      startProcess(folder(), WSLISTEN, {"--count", "1"}, [] { setenv("TZ", "UTC", 1); });
  const auto out = [this] { return contentsOf(folder() / "out"); };
  ASSERT_TRUE(await([&] { return out().ends_with("/\n"); }));
  const std::string greeting = out();
  const std::string uri = greeting.substr(13, greeting.size() - 14);

  const wspub::Record record = {
      wspub::Value{"/B", wspub::Texts{"Open\r\xC2\x85", "0"}, 192, 58'831'250'000}};
  EXPECT_FALSE(isTaken(uri, "nonsense\x1B[2J"));
  EXPECT_TRUE(isTaken(uri, wspub::messageOf("demo\tx", {1, 0, {&record}})));
  const Outcome outcome = waitForProcess(pid, folder());
  EXPECT_EQ(outcome.out, greeting + "16:20:31.250 demo?x  /B = Open?? [0]  (quality 192)\n");
  EXPECT_EQ(outcome.err.find('\x1B'), std::string::npos);
}

}  // namespace
