// Rules of the wire types that the generator does not know by itself.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "TarnixH.h"

namespace {

class WireTypes : public testing::Test {
 protected:
  struct Release {
    void operator()(struct soap* ctx) const {
      soap_destroy(ctx);
      soap_end(ctx);
      soap_free(ctx);
    }
  };
  std::unique_ptr<struct soap, Release> ctx_{soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE)};

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
  const struct {
    const char* text;
    int error;
    int value;
  } kCases[] = {{"Acked", SOAP_OK, 1}, {"2", SOAP_OK, 2},       {"7", SOAP_OK, 7},
                {"-1", SOAP_OK, -1},   {"acked", SOAP_TYPE, 0}, {"1x", SOAP_TYPE, 0}};
  for (const auto& c : kCases) {
    enum nsc1__AckStatus status = nsc1__AckStatus__NotAcked;
    ctx_->error = SOAP_OK;
    EXPECT_EQ(soap_s2nsc1__AckStatus(ctx_.get(), c.text, &status), c.error) << c.text;
    EXPECT_EQ(static_cast<int>(status), c.value) << c.text;
  }
}

TEST_F(WireTypes, ABitSetIsAListOfNamesOrAnInteger) {
  const struct {
    const char* text;
    int error;
    int value;
  } kCases[] = {{"", SOAP_OK, 0},
                {"Trend", SOAP_OK, 1},
                {"  Alarm \t Quality\n", SOAP_OK, 20},
                {"Trend Trend", SOAP_OK, 1},
                {"64", SOAP_OK, 64},
                {"Alarm Nonsense", SOAP_TYPE, 0},
                {"alarm", SOAP_TYPE, 0},
                {"1 2", SOAP_TYPE, 0}};
  for (const auto& c : kCases) {
    auto options = static_cast<enum nsc1__SubscribeLogOptions>(0);
    ctx_->error = SOAP_OK;
    EXPECT_EQ(soap_s2nsc1__SubscribeLogOptions(ctx_.get(), c.text, &options), c.error) << c.text;
    EXPECT_EQ(static_cast<int>(options), c.value) << c.text;
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
