// Who the clients are, and in which language they are answered.
#include "store_fixture.h"
#include "toolkit/connxns.h"
#include "toolkit/utils.h"

using toolkit::CCDS_Connxns;

namespace {

class Connections : public ClientTest {
 protected:
  Connections() { import({leaf("/Table/99/Address", "of an earlier process")}); }

  std::uint32_t add(const std::string& address) {
    return table_.AddConnxn("https", address, "host", "", "admin", nullptr);
  }
  std::uint32_t find(const char* address) { return table_.FindUpdateConnxn(address, nullptr); }

  std::int32_t now_ = 1000;
  CCDS_Connxns table_{cds_, "/Table", nullptr, [this] { return now_; }};
};

TEST_F(Connections, AreFoundByAddressAndPublished) {
  EXPECT_EQ(find("192.0.2.1"), 0U);
  const std::uint32_t id = add("192.0.2.1");
  EXPECT_NE(id, 0U);
  EXPECT_EQ(find("192.0.2.1"), id);
  EXPECT_EQ(text("/Table:Children"), "99") << "who comes waits for no write";
  table_.Publish();
  EXPECT_EQ(text("/Table:Children"), std::to_string(id)) << "the earlier process's are gone";
  const std::string node = "/Table/" + std::to_string(id);
  const std::vector<std::string> leaves = {"/Protocol", "/Address", "/HostName", "/User"};
  EXPECT_EQ(joined(leaves, [&](const std::string& leaf) { return text(node + leaf); }),
            "https 192.0.2.1 host admin ");
  const std::uint32_t next = add("192.0.2.1");
  add("192.0.2.2");
  const std::uint32_t last = add("192.0.2.2");
  cds_.close();
  table_.Publish();
  ASSERT_EQ(cds_.init(), 0);
  EXPECT_EQ(text("/Table:Children"), std::to_string(id)) << "a store that refuses";
  const std::size_t before = cds_.state();
  table_.Publish();
  const std::size_t after = cds_.state();
  EXPECT_NE(after, before);
  table_.Publish();
  EXPECT_EQ(cds_.state(), after) << "nothing is new";
  EXPECT_EQ(text("/Table:Children"), std::to_string(next) + ";" + std::to_string(last))
      << "no address twice";
  table_.RemoveAllConnxns();
  EXPECT_EQ(text("/Table:Children"), "status 2");
}

TEST_F(Connections, SilentOnesAreDropped) {
  add("a");
  now_ += CCDS_Connxns::kStaleSeconds - 1;
  const std::uint32_t b = add("b");
  table_.CheckAllConnxns();
  EXPECT_EQ(table_.size(), 2U);
  now_ += 1;
  table_.CheckAllConnxns();
  EXPECT_EQ(find("a"), 0U);
  EXPECT_EQ(find("b"), b);
  EXPECT_EQ(text("/Table:Children"), std::to_string(b));
}

TEST_F(Connections, TheTableHoldsTheLatest1024) {
  for (int i = 0; i < 1024; ++i) {
    add("client " + std::to_string(i));
  }
  now_ += 1;
  find("client 0");
  add("one more");
  EXPECT_EQ(table_.size(), 1024U);
  EXPECT_NE(find("client 0"), 0U);
  EXPECT_EQ(find("client 1"), 0U);
}

std::string choice(const std::string& wanted,
                   const std::string& supported = "en_US;de_DE;fr_FR;de_AT") {
  std::string prime = "before";
  const bool found = toolkit::CCds_Utils::getPrimeLocale(supported, wanted, prime);
  EXPECT_EQ(found, !prime.empty());
  return prime;
}

TEST(LocaleChoice, ServesTheHeaviestWish) {
  const std::pair<const char*, std::vector<const char*>> kCases[] = {
      {"de_DE",
       {"de_DE", "DE-de", "de", "de_DE@euro", "fr;q=0.5, de;q=0.9", " fr ; q=0.5 , de ;q=0.8 ",
        "en;q=0, *"}},
      {"de_AT", {"de-AT", "de-DE;q=0, de"}},
      {"fr_FR",
       {"fr_FR.UTF-8", "fr-CA", "fr;q=0.5,de;q=0.5", "de;Q=0.2, fr", "de;q=2, fr",
        "de;q=nan, fr;q=0.1", "de;q=, fr;q=0.1"}},
      {"en_US", {"*", "xx, *;q=0.1"}},
      {"", {"", "e", "de;q=0", "de;q=0, de-DE", "de;q=0.5x", ",,;;,="}}};
  for (const auto& [expected, wishes] : kCases) {
    for (const char* wanted : wishes) {
      EXPECT_EQ(choice(wanted), expected) << wanted;
    }
  }
  EXPECT_EQ(choice("de", ";;de_DE"), "de_DE");
}

TEST(LocaleChoice, HostileTextIsCutOff) {
  std::string many;
  for (int i = 0; i < 40; ++i) {
    many += "xx,";
  }
  EXPECT_EQ(choice(many + "de"), "") << "after 32 wishes";
  EXPECT_EQ(choice(std::string(2000, ' ') + "de"), "") << "after 1 kB";
}

}  // namespace
