#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "store_fixture.h"
#include "toolkit/event.h"
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

TEST(Time, LocalTimeFollowsTheZone) {
  setenv("TZ", "XYZ-05:30", 1);
  const std::int64_t shift = qel_Localtime64() - qel_UTCtime64();
  EXPECT_NEAR(static_cast<double>(shift), 19800e6, 5e6);
  EXPECT_STREQ(qel_GetLocalTimeZoneName().first, "XYZ");
  EXPECT_FALSE(qel_IsDaylightSavings());
  setenv("TZ", "XYZ-5XYS-6,0/0,J365/25", 1);  // summer all year
  EXPECT_NEAR(static_cast<double>(qel_Localtime64() - qel_UTCtime64()), 21600e6, 5e6);
  EXPECT_STREQ(qel_GetLocalTimeZoneName().first, "XYZ");
  EXPECT_STREQ(qel_GetLocalTimeZoneName().second, "XYS");
  EXPECT_TRUE(qel_IsDaylightSavings());
  unsetenv("TZ");
}

TEST(SourceString, NamesUserAndAddress) {
  std::string text;
  toolkit::CEvent::format_source_string(text, "WS", "", "192.0.2.1");
  EXPECT_EQ(text, "WS: anonymous@192.0.2.1");
  toolkit::CEvent::format_source_string(text, "WS", "admin", "");
  EXPECT_EQ(text, "WS: admin");
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
  log.level = 2;
  log.warn(2, "now wanted");
  const auto found = lines();
  ASSERT_EQ(found.size(), 3U);
  const std::string head = " prog[" + std::to_string(getpid()) + "] ";
  EXPECT_EQ(found[0].substr(24), head + "error: number 7");
  EXPECT_EQ(found[0][10], 'T');
  EXPECT_EQ(found[0].substr(23, 1), "Z");
  EXPECT_EQ(found[1].substr(24), head + "info: told");
  EXPECT_EQ(found[2].substr(24), head + "warning: now wanted");
}

TEST_F(Log, ClientsTextForgesNoLineAndIsCut) {
  toolkit::CSysLog log("prog", 1, false, false, false);
  log.err(0, "%s", "a\nfake: b\x1b[31m\x7f é");
  log.err(0, "%s", std::string(10000, 'x').c_str());
  const auto found = lines();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_NE(found[0].find(" prog error: a?fake: b?[31m? é"), std::string::npos) << found[0];
  EXPECT_EQ(std::count(found[1].begin(), found[1].end(), 'x'), 2000);
}

TEST_F(Log, WithoutAPlaceToWriteNothingFails) {
  setenv("TOOLKIT_LOG", "/nowhere/log", 1);
  toolkit::CSysLog lost("prog", 1, false, true, true);
  lost.err(0, "lost");
}

}  // namespace
