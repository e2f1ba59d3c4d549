// Rules of the wire types that the generator does not know by itself.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "TarnixH.h"
#include "engine_internals.h"
#include "soap_context.h"

namespace {

class WireTypes : public testing::Test {
 protected:
  const SoapContext ctx_{soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE)};

  template <class Object>
  std::string written(Object& object, const char* tag) {
    std::ostringstream out;
    ctx_->os = &out;
    soap_begin_send(ctx_.get());
    object.soap_put(ctx_.get(), tag, nullptr);
    soap_end_send(ctx_.get());
    return out.str();
  }
};

TEST_F(WireTypes, AnEnumerationIsANameOrAnyInteger) {
  const std::tuple<const char*, int, int> kCases[] = {{"Acked", SOAP_OK, 1},
                                                      {"7", SOAP_OK, 7},
                                                      {"-1", SOAP_OK, -1},
                                                      {"acked", SOAP_TYPE, 0},
                                                      {"1x", SOAP_TYPE, 0}};
  for (const auto& [text, error, value] : kCases) {
    enum nsc1__AckStatus status = nsc1__AckStatus__NotAcked;
    ctx_->error = SOAP_OK;
    EXPECT_EQ(soap_s2nsc1__AckStatus(ctx_.get(), text, &status), error) << text;
    EXPECT_EQ(static_cast<int>(status), value) << text;
  }
}

TEST_F(WireTypes, ABitSetIsAListOfNamesOrAnInteger) {
  const std::tuple<const char*, int, int> kCases[] = {
      {"", SOAP_OK, 0},     {"  Alarm \t Quality\n", SOAP_OK, 20}, {"Trend Trend", SOAP_OK, 1},
      {"64", SOAP_OK, 64},  {"Alarm Nonsense", SOAP_TYPE, 0},      {"alarm", SOAP_TYPE, 0},
      {"1 2", SOAP_TYPE, 0}};
  for (const auto& [text, error, value] : kCases) {
    auto options = static_cast<enum nsc1__SubscribeLogOptions>(0);
    ctx_->error = SOAP_OK;
    EXPECT_EQ(soap_s2nsc1__SubscribeLogOptions(ctx_.get(), text, &options), error) << text;
    EXPECT_EQ(static_cast<int>(options), value) << text;
  }
}

TEST_F(WireTypes, ATextIsAlwaysOneThatXmlCanCarry) {
  const std::string bad = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> kCases[] = {
      {"a<b>&\"'\t\n\r", "a&lt;b&gt;&amp;\"'\t&#xA;&#xD;"},
      {"é漢😀\x7F", "é漢😀\x7F"},
      {"\1x\x1F", bad + "x" + bad},
      {"\xC3", bad},
      {"\xE6\xBC<", bad + bad + "&lt;"},
      {"\xC0\xAF\xF5\x80", bad + bad + bad + bad},
      {"\xE0\x80\xAF", bad + bad + bad},
      {"\xED\xA0\x80\xF4\x90\x80\x80", bad + bad + bad + bad + bad + bad + bad},
      {"\xEF\xBF\xBE\xEF\xBF\xBD", bad + bad + bad + bad},
      {"\xEF\xBF\xBF(", bad + bad + bad + "("}};
  for (const auto& [text, expected] : kCases) {
    nsvk__getDeviceTreeResponse reply;
    reply.result = text;
    const std::string xml = written(reply, "r");
    const std::size_t begin = xml.find("<result>") + 8;
    EXPECT_EQ(xml.substr(begin, xml.find("</result>") - begin), expected) << text;
  }
}

TEST_F(WireTypes, NumbersAreTheShortestTextThatReadsBack) {
  const std::pair<double, const char*> kCases[] = {
      {0.9, "0.9"},      {-0.0, "-0"},        {0.1 + 0.2, "0.30000000000000004"},
      {1e22, "1e+22"},   {5e-324, "5e-324"},  {1795291671404025, "1795291671404025"},
      {HUGE_VAL, "INF"}, {-HUGE_VAL, "-INF"}, {NAN, "NaN"}};
  for (const auto& [number, text] : kCases) {
    nsvk__getWaveDataResponse reply;
    reply.data = {number};
    EXPECT_NE(written(reply, "x").find("<data>" + std::string(text) + "</data>"), std::string::npos)
        << text;
    double back = 0;
    EXPECT_EQ(soap_s2double(ctx_.get(), text, &back), SOAP_OK);
    EXPECT_TRUE(back == number || std::isnan(number)) << text;
  }
  EXPECT_STREQ(soap_float2s(ctx_.get(), 0.1F), "0.1");
}

TEST_F(WireTypes, ObjectsAreReleasedByThemselves) {
  std::string* const kept = soap_new_std__string(ctx_.get());
  std::string* const released = soap_new_std__string(ctx_.get());
  nss1__AlarmUpdate* const record = soap_new_nss1__AlarmUpdate(ctx_.get());
  const std::string foreign = "of somebody else";
  engine_internals::release(ctx_.get(), {released, record, &foreign, nullptr});
  EXPECT_EQ(soap_unlink(ctx_.get(), released), SOAP_ERR) << "it is not the context's any more";
  EXPECT_EQ(soap_unlink(ctx_.get(), record), SOAP_ERR);
  ASSERT_EQ(soap_unlink(ctx_.get(), kept), SOAP_OK);
  delete kept;
}

}  // namespace
