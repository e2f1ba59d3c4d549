#include <gtest/gtest.h>

#include "toolkit/utils.h"

namespace {

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
