// Life of the process: start, signals, background, crash, a store that is not there.
#include <sys/resource.h>
#include <sys/socket.h>

#include <future>
#include <limits>

#include "front/process.h"
#include "front/timer.h"
#include "handler_fixture.h"
#include "store/store.h"
#include "toolkit/time.h"

namespace {

using Process = ServiceTest;

TEST_F(Process, TerminationSignalsEndItInOrder) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    start();
    EXPECT_EQ(appStatus(), "4");
    EXPECT_TRUE(watchdogs().empty()) << "-d stays out of the watchdog's sight";
    EXPECT_EQ(stop(signal).status, 0);
    EXPECT_EQ(appStatus(), "2");
    EXPECT_TRUE(contains(log(), "Caught term signal, exiting soap_serve loop now..."));
  }
}

TEST_F(Process, APeerThatLeavesEarlyDelaysNobodyAndOneThatStallsIsGivenUp) {
  start();
  for (const std::string& bytes : {std::string(), std::string("\1\1\0\1", 4)}) {
    { const SilentPeer left(socketPath(), bytes); }
    EXPECT_EQ(value("/M1/Count"), "42");
    { const SilentPeer left(socketPath(), bytes); }
  }
  EXPECT_EQ(stop(SIGTERM).status, 0) << "the signal is heard after such a peer";
  import({leafAt("/M1/Large", std::string(900000, 'x'))});
  start();
  const std::string request =
      encodedRequest({}, envelope("getValue", "<n:path>/M1/Large</n:path>"));
  const SilentPeer writer(socketPath(), request.substr(0, request.size() - 90));
  EXPECT_EQ(value("/M1/Count"), "42") << "after a request that does not end";
  const SilentPeer reader(socketPath(), request);
  EXPECT_EQ(value("/M1/Count"), "42") << "after a reply that nobody reads";
  // The engine's buffer is full with the envelope's end: it asks for no more.
  std::string body = envelope("getValue", "<n:path>/M1/Large</n:path>");
  body.insert(0, SOAP_BUFLEN - body.size(), ' ');
  const std::string endless = encodedRequest({}, body);
  SilentPeer taker(socketPath(), endless.substr(0, endless.size() - 8));
  const auto taken = std::async(std::launch::async, [&taker] { return taker.reply(); });
  EXPECT_EQ(value("/M1/Count"), "42") << "after a large reply to a request that does not end";
  const SilentPeer silent(socketPath(), "\1");
  EXPECT_EQ(value("/M1/Count"), "42") << "after a byte and silence";
}

TEST_F(Process, AFailedAcceptEndsTheLoopInOrder) {
  start();
  const rlimit none = {0, 0};
  ASSERT_EQ(prlimit(pid(), RLIMIT_NOFILE, &none, nullptr), 0);
  fastCgiRequest(socketPath(), {}, "");
  waitForEnd();  // a sanitizer's own exit needs descriptors too: the log tells how it ended
  EXPECT_TRUE(contains(log(), "Error in Accept(), exiting now..."));
  EXPECT_TRUE(contains(log(), "Exiting dravixd"));
  EXPECT_EQ(appStatus(), "2");
}

TEST_F(Process, CrashesLeaveABacktraceAndTheSignalsNumber) {
  for (const int signal : {SIGQUIT, SIGSEGV}) {
    start();
    const Outcome outcome = stop(signal);
    EXPECT_EQ(outcome.status, signal);
    const std::string name = strsignal(signal);
    EXPECT_TRUE(contains(outcome.err, "UTIL_printBacktrace"));
    EXPECT_TRUE(contains(outcome.err, "###### BACK TRACE END (" + name + ") ######\n"));
  }
}

TEST_F(Process, SocketIsOpenToTheGroupAndAStaleOneIsReplaced) {
  start();
  EXPECT_EQ(fs::status(socketPath()).permissions(), fs::perms(0660));
  EXPECT_EQ(stop(SIGKILL).status, 128 + SIGKILL);
  EXPECT_TRUE(fs::exists(socketPath())) << "left behind by the kill";
  start();
  EXPECT_EQ(value("/M1/Count"), "42");
}

