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
  const std::pair<const char*, bool> kCases[] = {
      {"readback", true},         {"readback=0", true},         {"readback=FALSE", true},
      {"readback=", true},        {"readback=false", false},    {"readback=notfalse", false},
      {"readbackX=false", false}, {"canonical;readback;", true}};
  for (const auto& [option, expected] : kCases) {
    EXPECT_EQ(parsed(option).readback, expected) << option;
  }
}

TEST_F(OptionsTest, PrecisionIsAPositiveNumber) {
  const std::pair<const char*, int> kCases[] = {
      {"precision=12abc", 12},       {"precision=0", 6},
      {"precision=-3", 6},           {"precision", 6},
      {"precision= 4", 4},           {"precision=99999999999", 2147483647},
      {"precision=2;precision=x", 2}};
  for (const auto& [option, expected] : kCases) {
    EXPECT_EQ(parsed(option).precision, expected) << option;
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
}

TEST_F(OptionsTest, ErrorStringsHonourTheClientsTexts) {
  const std::pair<const char*, const char*> kCases[] = {
      {"", "? 9 Node Not Found : gone"},
      {"errorPrefix=#", "#? 9 Node Not Found : gone"},
      {"errorString", ""},
      {"errorString=;errorPrefix=#", ""},
      {"errorString=N/A", "N/A"},
      {"errorString=N/A;errorPrefix=#", "#N/A"},
      {"errorString=N/A;errorPrefix=? ", "N/A"}};
  for (const auto& [options, expected] : kCases) {
    const _service_options_t opts = parsed(options);
    std::string text = "old";
    BnwsErrMsg(WS_NODE_NOT_FOUND, "gone", text, &opts);
    EXPECT_EQ(text, expected) << options;
  }
}

TEST_F(OptionsTest, ErrorStringsNameTheNumber) {
  const std::tuple<int, const char*, const char*> kCases[] = {
      {14, "", "? 14 Index Out of Range"},
      {20, nullptr, "? 20 Write Failed"},
      {34, nullptr, "? 34 Result Too Big to Return"},
      {35, nullptr, "? 0 Unspecified Error"},
      {-1, nullptr, "? 0 Unspecified Error"}};
  for (const auto& [code, detail, expected] : kCases) {
    std::string text;
    BnwsErrMsg(static_cast<WS_Errors>(code), detail, text);
    EXPECT_EQ(text, expected);
  }
}

}  // namespace
