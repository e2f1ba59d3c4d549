// Several processes on the socket of a supervisor, and requests that hold one for long.
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <deque>

#include "service_fixture.h"
#include "toolkit/run_lock.h"
#include "toolkit/trees.h"

namespace {

class Workers : public ServiceTest {
 protected:
  Workers() {
    Leaves texts;
    for (int i = 0; i < 100; ++i) {
      texts.push_back(leafAt("/M1/Long" + std::to_string(i), std::string(100000, 'a')));
    }
    import(texts);
  }
  ~Workers() override {
    for (const pid_t pid : others_) {
      end(pid, SIGKILL);
    }
    close(listener_);
  }

  void listen() {
    listener_ = boundSocket(socketPath(), SOCK_STREAM);
    ASSERT_EQ(::listen(listener_, 100), 0);
    ASSERT_EQ(chmod(socketPath().c_str(), 0600), 0);
  }
  void prepareWorker(const std::string& number) {
    prepareWith([this, number] {
      dup2(listener_, STDIN_FILENO);
      setenv("DRAVIXD_WORKER", number.c_str(), 1);
    });
  }
  void startWorker(const std::string& number) {
    prepareWorker(number);
    others_.push_back(startBeside());
    EXPECT_TRUE(await([&] { return appStatus("-" + number) == "4"; }));
  }
  Outcome end(pid_t pid, int signal) const {
    kill(pid, signal);
    return waitForProcess(pid, root());
  }
  // A search that takes all the time that it may.
  static std::string search() {
    const std::string children = tags({{"startingPath", "/M1"},
                                       {"attribMatch", "Value"},
                                       {"regexMatchPattern", "(.*)\\1\\1b"},
                                       {"bRecursive", "true"}});
    return encodedRequest({{"REMOTE_USER", "operator"}, {"REMOTE_ADDR", "192.0.2.1"}},
                          envelope("findAttributeMatches", children, "TarnixWSVK"));
  }

