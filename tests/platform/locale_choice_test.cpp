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
  const std::pair<const char*, const char*> kCases[] = {
      {"de_DE", "de_DE"},
      {"de-AT", "de_AT"},
      {"DE-de", "de_DE"},
      {"fr_FR.UTF-8", "fr_FR"},
      {"de_DE@euro", "de_DE"},
      {"fr-CA", "fr_FR"},
      {"de", "de_DE"},
      {"", ""},
      {"xx", ""},
      {"e", ""},
      {"xx, de;q=0.5", "de_DE"},
      {"fr;q=0.5, de;q=0.9", "de_DE"},
      {"fr;q=0.5,de;q=0.5", "fr_FR"},
      {" fr ; q=0.5 , de ;q=0.8 ", "de_DE"},
      {"de;Q=0.2, fr", "fr_FR"},
      {"*", "en_US"},
      {"xx, *;q=0.1", "en_US"},
      {"en;q=0, *", "de_DE"},
      {"de-DE;q=0, de", "de_AT"},
      {"de;q=0", ""},
      {"de;q=0, de-DE", ""},
      {"de;q=2, fr", "fr_FR"},
      {"de;q=nan, fr;q=0.1", "fr_FR"},
      {"de;q=, fr;q=0.1", "fr_FR"},
      {"de;q=0.5x", ""},
      {",,;;,=", ""},
  };
  for (const auto& [wanted, expected] : kCases) {
    EXPECT_EQ(choice(wanted), expected) << wanted;
  }
  EXPECT_EQ(choice("de", ""), "");
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
