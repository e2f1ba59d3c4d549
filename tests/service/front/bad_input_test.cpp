// What careless and hostile clients send. Each gets a fault, and the next request its answer.
#include "service_fixture.h"

namespace {

std::string inSoap12(std::string soap11) {
  return soap11.replace(soap11.find(kSoap11), kSoap11.size(), kSoap12);
}

class BadInput : public ServiceTest {
 protected:
  BadInput() { start({"-d", "-D", "1"}); }

  void expectFault(const std::string& body, const std::string& text = "") {
    const FastCgiReply reply = post(body);
    EXPECT_TRUE(reply.complete);
    EXPECT_GE(reply.status(), 400);
    EXPECT_TRUE(contains(reply.body(), "<faultcode>SOAP-ENV:"));
    EXPECT_TRUE(contains(reply.body(), text));
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
  expectFault("<E:Envelope xmlns:E=\"" + kSoap11 + "\"><E:Body/></E:Envelope>");
  const std::string twice = " xmlns:r='http://www.w3.org/2003/05/soap-encoding' r:ref='x'/>";
  const std::string references = envelope("getValue", "<n:options" + twice + "<n:path" + twice);
  const std::string fault = post(inSoap12(references)).body();
  EXPECT_TRUE(contains(fault, "missing id for ref x") && contains(fault, kSoap12));
  EXPECT_TRUE(contains(post("rubbish").body(), kSoap11)) << "not that of the request before";
  const std::string array = " href='#id7'/>";
  expectFault(envelope("getValue", "<n:path" + array), "id7");
  expectFault(envelope("getArrayRange", "<n:index" + array), "id7");
  expectFault(envelope("getEventLog", "<request" + array, "TarnixWSVK"), "id7");
  expectFault(envelope("getArrayRange", "<n:index>18446744073709551616</n:index>"));
  expectFault(envelope("getValue", "<n:path>" + std::string(64 << 20, 'x') + "</n:path>"),
              "larger than 1 MiB");
}

TEST_F(BadInput, RepliesAreBounded) {
  constexpr std::size_t kSize = 200000;
  import({leafAt("/M1/Large", std::string(kSize, '&'))});
  ASSERT_EQ(stop(SIGTERM).status, 0);
  start({"-d", "-D", "1"});
  const auto values = [](int times) {
    const std::string paths = repeated("<n:string>/M1/Large</n:string>", times);
    return envelope("getValues", tags({{"n:paths", paths}}));
  };
  const FastCgiReply large = post(values(33));
  EXPECT_EQ(large.status(), 200);
  const std::string size = std::to_string(large.body().size());
  EXPECT_TRUE(contains(large.out, "Content-Length: " + size + "\r\n"));
  EXPECT_GT(large.body().size(), 33 * 5 * kSize);
  expectFault(values(34), "The reply would be larger than 32 MiB");
  expectFault(values(10000), "The request takes more than 48 MiB of memory");
#ifndef SANITIZED
  const std::string status = contentsOf("/proc/" + std::to_string(pid()) + "/status");
  EXPECT_LT(std::atoi(status.c_str() + status.find("VmHWM:") + 6), 64 << 10) << "kB at the peak";
#endif
}

TEST_F(BadInput, BodiesThatAreNotInUtf8AreConvertedOrRefused) {
  const std::string plain =
      envelope("setValue", "<n:path>/M1/Text</n:path><n:value>\xE4</n:value>");
  const std::string utf8 = envelope("setValue", "<n:path>/M1/Text</n:path><n:value>ä</n:value>");
  const auto utf16 = [&](int low, bool mark) {
    std::string wide = mark ? (low == 0 ? "\xFF\xFE" : "\xFE\xFF") : "";
    for (const char c : "<?xml version='1.0' encoding='UTF-16'?>" + plain) {
      const char unit[2] = {low == 0 ? c : '\0', low == 0 ? '\0' : c};
      wide.append(unit, 2);
    }
    return wide;
  };
  const auto declared = [](const std::string& name, const std::string& body) {
    return "<?xml version='1.0' encoding=\"" + name + "\" ?>\n" + body;
  };
  for (const std::string& body :
       {utf8, declared("utf-8", utf8), "\xEF\xBB\xBF" + utf8, declared("ISO-8859-1", plain),
        declared("windows-1252", plain), declared("UTF-16", utf8), utf16(0, true), utf16(1, true),
        utf16(0, false), utf16(1, false)}) {
    EXPECT_EQ(elements(post(body).body(), "setValueResult"), Texts{"ä"}) << body.substr(0, 60);
    EXPECT_EQ(value("/M1/Text"), "ä");
    set("/M1/Text", "before");
  }
  const std::string refusal = "Only UTF-8, uncompressed";
  expectFault(plain, refusal);
  expectFault(utf16(0, true) + "\x3C\xD8", refusal);
  expectFault(std::string("\x1F\x8B\x08\0", 4) + plain, refusal);
  expectFault("\xFF\xFE" + std::string(2 << 20, 'x'), "larger than 1 MiB");
  const std::tuple<const char*, const char*, std::string> kHeaders[] = {
      {"HTTP_CONTENT_ENCODING", "deflate", refusal},
      {"HTTP_CONTENT_ENCODING", "Identity", ">ä<"},
      {"CONTENT_LENGTH", "1048577", "larger than 1 MiB"}};
  for (const auto& [name, header, answer] : kHeaders) {
    EXPECT_TRUE(contains(post(utf8, "operator", {{name, header}}).body(), answer)) << header;
  }
}

TEST_F(BadInput, ElementsOfAnOperationBearItsNamespaceOrNone) {
  const auto named = [](const std::string& operation, const std::string& name,
                        const std::string& children, const std::string& envelopeToo = "") {
    return "<E:Envelope xmlns:E='" + kSoap11 + "'" + envelopeToo + "><E:Body><o:" + operation +
           " xmlns:o='http://tarnix.example/" + name + "' xmlns:f='urn:foreign'>" + children +
           "</o:" + operation + "></E:Body></E:Envelope>";
  };
  const std::string none = "? 8 Bad Path Syntax : No Path provided";
  const std::tuple<const char*, std::string, std::string> kCases[] = {
      {"<o:path>/M1/Count</o:path>", "", "42"},
      {"<path>/M1/Count</path>", "", "42"},
      {"<path xmlns=''>/M1/Count</path>", "", "42"},
      {"<f:path>/M1/Va</f:path><path>/M1/Count</path>", "", "42"},
      {"<path xmlns='urn:foreign'>/M1/Va</path><path>/M1/Count</path>", "", "42"},
      {"<f:path>/M1/Count</f:path>", "", none},
      {"<path>/M1/Count</path>", " xmlns='urn:foreign'", none},
      {"<path>/M1/Count</path>", " xmlns='" + kSoap11 + "'", "42"}};
  for (const auto& [path, onEnvelope, expected] : kCases) {
    const FastCgiReply reply = post(named("getValue", "TarnixWS", path, onEnvelope));
    EXPECT_EQ(elements(reply.body(), "getValueResult"), Texts{expected}) << path << onEnvelope;
  }
  for (const std::string p : {"o:", ""}) {
    const std::string search = tags({{"f:startingPath", "/"},
                                     {p + "startingPath", "/M1"},
                                     {p + "attribMatch", "Units"},
                                     {p + "regexMatchPattern", "v"}});
    const FastCgiReply reply = post(named("findAttributeMatches", "TarnixWSVK", search));
    EXPECT_TRUE(contains(reply.body(), "/M1/Va")) << p;
  }
}

TEST_F(BadInput, ListsInSeveralElementsCountTogether) {
  const std::string nil = " xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:nil='true'/>";
  const std::string paths =
      "<n:paths><n:string>/M1/Count</n:string></n:paths><n:other/><n:paths>"
      "<n:string>/M1/Va</n:string><n:string>/M1/Flag</n:string></n:paths><n:paths/>";
  EXPECT_EQ(results("getValues", "<n:paths" + nil + paths + "<n:paths" + nil),
            (Texts{"42", "230.123", "false"}));
  const Texts both = {"42", "230.123"};
  const auto values = [&](const std::string& operation, const std::string& list) {
    const std::string id = "<n:subscriptionId>s</n:subscriptionId>";
    const std::string lists = tagged(list, {point("/M1/Count"), point("/M1/Va")});
    return elements(call(operation, id + lists), "Value");
  };
  EXPECT_EQ(values("createSubscription", "n:realTimeNodes"), both);
  EXPECT_EQ(values("updateSubscriptionRealTimeNodes", "n:realTimeNodesToAdd"), both);
  const std::string requests = repeated("<n:requests><n:AckRequest/></n:requests>", 2);
  EXPECT_EQ(results("acknowledgeAlarm", requests).size(), 2U);
}

TEST_F(BadInput, NamesThatNobodyReadsAreLoggedOnceARequest) {
  std::string many;
  for (int i = 0; i < 30; ++i) {
    many += "<n:x" + std::to_string(i % 10) + std::string(100, 'y') + "/>";
  }
  call("getValue", "<n:Path>/M1/Count</n:Path><n:Path/>");
  call("getValue", many);
  const std::string lines = log();
  EXPECT_TRUE(contains(lines, " 2 elements of the request were not read: n:Path\n"));
  EXPECT_TRUE(contains(lines, "30 elements of the request were not read: n:x0"));
  EXPECT_FALSE(contains(lines, "n:x9")) << "a line is bounded";
}

TEST_F(BadInput, ATextInBase64IsDecoded) {
  const std::string typed =
      "<n:path>/M1/Text</n:path><n:value xmlns:x='http://www.w3.org/2001/XMLSchema' "
      "xmlns:e='http://schemas.xmlsoap.org/soap/encoding/' "
      "xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:type='";
  const auto write = [&](const std::string& text) {
    const Texts answer = results("setValue", typed + text + "</n:value>");
    EXPECT_EQ(answer.empty() ? answer : Texts{value("/M1/Text")}, answer);
    return answer;
  };
  EXPECT_EQ(write("x:base64Binary'>w6Qg8J+YgA=="), Texts{"ä 😀"});
  EXPECT_EQ(write("x:hexBinary'>C3a4"), Texts{"ä"});
  EXPECT_EQ(write("e:base64'>YQ=="), Texts{"a"});
  EXPECT_EQ(write("x:string'>YQ=="), Texts{"YQ=="});
  for (const char* bad : {"x:base64Binary'>/w==", "x:base64Binary'>YQBi", "x:base64Binary'>a-b",
                          "x:hexBinary'>C3a", "x:hexBinary'>zz"}) {
    EXPECT_EQ(write(bad), Texts{}) << bad;
    EXPECT_EQ(value("/M1/Text"), "YQ==") << bad;
  }
}

}  // namespace