  int listener_ = -1;
  std::vector<pid_t> others_;
};

TEST_F(Workers, ShareASocketAndTheStore) {
  listen();
  startWorker("1");
  startWorker("2");
  EXPECT_TRUE(contains(log(), "FCGI app listening at the supervisor's socket [0]"));
  for (int i = 0; i < 50; ++i) {
    set("/M1/Count", std::to_string(i));
    EXPECT_EQ(value("/M1/Count"), std::to_string(i));
  }
  EXPECT_EQ(end(others_[0], SIGTERM).status, 0);
  EXPECT_EQ(appStatus("-1"), "2");
  EXPECT_EQ(appStatus("-2"), "4");
  EXPECT_EQ(end(others_[1], SIGKILL).status, 128 + SIGKILL);
  others_.clear();
  const SilentPeer waiting(socketPath(), encodedRequest({}, envelope("getDefaultLocale", "")));
  startWorker("2");
  EXPECT_TRUE(contains(waiting.reply().body(), "getDefaultLocaleResult"));
  EXPECT_EQ(end(others_[0], SIGTERM).status, 0);
  others_.clear();
  struct stat status = {};
  EXPECT_EQ(stat(socketPath().c_str(), &status), 0) << "it is the supervisor's";
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(Workers, AWorkerInTheBackgroundKeepsTheSocket) {
  listen();
  prepareWorker("7");
  const pid_t daemon = startDaemon("the supervisor's socket");
  EXPECT_EQ(value("/M1/Count"), "42");
  ASSERT_EQ(watchdogs().size(), 1U);
  EXPECT_EQ(watchdogs().front().name, "dravixd-7");
  kill(daemon, SIGTERM);
  awaitLog("Exiting dravixd");
}

TEST_F(Workers, AnyOtherDescriptor0IsNoneAndANumberThatIsNoneEndsTheStart) {
  int ends[2];
  const std::function<void()> kCases[] = {
      [] { dup2(open("/dev/null", O_RDWR), 0); }, [] { close(0); },
      [&] { dup2(pipe(ends) == 0 ? ends[0] : -1, 0); },
      [&] { dup2(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 ? ends[0] : -1, 0); },
      [] { dup2(socket(AF_INET, SOCK_STREAM, 0), 0); }};
  for (const auto& prepare : kCases) {
    prepareWith(prepare);
    start();
    EXPECT_EQ(value("/M1/Count"), "42");
    EXPECT_EQ(stop(SIGTERM).status, 0);
  }
  for (const char* number : {"0", "65", "x", "1x", "-1"}) {
    prepareWith([&] { setenv("DRAVIXD_WORKER", number, 1); });
    const Outcome outcome = run({"-d"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.err, "DRAVIXD_WORKER must be a number from 1 to 64"));
  }
}

TEST_F(Workers, OneClientsLongRequestsLeaveAWorkerToTheOthers) {
  listen();
  startWorker("1");
  startWorker("2");
  std::deque<SilentPeer> searches;
  for (int i = 0; i < 6; ++i) {
    searches.emplace_back(socketPath(), search());
  }
  EXPECT_EQ(value("/M1/Count", "", "viewer"), "42");
  // One goes on. Those that were begun beside it made room, until it was known whose they are.
  EXPECT_EQ(searches.back().reply().status(), 503);
  EXPECT_TRUE(contains(log(), "refused another"));
  EXPECT_TRUE(contains(log(), "Other clients wait for the service"));
}

TEST_F(Workers, WhoEndsOneByAnAssertionIsKeptFromTheNext) {
  listen();
  startWorker("1");
  // Without the path that it asserts.
  const auto trip = [this] { return post(envelope("RemoveNode", "", "TarnixWSTest"), "viewer"); };
  EXPECT_FALSE(trip().complete);
  EXPECT_EQ(waitForProcess(others_.front(), root()).status, SIGABRT);
  others_.clear();
  startWorker("1");
  EXPECT_EQ(trip().status(), 503);
  EXPECT_EQ(value("/M1/Count"), "42") << "of another client";
  EXPECT_TRUE(await([&] { return !trip().complete; })) << "not for ever";
}

TEST_F(Workers, WhatNobodyWaitsForIsNotDone) {
  start();
  {
    const SilentPeer holder(socketPath(), search());
    awaitLog("connection 2 for operator");
    const std::string write = tags({{"n:path", "/M1/Count"}, {"n:value", "43"}});
    const SilentPeer writer(
        socketPath(), encodedRequest({{"REMOTE_USER", "operator"}}, envelope("setValue", write)));
  }
  EXPECT_EQ(value("/M1/Count"), "42") << "the search ended, the write did not begin";
  EXPECT_TRUE(contains(log(), "Nobody waits for the request"));
}

TEST_F(Workers, CreatingOneSubscriptionTwiceAtATimeMixesNoPoints) {
  listen();
  startWorker("1");
  startWorker("2");
  const auto creation = [](const std::string& name) {
    std::string points;
    for (int i = 0; i < 600; ++i) {
      points += point("/" + name + std::to_string(i));
    }
    return encodedRequest({{"REMOTE_USER", name}},
                          envelope("createSubscription", tags({{"n:subscriptionId", "one"},
                                                               {"n:realTimeNodes", points}})));
  };
  const std::string first = creation("A");
  const std::string second = creation("B");
  for (int i = 0; i < 10; ++i) {
    const SilentPeer one(socketPath(), first);
    const SilentPeer other(socketPath(), second);
    EXPECT_TRUE(contains(one.reply().body(), "createSubscriptionResult"));
    EXPECT_TRUE(contains(other.reply().body(), "createSubscriptionResult"));
    const std::string points =
        stored(std::string(toolkit::kSubscriptionsPath) + "/one/RTNodes:Children");
    EXPECT_EQ(std::count(points.begin(), points.end(), ';'), 599);
    EXPECT_NE(contains(points, "A0"), contains(points, "B0"));
  }
}

TEST_F(Workers, WhoHoldsTheSubscriptionsIsWaitedForOnlySoLong) {
  listen();
  const Texts operations = {"createSubscription", "updateSubscriptionRealTimeNodes",
                            "cancelSubscription"};
  const std::string id = tags({{"n:subscriptionId", "one"}});
  std::deque<SilentPeer> waiting;
  {
    const toolkit::CRunLock other(toolkit::kSubscriptionLock, std::chrono::seconds(0));
    for (const std::string& operation : operations) {
      startWorker(std::to_string(waiting.size() + 1));
      waiting.emplace_back(socketPath(),
                           encodedRequest({{"REMOTE_USER", operation}}, envelope(operation, id)));
    }
    for (const SilentPeer& peer : waiting) {
      EXPECT_TRUE(contains(peer.reply().body(), "The subscriptions are being changed"));
    }
  }
  EXPECT_TRUE(contains(call("createSubscription", id), "createSubscriptionResponse"));
  std::filesystem::remove(root() / "run" / toolkit::kSubscriptionLock);
  std::filesystem::create_directory(root() / "run" / toolkit::kSubscriptionLock);
  EXPECT_TRUE(contains(call("cancelSubscription", id), "cancelSubscriptionResponse"))
      << "also where there is no lock";
}

}  // namespace
