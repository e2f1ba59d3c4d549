// The read operations over the real socket, and which locale a request is answered in.
#include "front/clients.h"
#include "handler_fixture.h"
#include "values/locales.h"

namespace {

class Reading : public ServiceTest {
 protected:
  Reading() {
    setenv("REMOTE_USER", "admin", 1);  // of the shell's, who is nobody's user
    start();
  }

  // getValue of the breaker for a client at the address.
  std::string breaker(const std::string& address, const std::string& language,
                      const std::string& options = "") const {
    const std::string children = tags({{"n:options", options}, {"n:path", "/M1/Breaker"}});
    Pairs client = {{"REMOTE_ADDR", address}};
    if (!language.empty()) {
      client.emplace_back("HTTP_ACCEPT_LANGUAGE", language);
    }
    const FastCgiReply reply = post(envelope("getValue", children), "operator", client);
    return elements(reply.body(), "getValueResult").at(0);
  }
};

TEST_F(Reading, OneValueOfEveryKind) {
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"/M1/Va", "", "230.123"},
      {"/M1/Va", "precision= 9x", "230.123457"},
      {"/M1/Va", "precision=2;precision=0", "2.3e+02"},
      {"/M1/Va", "precision=99999999999", "230.12345678899999"},
      {"/M1/Va:.Time", "", "1700000000500000"},
      {"/M1/Va:.Source", "", "Normal"},
      {"/M1/Breaker:.AttribType", "", "Multistate"},
      {"/M1/Va:Units.AttribType", "", "String"},
      {"/M1:Children.Source", "", "Automatic"},
      {"/M1/Va:.Foo", "", "? 11 Illegal Attribute : Unknown sub-Attribute .Foo"},
      {"/M1/Breaker", "", "Closed"},
      {"/M1/Breaker:PossibleValues[2]", "", "Tripped"},
      {"/M1/Enabled", "", "Enabled"},
      {"/M1/Enabled", "x;canonical;", "true"},
      {"/M1/Enabled", "canonical=false", "Enabled"},
      {"/M1/Text", "", "é 漢 😀 <&>"},
      {"/M1/Gone", "", "? 9 Node Not Found : CDS access failed"},
      {"/M1//Va", "", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"", "", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"/M1/Gone", "errorPrefix=#", "#? 9 Node Not Found : CDS access failed"},
      {"/M1/Gone", "errorString", ""},
      {"/M1/Gone", "errorString=;errorPrefix=#", ""},
      {"/M1/Gone", "errorString=a=b;errorPrefix=#", "#a=b"},
      {"/M1/Gone", "errorString=a;errorPrefix=? ", "a"},
      {"/M1/Va", "locale=xx-XX", "? 7 Locale Not Supported : xx-XX"}};
  for (const auto& [path, options, expected] : kCases) {
    EXPECT_EQ(value(path, options), expected) << path << " " << options;
  }
}

TEST_F(Reading, RightsGuardValuesButNotWhatIsToldAboutThem) {
  const std::string refused = "? 2 Not Authorized : Unauthorized read";
  const std::tuple<const char*, const char*, std::string> kCases[] = {
      {"operator", "/Secret/Value1", refused},
      {"operator", "/Secret/Value1:Children", refused},
      {"", "/M1/Count", "42"},
      {"admin", "/Secret/Value1", "hidden"},
      {"", "/Secret/Value1", refused},
      {"operator", "/Secret/Value1:.Time", "1700000000500000"}};
  for (const auto& [user, path, expected] : kCases) {
    EXPECT_EQ(value(path, "", user), expected) << user << " " << path;
  }
}

TEST_F(Reading, AListAnswersEachPathInItsPlace) {
  const auto list = [this](const std::string& children) { return results("getValues", children); };
  const std::string paths = tagged("n:string", {"/M1/Count", "/M1/Gone", "bad", "/Secret/Value1",
                                                "/M1/Breaker:PossibleValues[0]"});
  EXPECT_EQ(list(tags({{"n:paths", paths}})),
            (Texts{"42", "? 9 Node Not Found : CDS access failed",
                   "? 8 Bad Path Syntax : CDS access failed",
                   "? 2 Not Authorized : Unauthorized read", "Open"}));
  EXPECT_EQ(list("<n:paths/>"), Texts{"? 17 No Paths Provided : No paths"});
}

