// Which locale a request is answered in, and the locale operations.
#include "front/clients.h"
#include "handler_fixture.h"
#include "values/locales.h"

namespace {

class Locales : public ServiceTest {
 protected:
  Locales() { start(); }

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

TEST_F(Locales, OnlyAClientsFirstRequestFollowsItsLanguage) {
  const std::string german = breaker("192.0.2.10", "de-DE,de;q=0.9,en;q=0.1");
  EXPECT_EQ(german, "Geschlossen");
  EXPECT_EQ(breaker("192.0.2.10", "de-DE"), "Closed") << "known by now";
  EXPECT_EQ(breaker("192.0.2.11", "xx, fr;q=0.2"), "Fermé");
  EXPECT_EQ(breaker("192.0.2.10", "", "locale=de-AT.ISO-8859-1"), german) << "by language";
  EXPECT_EQ(breaker("192.0.2.10", "", "locale=fr;locale=de"), german) << "the last one counts";
  EXPECT_EQ(breaker("192.0.2.10", ""), "Closed") << "an option is for its request only";
}

TEST_F(Locales, HttpsIsTheExactWordAndHostsHaveNames) {
  fastCgiRequest(socketPath(), {{"HTTPS", "ON"}, {"REMOTE_ADDR", "127.0.0.1"}}, "");
  fastCgiRequest(socketPath(), {{"HTTPS", "on"}, {"REMOTE_ADDR", "2001:db8::1"}}, "");
  EXPECT_TRUE(contains(log(), "for @http:127.0.0.1"));
  EXPECT_TRUE(contains(log(), "for @https:2001:db8::1"));
  const std::string table = "/Software/Data Servers/Connections/BACnet WebServices";
  EXPECT_TRUE(await([&] { return value(table + "/3/HostName") == "2001:db8::1"; }));
  EXPECT_EQ(value(table + "/2/HostName"), "localhost");
}

class LocaleList : public HandlerTest {
 protected:
  std::size_t loaded(const std::string& list) {
    import({leafAt("/Software/System Settings/Supported Locales", list)});
    EXPECT_TRUE(initializeLocales(&global_));
    return global_.localesMap.size();
  }
};

TEST_F(LocaleList, EmptyPiecesAreNoLocales) {
  EXPECT_EQ(loaded("en_US;;de_DE;"), 2U);
  EXPECT_EQ(global_.localesMap.count(""), 0U);
}

TEST_F(LocaleList, WithoutAnyNoClientIsServed) {
  EXPECT_EQ(loaded(";"), 0U);
  global_.connxns.emplace(global_.cdsApi, "/Connections", global_.syslog);
  EXPECT_DEATH(AddUpdateConnectionMap(&global_, "192.0.2.1", "", false, "de"),
               "pos != glptr->localesMap.end");
}

}  // namespace
