#include <netinet/in.h>

#include <algorithm>

#include "store_fixture.h"
#include "toolkit/connxns.h"

using toolkit::CCds;
using toolkit::CCDS_Connxns;
using toolkit::CElement;

namespace {

constexpr const char* kTable = "/Software/Connections/Me";

class Connections : public StoreTest {
 protected:
  Connections() {
    import({leaf(std::string(kTable) + "/99/Address", "Value", CElement("of an earlier process"))});
    cds_.init();
  }

  std::uint32_t add(const std::string& address) {
    return table_.AddConnxn("https", address, "host", "", "admin", nullptr);
  }
  std::uint32_t find(const std::string& address) {
    return table_.FindUpdateConnxn(address, nullptr);
  }
  std::string text(const std::string& path) { return StoreTest::text(cds_, kTable + path); }

  CCds cds_;
  std::int32_t now_ = 1000;
  CCDS_Connxns table_{cds_, kTable, nullptr, [this] { return now_; }};
};

TEST_F(Connections, AreFoundByAddressAndPublished) {
  EXPECT_EQ(find("192.0.2.1"), 0U);
  const std::uint32_t id = add("192.0.2.1");
  EXPECT_NE(id, 0U);
  EXPECT_EQ(find("192.0.2.1"), id);
  EXPECT_EQ(text(":Children"), std::to_string(id)) << "the earlier process's are gone";
  const std::string node = "/" + std::to_string(id);
  for (const auto& [name, value] : {std::pair("/Protocol", "https"),
                                    {"/Address", "192.0.2.1"},
                                    {"/HostName", "host"},
                                    {"/User", "admin"}}) {
    EXPECT_EQ(text(node + name), value);
  }
  const std::uint32_t again = add("192.0.2.1");
  EXPECT_NE(again, id);
  EXPECT_EQ(text(":Children"), std::to_string(again));
  table_.RemoveAllConnxns();
  EXPECT_EQ(table_.size(), 0U);
  EXPECT_EQ(text(":Children"), "status 2");
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
  EXPECT_EQ(text(":Children"), std::to_string(b));
}

TEST_F(Connections, TheTableHoldsTheLatest1024) {
  for (std::size_t i = 0; i < CCDS_Connxns::kMaxConnections; ++i) {
    add("client " + std::to_string(i));
  }
  now_ += 1;
  find("client 0");
  add("one more");
  EXPECT_EQ(table_.size(), CCDS_Connxns::kMaxConnections);
  EXPECT_NE(find("client 0"), 0U);
  EXPECT_EQ(find("client 1"), 0U);
}

TEST_F(Connections, AStoreThatRefusesCostsOnlyThePublication) {
  cds_.close();
  const std::uint32_t id = add("a");
  EXPECT_NE(id, 0U);
  EXPECT_EQ(find("a"), id);
  table_.CheckAllConnxns();
  table_.RemoveAllConnxns();
}

TEST(HostLookup, ParsesAddressesAndReadsTheHostsFile) {
  const struct {
    const char* address;
    int family;
    const char* name;
  } kCases[] = {{"192.0.2.77", AF_INET, "192.0.2.77"},
                {"2001:db8::77", AF_INET6, "2001:db8::77"},
                {"127.0.0.1", AF_INET, "localhost"},
                {"no.address.example", AF_UNSPEC, "no.address.example"},
                {"", AF_UNSPEC, ""},
                {"1.2.3", AF_UNSPEC, "1.2.3"}};
  for (const auto& c : kCases) {
    sockaddr_storage address = {};
    std::string name1;
    std::string name2 = "before";
    const int result = CCDS_Connxns::HostLookup(c.address, 2, address, name1, name2, nullptr);
    EXPECT_EQ(result == 0, c.family != AF_UNSPEC) << c.address;
    EXPECT_EQ(address.ss_family, c.family) << c.address;
    EXPECT_EQ(name1, c.name);
  }
}

}  // namespace
