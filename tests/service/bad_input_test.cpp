// What careless and hostile clients send. Each gets a fault, and the next request its answer.
#include "service_fixture.h"

namespace {

const std::string kOldUri = "http://schemas.xmlsoap.org/soap/envelope/";
const std::string kNewUri = "http://www.w3.org/2003/05/soap-envelope";

std::string inSoap12(std::string soap11) {
  return soap11.replace(soap11.find(kOldUri), kOldUri.size(), kNewUri);
}

class BadInput : public ServiceTest {
 protected:
  BadInput() {
    import(testModel());
    start({"-d", "-D", "1"});
  }

  void expectFault(const std::string& body, const std::string& text = "") {
    const FastCgiReply reply = post(body);
    EXPECT_TRUE(reply.complete);
    EXPECT_GE(reply.status(), 400);
    EXPECT_NE(reply.body().find("<faultcode>SOAP-ENV:"), std::string::npos)
        << reply.out.substr(0, 2000);
    EXPECT_NE(reply.body().find(text), std::string::npos) << reply.out.substr(0, 2000);
    EXPECT_EQ(value("/M1/Count"), "42") << "after: " << body.substr(0, 80);
  }
};

TEST_F(BadInput, IsAnsweredWithAFault) {
  const std::string valid = envelope("getValue", "<n:path>/M1/Count</n:path>");
  expectFault("");
  expectFault("hello", "not an XML document");
  expectFault(valid.substr(0, valid.size() / 2));
  expectFault(envelope("GetValue", ""), "GetValue");
  expectFault("<E:Envelope xmlns:E=\"urn:other\"><E:Body/></E:Envelope>");
  expectFault("<E:Envelope xmlns:E=\"" + kOldUri + "\"><E:Body/></E:Envelope>");
  const std::string reference = " xmlns:r='http://www.w3.org/2003/05/soap-encoding' r:ref='x'/>";
  EXPECT_NE(post(inSoap12(envelope("getValue", "<n:options" + reference + "<n:path" + reference)))
                .body()
                .find("missing id for ref x"),
            std::string::npos);
  expectFault(envelope("getArrayRange", "<n:index>18446744073709551616</n:index>"));
  expectFault(envelope("getValue", "<n:path>" + std::string(64 << 20, 'x') + "</n:path>"),
              "larger than 1 MiB");
}

TEST_F(BadInput, EachRequestIsAnsweredInItsOwnSoapVersion) {
  const std::string first = envelope("getDefaultLocale", "");
  const std::string second = inSoap12(first);
  EXPECT_NE(post(first).body().find(kOldUri), std::string::npos);
  EXPECT_NE(post(second).body().find(kNewUri), std::string::npos);
  EXPECT_NE(post(second.substr(0, second.size() - 9)).body().find(kNewUri), std::string::npos);
  EXPECT_NE(post(first).body().find(kOldUri), std::string::npos);
  EXPECT_NE(post("rubbish").body().find(kOldUri), std::string::npos);
}

}  // namespace
