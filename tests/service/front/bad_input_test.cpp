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

  // Of memory, since the service started.
  int peakKilobytes() const {
    const std::string status = contentsOf("/proc/" + std::to_string(pid()) + "/status");
    return std::atoi(status.c_str() + status.find("VmHWM:") + 6);
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

TEST_F(BadInput, RepliesAreBounded) {
  constexpr std::size_t kSize = 200000;
  toolkit::admin::Model model = testModel();
  model.leaves.push_back({"/M1/Large", "Value", toolkit::CElement(std::string(kSize, '&'))});
  import(model);
  ASSERT_EQ(stop(SIGTERM).status, 0);
  start({"-d", "-D", "1"});
  const auto values = [](int times) {
    std::string paths;
    for (int i = 0; i < times; ++i) {
      paths += "<n:string>/M1/Large</n:string>";
    }
    return envelope("getValues", "<n:paths>" + paths + "</n:paths>");
  };
  const FastCgiReply large = post(values(33));
  EXPECT_EQ(large.status(), 200);
  EXPECT_NE(large.out.find("Content-Length: " + std::to_string(large.body().size()) + "\r\n"),
            std::string::npos);
  EXPECT_GT(large.body().size(), 33 * 5 * kSize);
  expectFault(values(34), "The reply would be larger than 32 MiB");
  expectFault(values(10000), "The request takes more than 48 MiB of memory");
#ifndef SANITIZED
  EXPECT_LT(peakKilobytes(), 64 << 10);
#endif
}

TEST_F(BadInput, ReferencesAreNamed) {
  const std::string array = " href='#id7'/>";
  expectFault(envelope("getValue", "<n:path" + array), "id7");
  expectFault(envelope("getArrayRange", "<n:index" + array), "id7");
  expectFault(envelope("getEventLog", "<request" + array, "TarnixWSVK"), "id7");
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
  EXPECT_NE(post(utf8, "operator", {{"HTTP_CONTENT_ENCODING", "deflate"}}).body().find(refusal),
            std::string::npos);
}

TEST_F(BadInput, ElementsOfAnOperationBearItsNamespaceOrNone) {
  const auto named = [](const std::string& operation, const std::string& name,
                        const std::string& children, const std::string& envelopeToo = "") {
    return "<E:Envelope xmlns:E='" + kOldUri + "'" + envelopeToo + "><E:Body><o:" + operation +
           " xmlns:o='http://tarnix.example/" + name + "' xmlns:f='urn:foreign'>" + children +
           "</o:" + operation + "></E:Body></E:Envelope>";
  };
  const auto read = [&](const std::string& children, const std::string& envelopeToo = "") {
    return elements(post(named("getValue", "TarnixWS", children, envelopeToo)).body(),
                    "getValueResult");
  };
  for (const char* path :
       {"<o:path>/M1/Count</o:path>", "<path>/M1/Count</path>", "<path xmlns=''>/M1/Count</path>",
        "<f:path>/M1/Va</f:path><path>/M1/Count</path>",
        "<path xmlns='urn:foreign'>/M1/Va</path><path>/M1/Count</path>"}) {
    EXPECT_EQ(read(path), Texts{"42"}) << path;
  }
  const Texts none = {"? 8 Bad Path Syntax : No Path provided"};
  EXPECT_EQ(read("<f:path>/M1/Count</f:path>"), none);
  EXPECT_EQ(read("<path>/M1/Count</path>", " xmlns='urn:foreign'"), none);
  EXPECT_EQ(read("<path>/M1/Count</path>", " xmlns='" + kOldUri + "'"), Texts{"42"});
  for (const char* prefix : {"o:", ""}) {
    const std::string p = prefix;
    const std::string search = "<f:startingPath>/</f:startingPath><" + p + "startingPath>/M1</" +
                               p + "startingPath><" + p + "attribMatch>Units</" + p +
                               "attribMatch><" + p + "regexMatchPattern>v</" + p +
                               "regexMatchPattern>";
    EXPECT_NE(post(named("findAttributeMatches", "TarnixWSVK", search)).body().find("/M1/Va"),
              std::string::npos)
        << prefix;
  }
}

TEST_F(BadInput, ListsInSeveralElementsCountTogether) {
  const std::string nil = " xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:nil='true'/>";
  EXPECT_EQ(
      elements(call("getValues", "<n:paths" + nil +
                                     "<n:paths><n:string>/M1/Count</n:string></n:paths>"
                                     "<n:other/><n:paths><n:string>/M1/Va</n:string>"
                                     "<n:string>/M1/Flag</n:string></n:paths><n:paths/><n:paths" +
                                     nil),
               "getValuesResult"),
      (Texts{"42", "230.123", "false"}));
  const std::string id = "<n:subscriptionId>s</n:subscriptionId>";
  const auto points = [](const std::string& name) {
    return "<n:" + name +
           "><n:NodeSubscription><n:Path>/M1/Count</n:Path></n:NodeSubscription></n:" + name +
           "><n:" + name +
           "><n:NodeSubscription><n:Path>/M1/Va</n:Path></n:NodeSubscription></n:" + name + ">";
  };
  const Texts both = {"42", "230.123"};
  EXPECT_EQ(elements(call("createSubscription", id + points("realTimeNodes")), "Value"), both);
  EXPECT_EQ(
      elements(call("updateSubscriptionRealTimeNodes", id + points("realTimeNodesToAdd")), "Value"),
      both);
  const std::string request = "<n:requests><n:AckRequest/></n:requests>";
  EXPECT_EQ(elements(call("acknowledgeAlarm", request + request), "acknowledgeAlarmResult").size(),
            2U);
}

TEST_F(BadInput, NamesThatNobodyReadsAreLoggedOnceARequest) {
  std::string many;
  for (int i = 0; i < 30; ++i) {
    many += "<n:x" + std::to_string(i % 10) + std::string(100, 'y') + "/>";
  }
  call("getValue", "<n:Path>/M1/Count</n:Path><n:Path/>");
  call("getValue", many);
  const std::string lines = log();
  EXPECT_NE(lines.find(" 2 elements of the request were not read: n:Path\n"), std::string::npos)
      << lines;
  EXPECT_NE(lines.find("30 elements of the request were not read: n:x0"), std::string::npos);
  EXPECT_EQ(lines.find("n:x9"), std::string::npos) << "a line is bounded";
}

TEST_F(BadInput, ATextInBase64IsDecoded) {
  const auto write = [this](const std::string& type, const std::string& text) {
    return call("setValue", "<n:path>/M1/Text</n:path><n:value xmlns:t='" +
                                type.substr(0, type.find('|')) +
                                "' xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:type='t:" +
                                type.substr(type.find('|') + 1) + "'>" + text + "</n:value>");
  };
  const std::string xsd = "http://www.w3.org/2001/XMLSchema|";
  const std::tuple<std::string, const char*, Texts> kCases[] = {
      {xsd + "base64Binary", "w6Qg8J+YgA==", {"ä 😀"}},
      {xsd + "hexBinary", "C3a4", {"ä"}},
      {"http://schemas.xmlsoap.org/soap/encoding/|base64", "YQ==", {"a"}},
      {xsd + "string", "YQ==", {"YQ=="}},
      {xsd + "base64Binary", "/w==", {}},
      {xsd + "base64Binary", "YQBi", {}},
      {xsd + "base64Binary", "a-b", {}},
      {xsd + "hexBinary", "C3a", {}},
      {xsd + "hexBinary", "zz", {}}};
  for (const auto& [type, text, results] : kCases) {
    EXPECT_EQ(elements(write(type, text), "setValueResult"), results) << type << text;
    if (!results.empty()) {
      EXPECT_EQ(value("/M1/Text"), results.front());
    }
  }
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
