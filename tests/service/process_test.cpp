// Life of the process: start, signals, background, crash, a store that is not there.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <regex>

#include "service_fixture.h"
#include "store_fixture.h"

namespace fs = std::filesystem;

namespace {

class Process : public ServiceTest {
 protected:
  static int appStatus() {
    toolkit::CCds cds;
    const auto found =
        StoreTest::read(cds, {"/Software/Data Servers/BACnet WebServices/AppStatus"});
    return found.statuses.front() == API_SUCCESS ? found.elements.front().to_int() : -1;
  }
  static std::vector<toolkit::admin::Watchdog> watchdogs() {
    std::vector<toolkit::admin::Watchdog> result;
    EXPECT_EQ(toolkit::admin::watchdogs(result), "");
    return result;
  }
};

TEST_F(Process, TerminationSignalsEndItInOrder) {
  import(testModel());
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    start();
    EXPECT_EQ(appStatus(), 4);
    EXPECT_TRUE(watchdogs().empty()) << "-d stays out of the watchdog's sight";
    const Outcome outcome = stop(signal);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(appStatus(), 2);
    EXPECT_NE(log().find("Caught term signal, exiting soap_serve loop now..."), std::string::npos);
    EXPECT_NE(log().find("Exiting dravixd"), std::string::npos);
  }
}

TEST_F(Process, APeerThatLeavesEarlyDelaysNobody) {
  import(testModel());
  start();
  for (const std::string& bytes : {std::string(), std::string("\1\1\0\1", 4)}) {
    { const SilentPeer left(socketPath(), bytes); }
    EXPECT_EQ(value("/M1/Count"), "42");
    { const SilentPeer left(socketPath(), bytes); }
  }
  EXPECT_EQ(stop(SIGTERM).status, 0) << "the signal is heard after such a peer";
}

TEST_F(Process, APeerThatStallsIsGivenUp) {
  toolkit::admin::Model model = testModel();
  model.leaves.push_back(
      {"/M1/Large", "Value", toolkit::CElement(std::string(900000, 'x')), ELEMENT_NORMAL});
  import(model);
  start();
  const std::string body = envelope("getValue", "<n:path>/M1/Large</n:path>");
  const SilentPeer writer(socketPath(), encodedRequest({}, body.substr(0, 90), false));
  EXPECT_EQ(value("/M1/Count"), "42") << "after a request that does not end";
  const SilentPeer reader(socketPath(), encodedRequest({}, body, true));
  EXPECT_EQ(value("/M1/Count"), "42") << "after a reply that nobody reads";
}

TEST_F(Process, AFailedAcceptEndsTheLoopInOrder) {
  import(testModel());
  start();
  const rlimit none = {0, 0};
  ASSERT_EQ(prlimit(pid(), RLIMIT_NOFILE, &none, nullptr), 0);
  fastCgiRequest(socketPath(), {}, "");
  waitForEnd();  // a sanitizer's own exit needs descriptors too: the log tells how it ended
  EXPECT_NE(log().find("Error in Accept(), exiting now..."), std::string::npos);
  EXPECT_NE(log().find("Exiting dravixd"), std::string::npos);
  EXPECT_EQ(appStatus(), 2);
}

TEST_F(Process, CrashesLeaveABacktraceAndTheSignalsNumber) {
  import(testModel());
  for (const int signal : {SIGQUIT, SIGSEGV}) {
    start();
    const Outcome outcome = stop(signal);
    EXPECT_EQ(outcome.status, signal);
    const std::string reason = strsignal(signal);
    EXPECT_NE(outcome.err.find("\n###### BACK TRACE START (" + reason + ") ######\n"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("###### BACK TRACE END (" + reason + ") ######\n"),
              std::string::npos);
    EXPECT_NE(outcome.err.find("UTIL_printBacktrace"), std::string::npos) << "demangled";
  }
}

TEST_F(Process, GoesIntoTheBackgroundAndRegistersWithTheWatchdog) {
  import(testModel());
  EXPECT_EQ(run({"-D", "2"}).status, 0) << "the first process ends at once";
  awaitLog("FCGI app listening at socket /tmp/dravixd.socket [0]");
  std::smatch match;
  const std::string lines = log();
  ASSERT_TRUE(std::regex_search(lines, match, std::regex("dravixd\\[(\\d+)\\]: ?.*listening")) ||
              std::regex_search(lines, match, std::regex("\\[(\\d+)\\].*listening")))
      << lines;
  const pid_t daemon = std::stoi(match[1]);
  EXPECT_EQ(value("/M1/Count"), "42") << "the store opened before the fork works after it";
  EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(daemon) + "/cwd"), "/");
  ASSERT_EQ(watchdogs().size(), 1U);
  EXPECT_EQ(watchdogs().front().name, "dravixd");
  EXPECT_EQ(watchdogs().front().periodSeconds, 90);
  kill(daemon, SIGTERM);
  awaitLog("Exiting dravixd");
  EXPECT_TRUE(watchdogs().empty());
}

TEST_F(Process, SocketIsOpenToTheGroupAndAStaleOneIsReplaced) {
  import(testModel());
  start();
  struct stat info = {};
  ASSERT_EQ(stat(socketPath().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0660U);
  EXPECT_EQ(stop(SIGKILL).status, 128 + SIGKILL);
  EXPECT_TRUE(fs::exists(socketPath())) << "left behind by the kill";
  start();
  EXPECT_EQ(value("/M1/Count"), "42");
}

TEST_F(Process, DoesNotTakeTheSocketOfARunningService) {
  import(testModel());
  start();
  const pid_t first = pid();
  run({"-d"});
  EXPECT_NE(log().find("Another process is serving at socket"), std::string::npos);
  EXPECT_EQ(value("/M1/Count"), "42") << "the first one still serves";
  kill(first, SIGTERM);
  awaitLog("Caught term signal");
}

TEST_F(Process, AStoreThatCannotBeOpenedIsSaidAndEndsTheStart) {
  const auto expectRefusal = [this](const std::string& what) {
    fs::remove(root() / "log");
    const Outcome outcome = run({"-d"});
    EXPECT_EQ(outcome.status, 1) << what;
    EXPECT_NE(log().find("Error: CCds::init() failed"), std::string::npos) << what;
    EXPECT_NE(log().find((root() / "").string()), std::string::npos)
        << what << ": the file is named\n"
        << log();
  };
  expectRefusal("missing");

  import(testModel());
  const fs::path persistent = root() / "state/persistent.mdb";
  const fs::path live = root() / "run/live.mdb";
  const auto damage = [&](const fs::path& file) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << std::string(65536, 'x');
  };
  damage(live);
  expectRefusal("rubbish in the live half");
  fs::remove(live);
  damage(persistent);
  expectRefusal("rubbish in the persistent half");
}

}  // namespace
