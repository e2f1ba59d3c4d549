#include <algorithm>
#include <cstdint>

#include "log_limit.h"
#include "store_fixture.h"
#include "toolkit/syslog.h"
#include "toolkit/time.h"

namespace {

TEST(Time, ConversionsAreTotal) {
  const std::pair<std::int64_t, timeval> kBothWays[] = {{1700000000250000, {1700000000, 250000}},
                                                        {-1, {-1, 999999}},
                                                        {-1000000, {-1, 0}},
                                                        {INT64_MIN, {-9223372036855, 224192}}};
  const timeval latest = {9223372036854, 999999};
  const timeval earliest = {INT64_MIN, 0};
  for (const auto& [time, unixTime] : kBothWays) {
    timeval converted = {};
    EXPECT_EQ(qel_QELtoUNIXtime64(time, &converted), 0);
    EXPECT_EQ(converted.tv_sec, unixTime.tv_sec) << time;
    EXPECT_EQ(converted.tv_usec, unixTime.tv_usec) << time;
    EXPECT_EQ(qel_UNIXtoQELtime64(&unixTime), time);
  }
  EXPECT_EQ(qel_UNIXtoQELtime64(&latest), INT64_MAX);
  EXPECT_EQ(qel_UNIXtoQELtime64(&earliest), INT64_MIN);
}

class Log : public StoreTest {
 protected:
  Log() { setenv("TOOLKIT_LOG", (folder() / "log").c_str(), 1); }
  ~Log() override { unsetenv("TOOLKIT_LOG"); }

  std::vector<std::string> lines() const {
    std::vector<std::string> lines;
    toolkit::CElement::split_string(lines, contentsOf(folder() / "log"), '\n');
    EXPECT_EQ(lines.back(), "") << "a line ends";
    lines.pop_back();
    return lines;
  }
};

TEST_F(Log, LinesHaveTimeProgramAndSeverityAndTheLevelCounts) {
  toolkit::CSysLog log("prog", 1, false, true, true);
  log.err(0, "number %d", 7);
  log.info(1, "told");
  log.warn(2, "too detailed");
  setenv("TOOLKIT_LOG", "/nowhere/log", 1);
  toolkit::CSysLog("prog", 1, false, true, true).err(0, "lost, and nothing fails");
  const auto found = lines();
  ASSERT_EQ(found.size(), 2U);
  const std::string head = " prog[" + std::to_string(getpid()) + "] ";
  EXPECT_EQ(found[0].substr(24), head + "error: number 7");
  EXPECT_EQ(found[1].substr(24), head + "info: told");
}

TEST_F(Log, ClientsTextForgesNoLineAndIsCut) {
  toolkit::CSysLog log("prog", 1, false, false, false);
  log.err(0, "%s", "a\nfake: b\x1b[31m\x7f é");
  log.err(0, "%s", "csi \xC2\x9B 31m \x9B 31m À");
  log.err(0, "%s", std::string(10000, 'x').c_str());
  const auto found = lines();
  ASSERT_EQ(found.size(), 3U);
  EXPECT_TRUE(contains(found[0], " prog error: a?fake: b?[31m? é"));
  EXPECT_TRUE(contains(found[1], " prog error: csi ? 31m ? 31m À"));
  EXPECT_EQ(std::count(found[2].begin(), found[2].end(), 'x'), 2000);
}

TEST_F(Log, AFloodOfOneKindIsCountedAndNotWritten) {
  using std::chrono::seconds;
  toolkit::CSysLog::Clock::time_point now;
  auto log = std::make_unique<toolkit::CSysLog>("t", 1, false, false, true, [&] { return now; });
  const auto flood = [&](int lines) {
    for (int i = 0; i < lines; ++i) {
      log->info(1, "bad %d", i);
      log->err(0, "down");
    }
  };
  const auto count = [this](const std::string& text) {
    const auto all = lines();
    return std::count_if(all.begin(), all.end(), [&](auto& line) { return line.ends_with(text); });
  };
  flood(60);
  log->notice(1, "another");
  EXPECT_EQ(count("bad 49"), 1);
  EXPECT_EQ(count("bad 50"), 0);
  EXPECT_EQ(count("another"), 1);
  now += seconds(9);
  log->tellHeldBack();
  EXPECT_EQ(lines().size(), 50U + 60 + 1);
  now += seconds(2);
  log->tellHeldBack();
  EXPECT_EQ(count(" info: 10 more lines of this kind in the last 11 s: bad %d"), 1);
  flood(51);
  EXPECT_EQ(count("bad 49"), 2);
  now += seconds(20);
  log->warn(0, "after");
  EXPECT_TRUE(contains(lines().at(lines().size() - 2), " 1 more lines of this kind"));
  flood(52);
  log.reset();
  EXPECT_EQ(count(" 2 more lines of this kind in the last 1 s: bad %d"), 1);
  EXPECT_EQ(count("down"), 60 + 51 + 52);
}

TEST_F(Log, WhoAsksForDetailsGetsAllLines) {
  toolkit::CSysLog log("t", 2, false, false, true);
  for (int i = 0; i < 100; ++i) {
    log.info(1, "line");
  }
  EXPECT_EQ(lines().size(), 100U);
}

TEST(LogLimit, MoreKindsThanTheTableHoldsShareABound) {
  toolkit::LogLimit limit;
  const std::vector<char> formats(5000);
  const auto admitted = std::count_if(formats.begin(), formats.end(), [&](const char& format) {
    return limit.admits(&format, 0, {});
  });
  EXPECT_LT(admitted, 300);
  EXPECT_EQ(limit.next({}, toolkit::LogLimit::Which::All)->lines, 5000U - admitted);
  EXPECT_FALSE(limit.next({}, toolkit::LogLimit::Which::All));
}

}  // namespace
