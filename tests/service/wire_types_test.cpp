// Rules of the wire types that the generator does not know by itself.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "TarnixH.h"

namespace {

class WireTypes : public testing::Test {
 protected:
  static void release(struct soap* ctx) {
    soap_destroy(ctx);
    soap_end(ctx);
    soap_free(ctx);
  }
  std::unique_ptr<struct soap, decltype(&release)> ctx_{soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE),
                                                        release};

  template <class Object>
  std::string written(Object& object, const char* tag) {
    std::ostringstream out;
    ctx_->os = &out;
    object.soap_default(ctx_.get());
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

TEST_F(WireTypes, AbsentMembersAreNilOrLeftOut) {
  _nsc1__getValueResponse reply;
  EXPECT_NE(written(reply, "nsc1:getValueResponse").find("<nsc1:getValueResult xsi:nil=\"true\"/>"),
            std::string::npos);
  _nsc1__getSupportedLocalesResponse locales;
  EXPECT_EQ(written(locales, "nsc1:getSupportedLocalesResponse").find("Result"), std::string::npos);
  _nsc1__cancelSubscriptionResponse cancelled;
  const std::string empty = written(cancelled, "nsc1:cancelSubscriptionResponse");
  EXPECT_EQ(empty.find("<nsc1:"), empty.rfind("<nsc1:")) << empty;
}

}  // namespace
