#include <gtest/gtest.h>

#include <string>

#include "error_strings.h"
#include "global_data.h"
#include "service_options.h"

namespace {

using namespace toolkit::ws;

class OptionsTest : public testing::Test {
 protected:
  OptionsTest() { __psyslog = &log_; }
  ~OptionsTest() override { __psyslog = nullptr; }

  static _service_options_t parsed(const std::string& options) {
    _service_options_t opts;
    EXPECT_EQ(parseServiceOptions(nullptr, &options, &opts), 0);
    return opts;
  }

 private:
  toolkit::CSysLog log_{"options_test", -1, false, false, false};
};

TEST_F(OptionsTest, BooleansAreFalseOnlyForATextWithFalseInIt) {
  const struct {
    const char* option;
    bool expected;
  } kCases[] = {
      {"readback", true},           {"readback=true", true},      {"readback=0", true},
      {"readback=FALSE", true},     {"readback=", true},          {"readback=false", false},
      {"readback=notfalse", false}, {"readbackXYZ=false", false}, {" readback", false},
      {"Readback", false},          {"canonical;readback;", true}};
  for (const auto& c : kCases) {
    EXPECT_EQ(parsed(c.option).readback, c.expected) << c.option;
  }
}

TEST_F(OptionsTest, PrecisionIsAPositiveNumber) {
  const struct {
    const char* option;
    int expected;
  } kCases[] = {{"precision=3", 3},
                {"precision=12abc", 12},
                {"precision=0", 6},
                {"precision=-3", 6},
                {"precision=abc", 6},
                {"precision", 6},
                {"precision= 4", 4},
                {"precision=99999999999", 2147483647},
                {"precision=2;precision=x", 2}};
  for (const auto& c : kCases) {
    EXPECT_EQ(parsed(c.option).precision, c.expected) << c.option;
  }
}

TEST_F(OptionsTest, EveryOptionHasItsPlace) {
  const _service_options_t all = parsed(
      "errorString=a=b;errorPrefix=#;locale=de-DE;writeSingleLocale;canonical;noEmptyArrays;"
      "persist");
  EXPECT_EQ(all.errorString, "a=b");
  EXPECT_EQ(all.errorPrefix, "#");
  EXPECT_EQ(all.localeName, "de-DE");
  EXPECT_TRUE(all.writeSingleLocale && all.canonical && all.noEmptyArrays && all.persist);
  EXPECT_FALSE(all.readback);
  EXPECT_TRUE(all.localeValid) << "locales are off: nothing was refused";

  const _service_options_t none = parsed("");
  EXPECT_FALSE(none.errorStringGiven());
  EXPECT_FALSE(none.writeSingleLocale || none.canonical || none.noEmptyArrays || none.persist);
}

TEST_F(OptionsTest, ErrorStringsHonourTheClientsTexts) {
  const struct {
    const char* options;
    const char* expected;
  } kCases[] = {{"", "? 9 Node Not Found : gone"},
                {"errorPrefix=#", "#? 9 Node Not Found : gone"},
                {"errorString=", ""},
                {"errorString", ""},
                {"errorString=;errorPrefix=#", ""},
                {"errorString=N/A", "N/A"},
                {"errorString=N/A;errorPrefix=#", "#N/A"},
                {"errorString=N/A;errorPrefix=? ", "N/A"}};
  for (const auto& c : kCases) {
    const _service_options_t opts = parsed(c.options);
    std::string text = "old";
    BnwsErrMsg(WS_NODE_NOT_FOUND, "gone", text, &opts);
    EXPECT_EQ(text, c.expected) << c.options;
  }
}

TEST_F(OptionsTest, ErrorStringsNameTheNumber) {
  const struct {
    int code;
    const char* text;
    const char* expected;
  } kCases[] = {{0, nullptr, "? 0 Unspecified Error"},
                {14, "", "? 14 Index Out of Range"},
                {16, "x", "? 16 Write Failed : x"},
                {20, nullptr, "? 20 Write Failed"},
                {34, nullptr, "? 34 Result Too Big to Return"},
                {35, nullptr, "? 0 Unspecified Error"},
                {-1, nullptr, "? 0 Unspecified Error"}};
  for (const auto& c : kCases) {
    std::string text;
    BnwsErrMsg(static_cast<WS_Errors>(c.code), c.text, text);
    EXPECT_EQ(text, c.expected);
  }
}

}  // namespace