TEST_F(Reading, RelativePathsAreJoinedAsTheyStand) {
  const auto list = [this](const std::string& c) { return results("getRelativeValues", c); };
  EXPECT_EQ(list("<n:basePath>/M1</n:basePath><n:paths>Count</n:paths>"),
            Texts{"? 9 Node Not Found : CDS access failed"});
  const std::string base = tags({{"n:basePath", "/" + std::string(500'000, 'x')}});
  EXPECT_EQ(list(base + repeated("<n:paths/>", 20'000)),
            Texts(20'000, "? 8 Bad Path Syntax : CDS access failed"))
      << "10 GB if each were kept";
}

TEST_F(Reading, ArraysAreSplitAndThatOfOneIsItsEntryUnlessAPrefixTellsErrorsApart) {
  const auto list = [this](const char* path) {
    return results("getArray", tags({{"n:path", path}}));
  };
  EXPECT_EQ(list("/M1:Children"),
            (Texts{"Breaker", "Count", "Enabled", "Flag", "List", "One", "Text", "Va"}));
  EXPECT_EQ(list("/M1/Count"), Texts{"42"}) << "a plain value is an array of one";
  EXPECT_EQ(list("/M1/Va:Units"), Texts{"? 24 Not an Array : Invalid attribute for array"});
  const auto size = [this](const std::string& path, const std::string& options) {
    return results("getArraySize", tags({{"n:options", options}, {"n:path", path}}));
  };
  EXPECT_EQ(size("/M1/One:PossibleValues", ""), Texts{"only"});
  EXPECT_EQ(size("/M1/One:PossibleValues", "errorPrefix=#"), Texts{"1"});
  EXPECT_EQ(size("/M1/Gone:PossibleValues", "errorPrefix=#"),
            Texts{"#? 9 Node Not Found : CDS access failed"});
}

TEST_F(Reading, ArrayRangesCutAndWrap) {
  const auto range = [this](const std::string& node, const std::string& index,
                            const std::string& count, const std::string& options = "") {
    return results("getArrayRange", tags({{"n:options", options},
                                          {"n:path", "/M1/" + node + ":PossibleValues"},
                                          {"n:index", index},
                                          {"n:count", count}}));
  };
  // The list is a to j.
  const std::tuple<const char*, const char*, Texts> kCases[] = {
      {"2", "3", {"c", "d", "e"}},
      {"8", "5", {"i", "j"}},
      {"10", "1", {}},
      {"0", "0", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}},
      {"5", "4294967295", {"a", "b", "c", "d"}},
      {"4294967298", "3", {"c", "d", "e"}},
      {"18446744073709551615", "1", {}}};
  for (const auto& [index, count, expected] : kCases) {
    EXPECT_EQ(range("List", index, count), expected) << index << ", " << count;
  }
  EXPECT_EQ(range("One", "0", "1"), Texts{});
  EXPECT_EQ(range("One", "0", "1", "errorPrefix=#"), Texts{"only"});
}

TEST_F(Reading, OnlyAClientsFirstRequestFollowsItsLanguage) {
  const std::string german = breaker("192.0.2.10", "de-DE,de;q=0.9,en;q=0.1");
  EXPECT_EQ(german, "Geschlossen");
  EXPECT_EQ(breaker("192.0.2.10", "de-DE"), "Closed") << "known by now";
  EXPECT_EQ(breaker("192.0.2.11", "xx, fr;q=0.2"), "Fermé");
  EXPECT_EQ(breaker("192.0.2.10", "", "locale=de-AT.ISO-8859-1"), german) << "by language";
  EXPECT_EQ(breaker("192.0.2.10", "", "locale=fr;locale=de"), german) << "the last one counts";
  EXPECT_EQ(breaker("192.0.2.10", ""), "Closed") << "an option is for its request only";
}

TEST_F(Reading, HttpsIsTheExactWordHostsHaveNamesAndLongOnesAreCutInTheTable) {
  const std::string user(100, 'n');
  const std::string who = envelope("whoAmI", "", "TarnixWSVK");
  fastCgiRequest(socketPath(), {{"HTTPS", "ON"}, {"REMOTE_ADDR", "127.0.0.1"}}, "");
  const Pairs secure = {{"HTTPS", "on"}, {"REMOTE_ADDR", "2001:db8::1"}};
  EXPECT_EQ(elements(post(who, user, secure).body(), "result"), Texts{user});
  EXPECT_TRUE(contains(log(), "for @http:127.0.0.1"));
  EXPECT_TRUE(contains(log(), "@https:2001:db8::1"));
  const std::string table = "/Software/Data Servers/Connections/BACnet WebServices";
  EXPECT_TRUE(await([&] { return value(table + "/3/HostName") == "2001:db8::1"; }));
  EXPECT_EQ(value(table + "/2/HostName"), "localhost");
  EXPECT_EQ(value(table + "/3/User"), user.substr(0, 64));
}

class LocaleList : public HandlerTest {
 protected:
  std::size_t loaded(const std::string& list) {
    import({leafAt("/Software/System Settings/Supported Locales", list)});
    EXPECT_TRUE(initializeLocales(&global_));
    return global_.localesMap.size();
  }
};

TEST_F(LocaleList, EmptyPiecesAreNoneAndWithoutAnyNoClientIsServed) {
  EXPECT_EQ(loaded(";"), 0U);
  global_.connxns.emplace(global_.cdsApi, "/Connections", global_.syslog);
  EXPECT_DEATH(AddUpdateConnectionMap(&global_, "192.0.2.1", "", false, "de"),
               "pos != glptr->localesMap.end");
  EXPECT_EQ(loaded("en_US;;de_DE;"), 2U);
  EXPECT_EQ(global_.localesMap.count(""), 0U);
}

}  // namespace
