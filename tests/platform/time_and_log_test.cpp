#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

#include "store_fixture.h"
#include "toolkit/event.h"
#include "toolkit/syslog.h"
#include "toolkit/time.h"

namespace {

constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

TEST(Time, ConversionsAreTotal) {
  const struct {
    std::int64_t time;
    timeval unixTime;
  } kCases[] = {{0, {0, 0}},
                {1700000000250000, {1700000000, 250000}},
                {-1, {-1, 999999}},
                {-1000000, {-1, 0}},
                {kMax, {9223372036854, 775807}},
                {kMin, {-9223372036855, 224192}}};
  for (const auto& c : kCases) {
    timeval unixTime = {};
    EXPECT_EQ(qel_QELtoUNIXtime64(c.time, &unixTime), 0);
    EXPECT_EQ(unixTime.tv_sec, c.unixTime.tv_sec) << c.time;
    EXPECT_EQ(unixTime.tv_usec, c.unixTime.tv_usec) << c.time;
  }
  const std::pair<timeval, std::int64_t> kSaturating[] = {{{1700000000, 250000}, 1700000000250000},
                                                          {{-1, 999999}, -1},
                                                          {{kMax, 0}, kMax},
                                                          {{kMin, 0}, kMin},
                                                          {{9223372036854, 999999}, kMax}};
  for (const auto& [unixTime, expected] : kSaturating) {
    EXPECT_EQ(qel_UNIXtoQELtime64(&unixTime), expected);
  }
}

TEST(Time, LocalTimeFollowsTheZone) {
  setenv("TZ", "XYZ-05:30", 1);
  const std::int64_t shift = qel_Localtime64() - qel_UTCtime64();
  EXPECT_NEAR(static_cast<double>(shift), 19800e6, 5e6);
  EXPECT_EQ(qel_GetLocalTimeZoneName(), "XYZ");
  EXPECT_FALSE(qel_IsDaylightSavings());
  unsetenv("TZ");
}

TEST(SourceString, NamesUserAndAddress) {
  const struct {
    const char* user;
    const char* address;
    const char* expected;
  } kCases[] = {{"admin", "192.0.2.1", "Web-Services: admin@192.0.2.1"},
                {"", "192.0.2.1", "Web-Services: anonymous@192.0.2.1"},
                {"admin", "", "Web-Services: admin"}};
  for (const auto& c : kCases) {
    std::string source;
    toolkit::CEvent::format_source_string(source, "Web-Services", c.user, c.address);
    EXPECT_EQ(source, c.expected);
  }
}

class Log : public testing::Test {
 protected:
  Log() { setenv("TOOLKIT_LOG", file().c_str(), 1); }
  ~Log() override { unsetenv("TOOLKIT_LOG"); }

  std::filesystem::path file() const { return folder_.path() / "log"; }
  std::vector<std::string> lines() const {
    std::ifstream in(file());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      lines.push_back(line);
    }
    return lines;
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(Log, LinesHaveTimeProgramAndSeverityAndTheLevelCounts) {
  toolkit::CSysLog log("prog", 1, false, true, true);
  log.err(0, "number %d", 7);
  log.info(1, "told");
  log.warn(2, "too detailed");
  log.level = 2;
  log.warn(2, "now wanted");
  log.notice(0, "%s", "");
  const auto found = lines();
  ASSERT_EQ(found.size(), 4U);
  const std::string head = " prog[" + std::to_string(getpid()) + "] ";
  EXPECT_EQ(found[0].substr(24), head + "error: number 7");
  EXPECT_EQ(found[0][10], 'T');
  EXPECT_EQ(found[0].substr(23, 1), "Z");
  EXPECT_EQ(found[1].substr(24), head + "info: told");
  EXPECT_EQ(found[2].substr(24), head + "warning: now wanted");
  EXPECT_EQ(found[3].substr(24), head + "notice: ");
}

TEST_F(Log, ClientsTextForgesNoLineAndIsCut) {
  {
    toolkit::CSysLog log("prog", 1, false, false, false);
    log.err(0, "%s", "a\nfake: b\x1b[31m\x7f é");
    log.err(0, "%s", std::string(10000, 'x').c_str());
  }
  const auto found = lines();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_NE(found[0].find(" prog error: a?fake: b?[31m? é"), std::string::npos) << found[0];
  EXPECT_EQ(std::count(found[1].begin(), found[1].end(), 'x'), 2000);
}

TEST_F(Log, WithoutAPlaceToWriteNothingFails) {
  setenv("TOOLKIT_LOG", "/nowhere/log", 1);
  toolkit::CSysLog lost("prog", 1, false, true, true);
  lost.err(0, "lost");
  unsetenv("TOOLKIT_LOG");
  toolkit::CSysLog system("prog", 1, false, true, true);
  system.err(9, "above the level");
}

}  // namespace