TEST_F(Process, RunsInTheBackgroundUnderTheWatchdogAndASecondStartLeavesItAlone) {
  const pid_t daemon = startDaemon("socket /tmp/dravixd.socket");
  EXPECT_EQ(value("/M1/Count"), "42") << "the store opened before the fork works after it";
  EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(daemon) + "/cwd"), "/");
  ASSERT_EQ(watchdogs().size(), 1U);
  EXPECT_EQ(watchdogs().front().name, "dravixd");
  EXPECT_EQ(watchdogs().front().periodSeconds, 90);
  const char* connections = "/Software/Data Servers/Connections/BACnet WebServices:Children";
  EXPECT_TRUE(await([&] { return stored(connections) == "1"; }));
  for (const Texts& arguments : {Texts{"-d"}, Texts{}}) {
    const Outcome second = run(arguments);
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(contains(second.err, "another process is serving at socket /tmp/dravixd.socket"));
    EXPECT_EQ(appStatus(), "4");
    EXPECT_EQ(watchdogs().size(), 1U);
    EXPECT_EQ(stored(connections), "1") << "the client of the first one";
  }
  EXPECT_EQ(value("/M1/Count"), "42");
  kill(daemon, SIGTERM);
  awaitLog("Exiting dravixd");
  EXPECT_TRUE(watchdogs().empty());
}

TEST_F(Process, ASocketThatCannotBeHadEndsTheStartInOrder) {
  fs::create_directory(socketPath());
  EXPECT_EQ(run({"-d"}).status, 1);
  EXPECT_TRUE(contains(log(), "Cannot listen at socket /tmp/dravixd.socket"));
  EXPECT_TRUE(contains(log(), "Exiting dravixd"));
  EXPECT_EQ(appStatus(), "2");
}

