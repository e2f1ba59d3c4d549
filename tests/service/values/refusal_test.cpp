// refuse(): what the log hears of a refusal, in which order and at which level.

#include <cstdlib>
#include <regex>

#include "front/global_data.h"
#include "test_program.h"
#include "values/error_strings.h"

namespace {

using namespace toolkit::ws;

class Refusals : public testing::Test {
 protected:
  ~Refusals() override { __psyslog = nullptr; }

  // The lines of a logger of the level, each from its severity on.
  std::string logged(int level, const Refusal& refusal, const std::string& subject) const {
    const std::string file = folder_.path() / std::to_string(level);
    setenv("TOOLKIT_LOG", file.c_str(), 1);
    toolkit::CSysLog log("t", level, false, false, true);
    unsetenv("TOOLKIT_LOG");
    __psyslog = &log;
    EXPECT_FALSE(refuse(refusal, "Nothing at %s (%d)", subject.c_str(), 7));
    const std::string lines = contentsOf(file);
    fs::remove(file);
    return std::regex_replace(lines, std::regex("[^\n]*? t ([^\n]*\n)"), "$1");
  }

  TemporaryFolder folder_;
  std::string out_ = "before";
};

TEST_F(Refusals, TheLineComesBeforeTheErrorString) {
  const Refusal refusal = {WS_NO_DATA, "Gone", out_, nullptr, Refusal::Line::kInfo, "byte 3"};
  const std::string first = "info: Nothing at /a%s (7)\n";
  const std::string last = "info: BnwsErrMsg: ? 22 No Data Available : Gone\n";
  EXPECT_EQ(logged(2, refusal, "/a%s"), first + "info: byte 3\n" + last);
  EXPECT_EQ(logged(1, refusal, "/a%s"), first + last);
  EXPECT_EQ(out_, "? 22 No Data Available : Gone");
  EXPECT_EQ(logged(0, {WS_NO_DATA, nullptr, out_, nullptr}, "/a"), "");
  EXPECT_EQ(out_, "? 22 No Data Available") << "also where nothing is logged";
}

TEST_F(Refusals, ALineHasItsSeverityLevelAndTheLogsLength) {
  const std::string answer = "info: BnwsErrMsg: ? 16 Write Failed\n";
  const Refusal notice = {WS_WRITE_FAILED, "", out_, nullptr, Refusal::Line::kNotice};
  EXPECT_EQ(logged(1, notice, "/a"), "notice: Nothing at /a (7)\n" + answer);
  const Refusal detail = {WS_WRITE_FAILED, "", out_, nullptr, Refusal::Line::kDetail};
  EXPECT_EQ(logged(5, detail, "/a"), answer);
  EXPECT_EQ(logged(6, detail, "/a"), "info: Nothing at /a (7)\n" + answer);
  const std::string lines = logged(1, {WS_NO_DATA, nullptr, out_, nullptr}, std::string(5000, 'x'));
  EXPECT_EQ(lines.find('\n'), std::string("info: ").size() + 2000);
}

TEST_F(Refusals, AFloodOfOneKindHidesNoOther) {
  const std::string file = folder_.path() / "flood";
  setenv("TOOLKIT_LOG", file.c_str(), 1);
  toolkit::CSysLog log("t", 1, false, false, true);
  unsetenv("TOOLKIT_LOG");
  __psyslog = &log;
  const Refusal refusal = {WS_NO_DATA, nullptr, out_, nullptr};
  for (int i = 0; i < 1000; ++i) {
    refuse(refusal, "Nothing at %d", i);
  }
  refuse(refusal, "Another reason: %d", 7);
  const std::string lines = contentsOf(file);
  EXPECT_LT(std::count(lines.begin(), lines.end(), '\n'), 110);
  EXPECT_NE(lines.find("Another reason: 7"), std::string::npos);
}

}  // namespace
