// The publisher as a process, between a store and clients that behave well and badly.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "publisher_fixture.h"
#include "toolkit/admin.h"

namespace {

using toolkit::CElement;

constexpr int kHour = 3'600'000;

class Publisher : public PublisherTest {
 protected:
  // Changes the value and waits until wspub has seen it.
  void change(const std::string& path, int value, const Receiver& witness) {
    put(path, value);
    ASSERT_TRUE(awaitLast(witness, path + " = " + std::to_string(value) + " (192)"));
  }
};

TEST_F(Publisher, DeliversEachChangeOnceAndInOrderWhateverTheClientDoes) {
  Receiver witness;
  Receiver client;
  start();
  create("client", {client.uri(), {{"/A"}}});
  create("witness", {witness.uri(), {{"/A"}}});
  ASSERT_TRUE(awaitLast(witness, "/A = 1 (192)"));
  int value = 1;
  for (const Manner manner : {Manner::kAccept, Manner::kFail, Manner::kSlow, Manner::kHangUp,
                              Manner::kRedirect, Manner::kFlood, Manner::kSilent}) {
    client.behave(manner);
    for (int i = 0; i < 3; ++i) {
      change("/A", ++value, witness);
    }
  }
  client.goDown();
  change("/A", ++value, witness);
  client.comeUp();
  client.behave(Manner::kAccept);
  change("/A", ++value, witness);
  ASSERT_TRUE(awaitLast(client, records(witness).back()));
  settle(client);
  EXPECT_EQ(records(client), records(witness));
  EXPECT_EQ(records(witness).size(), static_cast<std::size_t>(value));
  std::uint64_t next = 1;
  for (const std::string& request : client.taken()) {
    const Message message = parsed(request);
    EXPECT_EQ(message.sequence, next);
    next += message.records.size();
  }
}

TEST_F(Publisher, GivesUpASilentClientAfterATimeAndTriesAgain) {
  Receiver client(Manner::kSilent);
  start({"--timeout", "1"});
  create("one", {client.uri(), {{"/A"}}});
  ASSERT_TRUE(await([&] { return client.connections() >= 2; }));
  client.behave(Manner::kAccept);
  EXPECT_TRUE(awaitLast(client, "/A = 1 (192)"));
}

TEST_F(Publisher, DropsTheOldestAndTellsHowManyAreMissing) {
  Receiver witness;
  Receiver client(Manner::kFail);
  start({"--queue", "5", "--batch", "3"});
  create("client", {client.uri(), {{"/A"}}});
  create("witness", {witness.uri(), {{"/A"}}});
  ASSERT_TRUE(awaitLast(witness, "/A = 1 (192)"));
  constexpr int kLast = 15;
  for (int value = 2; value <= kLast; ++value) {
    change("/A", value, witness);
  }
  client.behave(Manner::kAccept);
  const std::string last = "/A = " + std::to_string(kLast) + " (192)";
  ASSERT_TRUE(await([&] {
    const auto all = records(client);
    return std::ranges::find(all, last) != all.end();
  }));
  std::uint64_t next = 1;
  std::size_t lost = 0;
  for (const std::string& request : client.taken()) {
    Message message = parsed(request);
    if (const auto missing = message.sequence - next; missing > 0) {
      const std::string number = std::to_string(missing);
      EXPECT_EQ(message.records.back(), "Lost 0 /: " + number + " records lost = " + number);
      message.records.pop_back();
      lost += missing;
    }
    EXPECT_LE(message.records.size(), 3U);
    for (const std::string& record : message.records) {
      EXPECT_EQ(record, "/A = " + std::to_string(message.sequence++) + " (192)");
    }
    next = message.sequence;
  }
  EXPECT_EQ(next, kLast + 1U);
  EXPECT_GE(lost, kLast - 5U - 3U);
}

TEST_F(Publisher, SendsMoreFirstValuesThanTheQueueHolds) {
  Receiver client;
  std::vector<PointWish> points;
  for (int i = 0; i < 25; ++i) {
    points.push_back({"/P" + std::to_string(i)});
    put(points.back().path, i);
  }
  start({"--queue", "10"});
  create("one", {client.uri(), points});
  ASSERT_TRUE(await([&] { return records(client).size() >= points.size(); }));
  auto all = records(client);
  std::ranges::sort(all);
  EXPECT_EQ(std::ranges::unique(all).begin(), all.end());
  EXPECT_EQ(all.size(), points.size());
}

TEST_F(Publisher, ASilentClientDelaysNobody) {
  Receiver silent(Manner::kSilent);
  Receiver client;
  start();
  create("a", {silent.uri(), {{"/A"}}});
  ASSERT_TRUE(await([&] { return silent.attempts() == 1; }));
  create("b", {client.uri(), {{"/A"}}});
  ASSERT_TRUE(awaitLast(client, "/A = 1 (192)"));
  for (int value = 2; value < 10; ++value) {
    change("/A", value, client);
  }
  EXPECT_EQ(silent.attempts(), 1U);
  EXPECT_EQ(stop(SIGTERM), 0) << "not even its end";
}

TEST_F(Publisher, KeepsToDeadbandAndFreshness) {
  put("/A", 100);
  put("/C", 1);
  Receiver client;
  start();
  create("one", {client.uri(), {{"/A", 0, 10}, {"/B", kHour}, {"/C"}}});
  ASSERT_TRUE(awaitLast(client, "/C = 1 (192)"));
  put("/B", 2);
  put("/A", 105);
  change("/C", 2, client);
  put("/A", 111);
  put("/B", 3);
  change("/C", 3, client);
  update("one", {{"/B", 0}});
  ASSERT_TRUE(awaitLast(client, "/B = 3 (192)"));
  const std::vector<std::string> expected = {"/A = 100 (192)", "/B = 1 (192)",   "/C = 1 (192)",
                                             "/C = 2 (192)",   "/A = 111 (192)", "/C = 3 (192)",
                                             "/B = 3 (192)"};
  auto got = records(client);
  EXPECT_EQ(std::vector(got.begin(), got.begin() + 4),
            std::vector(expected.begin(), expected.begin() + 4));
  std::ranges::sort(got);
  auto sorted = expected;
  std::ranges::sort(sorted);
  EXPECT_EQ(got, sorted);
}

TEST_F(Publisher, AnUpdateAddsAndRemovesPointsAndLetsTheOthersGoOn) {
  Receiver client;
  start();
  create("one", {client.uri(), {{"/A"}}});
  ASSERT_TRUE(awaitLast(client, "/A = 1 (192)"));
  update("one", {{"/B"}});
  ASSERT_TRUE(awaitLast(client, "/B = 1 (192)"));
  update("one", {}, {"/A"});
  settle(client);
  put("/A", 9);
  change("/B", 2, client);
  EXPECT_EQ(records(client),
            (std::vector<std::string>{"/A = 1 (192)", "/B = 1 (192)", "/B = 2 (192)"}));
}

TEST_F(Publisher, ALeaseThatRunsOutEndsTheSubscription) {
  Receiver client;
  start();
  create("short", {.uri = client.uri(), .points = {{"/A"}}, .lease = 300});
  create("unreachable", {.uri = "ftp://127.0.0.1/", .points = {{"/A"}}, .lease = 300});
  create("endless", {.uri = client.uri(), .points = {{"/A"}}, .lease = -1});
  const int before = counter();
  ASSERT_TRUE(await([&] { return !exists("short") && !exists("unreachable"); }));
  EXPECT_TRUE(await([&] { return counter() == before + 2; }));
  EXPECT_TRUE(exists("endless"));
  settle(client);
  const std::size_t sent = records(client, "short").size();
  put("/A", 2);
  ASSERT_TRUE(awaitLast(client, "/A = 2 (192)"));
  settle(client);
  EXPECT_EQ(records(client, "short").size(), sent);
}

TEST_F(Publisher, AnEmptyUpdateRenewsTheLease) {
  Receiver client;
  start();
  create("one", {.uri = client.uri(), .points = {{"/A"}}, .lease = 3000});
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    update("one", {});
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_TRUE(exists("one"));
  change("/A", 2, client);
  EXPECT_EQ(records(client).size(), 2U) << "nothing was sent anew";
}

TEST_F(Publisher, CancellingStopsAtOnceAndANewSubscriptionStartsAnew) {
  Receiver client(Manner::kSilent);
  start();
  create("one", {client.uri(), {{"/A"}}});
  ASSERT_TRUE(await([&] { return client.attempts() == 1; }));
  cancel("one");
  client.behave(Manner::kAccept);
  put("/A", 2);
  settle(client);
  EXPECT_EQ(client.attempts(), 1U);
  for (int i = 0; i < 2; ++i) {
    create("one", {client.uri(), {{"/A"}}});
    ASSERT_TRUE(await([&] { return client.taken().size() == i + 1U; }));
    EXPECT_EQ(parsed(client.taken().back()).sequence, 1U);
  }
  EXPECT_EQ(records(client), (std::vector<std::string>{"/A = 2 (192)", "/A = 2 (192)"}));
}

TEST_F(Publisher, APointThatCannotBeReadIsToldOnce) {
  Receiver client;
  start();
  create("one", {client.uri(), {{"/Missing"}, {"/A:.Time"}}});
  ASSERT_TRUE(await([&] { return records(client).size() == 2; }));
  change("/Missing", 1, client);
  api_status_t status = API_NONE;
  cds.remove_node("/Missing", status, "test");
  ASSERT_TRUE(awaitLast(client, "/Missing = - (0)"));
  put("/A", 2);
  settle(client);
  auto got = records(client);
  std::sort(got.begin(), got.begin() + 2);
  EXPECT_EQ(got, (std::vector<std::string>{"/A:.Time = - (0)", "/Missing = - (0)",
                                           "/Missing = 1 (192)", "/Missing = - (0)"}));
}

TEST_F(Publisher, NobodyGetsWhatHeMayNotRead) {
  put("/Secret", 1);
  const auto allow = [](const std::string& user, const std::string& what) {
    toolkit::admin::Model model;
    model.rights = {{"/Secret", "*", ""}, {"/Secret", user, what}};
    ASSERT_EQ(toolkit::admin::importModel(model, false), "");
  };
  allow("viewer", "r");
  Receiver client;
  start();
  create("operator", {client.uri(), {{"/Secret"}}});
  create("nobody", {.uri = client.uri(), .points = {{"/Secret"}}, .user = "anonymous"});
  create("viewer", {.uri = client.uri(), .points = {{"/Secret"}}, .user = "viewer"});
  ASSERT_TRUE(await([&] { return records(client).size() == 3; }));
  for (const char* id : {"operator", "nobody"}) {
    EXPECT_EQ(records(client, id), std::vector<std::string>{"/Secret = - (0)"}) << id;
  }
  EXPECT_EQ(records(client, "viewer"), std::vector<std::string>{"/Secret = 1 (192)"});
  allow("operator", "r");
  EXPECT_TRUE(await([&] { return records(client, "operator").back() == "/Secret = 1 (192)"; }));
  allow("operator", "");
  EXPECT_TRUE(await([&] { return records(client, "operator").back() == "/Secret = - (0)"; }));
}

TEST_F(Publisher, StatesReadAsLabelsAndQualityIsTheDevices) {
  put("/Dev/NodeType", CElement("Device"));
  put("/Dev/.Quality", CElement(64));
  put("/Dev/Breaker", CElement(1));
  put("/Dev/Breaker/PossibleValues", CElement("Open;Closed"));
  put("/Dev/Door", CElement(true));
  put("/Dev/Name", CElement("x\x01<\xC3(\xE2\x82\xAC"));
  Receiver client;
  start();
  create("one", {client.uri(),
                 {{"/Dev/Breaker"}, {"/Dev/Door"}, {"/Dev/Name"}, {"/Dev/Door:PossibleValues"}}});
  ASSERT_TRUE(await([&] { return records(client).size() == 4; }));
  put("/Dev/.Quality", CElement(192));
  ASSERT_TRUE(await([&] { return records(client).size() == 7; }));
  put("/Dev/Breaker", CElement(0));
  ASSERT_TRUE(awaitLast(client, "/Dev/Breaker = Open [0] (192)"));
  auto got = records(client);
  std::ranges::sort(got);
  EXPECT_EQ(got, (std::vector<std::string>{
                     "/Dev/Breaker = Closed [1] (192)", "/Dev/Breaker = Closed [1] (64)",
                     "/Dev/Breaker = Open [0] (192)", "/Dev/Door = true [1] (192)",
                     "/Dev/Door = true [1] (64)", "/Dev/Door:PossibleValues = - (0)",
                     "/Dev/Name = x?<?(\xE2\x82\xAC (192)", "/Dev/Name = x?<?(\xE2\x82\xAC (64)"}));
}

TEST_F(Publisher, OnlyHttpAddressesAreOpened) {
  Receiver client;
  start();
  const std::string file = folder() / "target";
  int number = 0;
  for (const std::string& uri :
       {client.uri("ftp"), client.uri("telnet"), client.uri("gopher"), client.uri().substr(7),
        "file://" + file, std::string(), std::string("http"), std::string(" ")}) {
    create(std::to_string(++number), {uri, {{"/A"}}});
  }
  create("good", {client.uri("HTTP"), {{"/A"}}});
  ASSERT_TRUE(awaitLast(client, "/A = 1 (192)"));
  settle(client);
  EXPECT_EQ(client.connections(), 1U);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Publisher, EndsOnASignalAndTakesItsWatchdogWithIt) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    start();
    std::vector<toolkit::admin::Watchdog> watched;
    EXPECT_TRUE(
        await([&] { return toolkit::admin::watchdogs(watched).empty() && watched.size() == 1; }));
    EXPECT_EQ(watched.front().name, "wspub");
    EXPECT_EQ(stop(signal), 0);
    EXPECT_TRUE(toolkit::admin::watchdogs(watched).empty() && watched.empty());
  }
}

TEST_F(Publisher, WhatIsWrittenToARemovedSubscriptionIsClearedAway) {
  CElement late(1);
  late.set_time({1000, 0});
  ASSERT_EQ(set(cds, subscriptionPath("gone") + "/LastEvent", late), API_SUCCESS);
  put(subscriptionPath("young") + "/LastEvent", CElement(1));
  Receiver client;
  start();
  create("one", {client.uri(), {{"/A"}}});
  EXPECT_TRUE(await([&] { return !exists("gone"); }));
  EXPECT_TRUE(exists("young"));
}

}  // namespace