TEST_F(Process, ABadCommandLineNamesTheWordAndStartsNothing) {
  const std::pair<Texts, const char*> kCases[] = {
      {{"-h"}, "Missing field for: -h \nUsage: dravixd [-h deltaLog]  [-a eventLog] \n"},
      {{"-a", ""}, "Bad field:  \nUsage"},
      {{"-m", "-1"}, "Bad field: -1 \nUsage"},
      {{"-p", "0"}, "Bad field: 0 \nUsage"},
      {{"-l", "x"}, "Bad field: x \nUsage"},
      {{"-D", "2x"}, "Bad field: 2x \nUsage"},
      {{"-m", "99999999999999999999", "-D", "2"}, "Bad field: 2 \nUsage"},
      {{"-d", "bogus", "-x"}, "Unknown parameter: bogus \nUnknown parameter: -x \nUsage"}};
  for (const auto& [words, out] : kCases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, 1) << out;
    EXPECT_TRUE(outcome.out.starts_with(out)) << outcome.out;
    EXPECT_FALSE(fs::exists(socketPath()));
  }
  const Outcome version = run({"-v", "bogus"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(version.out.ends_with("\n$Revision: 64713 $\n\n")) << version.out;
  start({"-h",   "-d", "-a",  "a.db", "-s",       "s.db", "-t",     "t.db", "-m", "50x", "-p",
         "4096", "-c", "100", "-l",   "99999999", "-w",   "/waves", "-D",   "9",  "-d"});
  EXPECT_EQ(value("/M1/Count"), "42");
}

TEST_F(Process, AStoreThatCannotBeOpenedIsSaidAndEndsTheStart) {
  const auto expectRefusal = [this](const char* file) {
    fs::remove(root() / "log");
    EXPECT_EQ(run({"-d"}).status, 1) << file;
    EXPECT_TRUE(contains(log(), "Error: CCds::init() failed")) << file;
    EXPECT_TRUE(contains(log(), (root() / file).string()));
  };
  fs::remove(root() / "state/persistent.mdb");
  expectRefusal("state/persistent.mdb");
  import({});
  std::ofstream(root() / "run/live.mdb", std::ios::trunc) << std::string(65536, 'x');
  expectRefusal("run/live.mdb");
}

TEST(BecomeProgram, LeavesItNoSignalHeldBackAndNoTimer) {
  ChildProcess child([] {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    alarm(1);
    std::string words[] = {"sh", "-c", "sleep 2; grep -q 'SigBlk:.*\\b0*$' /proc/self/status"};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    becomeProgram("/bin/sh", arguments);
    return 99;
  });
  EXPECT_EQ(child.wait(), 0);
}

class Timer : public HandlerTest {
 protected:
  Timer() {
    setenv("TOOLKIT_STORE_LIMIT", "1000000", 1);
    import({});
    daemonMode = true;
    global_.nextConnCheck = std::numeric_limits<std::int32_t>::max();
    api_status_t status = API_NONE;
    registerWithWatchdog(global_.cdsApi, status);
  }
  ~Timer() override { daemonMode = false; }
};

TEST_F(Timer, AWatchdogsRowThatIsGoneIsMadeAgain) {
  CCds other;
  api_status_t status = API_NONE;
  registerWithWatchdog(other, status);
  other.watchdog_clear(status);
  ASSERT_EQ(status, API_SUCCESS);
  timer_task(&global_);
  EXPECT_TRUE(global_.cdsApi.is_open());
  EXPECT_EQ(watchdogs().size(), 1U);
}

TEST_F(Timer, AStoreThatTakesNoPingIsClosedAndOpenedAgain) {
  const auto readable = [this] { return text(global_.cdsApi, "/A") == "1"; };
  ASSERT_EQ(set(global_.cdsApi, "/A", CElement(1)), API_SUCCESS);
  for (int round = 0; round < 2; ++round) {
    timer_task(&global_);
    EXPECT_TRUE(readable());
    EXPECT_EQ(watchdogs().size(), 1U);
    // While it reads, no page is used again.
    ChildProcess reader([] {
      std::string error;
      const auto live = toolkit::store::Store::openLive(error);
      const toolkit::store::ReadTransaction transaction(*live);
      return raise(SIGSTOP);
    });
    reader.awaitStop();
    while (set(global_.cdsApi, "/X", CElement(1)) == API_SUCCESS) {
    }
    timer_task(&global_);
    EXPECT_FALSE(global_.cdsApi.is_open());
    for (int i = 0; i < 2; ++i) {
      timer_task(&global_);
      EXPECT_TRUE(readable()) << "for reading";
    }
  }
}

TEST_F(Timer, ThePingReachesTheSupervisorToo) {
  const std::string path = folder() / "notify";
  const int supervisor = boundSocket(path, SOCK_DGRAM | SOCK_NONBLOCK);
  ASSERT_GE(supervisor, 0);
  setenv("NOTIFY_SOCKET", path.c_str(), 1);
  timer_task(&global_);
  char state[32] = {};
  EXPECT_EQ(recv(supervisor, state, sizeof state - 1, 0), 10);
  EXPECT_STREQ(state, "WATCHDOG=1");
  unlink(path.c_str());
  timer_task(&global_);
  EXPECT_TRUE(global_.cdsApi.is_open()) << "a supervisor that is gone changes nothing";
  unsetenv("NOTIFY_SOCKET");
  close(supervisor);
}

TEST_F(Timer, TheTaskRunsAfterAFullWait) {
  global_.connxns.emplace(global_.cdsApi, "/Connections", __psyslog);
  const std::int32_t start = qel_GetMonoTime();
  TaskTimer timer(global_);
  EXPECT_NEAR(global_.nextConnCheck, start + 60, 10);
  EXPECT_EQ(timer.timeLeft().tv_sec, 5);
  global_.nextConnCheck = start;
  timer.timeLeft() = {0, 1};
  timer.runWhenDue();
  EXPECT_EQ(global_.nextConnCheck, start);
  timer.timeLeft() = {0, 0};
  timer.runWhenDue();
  EXPECT_NEAR(global_.nextConnCheck, start + 600, 10);
  EXPECT_EQ(timer.timeLeft().tv_sec, 5);
}

}  // namespace
