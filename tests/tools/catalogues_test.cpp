// Every text of the delivered model that a client may see in his language has a translation.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "model_file.h"

namespace {

using Catalogue = std::map<std::string, std::string>;

// Entries of a .po file with one line a text.
Catalogue readCatalogue(const std::string& language) {
  std::ifstream in(std::string(LOCALE_FOLDER) + "/" + language + ".po");
  Catalogue entries;
  std::string line;
  std::string id;
  while (std::getline(in, line)) {
    const auto text = [&line](std::size_t skip) {
      return nlohmann::json::parse(line.substr(skip)).get<std::string>();
    };
    if (line.starts_with("msgid ")) id = text(6);
    if (line.starts_with("msgstr ")) entries[id] = text(7);
  }
  return entries;
}

std::set<std::string> translatableTexts() {
  static const std::set<std::string> kLeaves = {
      "DisplayName",       "Description",     "ShortName",       "Units",
      ".GroupName",        "PossibleValues",  ".AlarmHighMsg",   ".AlarmLowMsg",
      ".AlarmHighHighMsg", ".AlarmLowLowMsg", ".AlarmOnValueMsg"};
  toolkit::admin::Model model;
  EXPECT_EQ(model_file::load(FEEDER_MODEL, model), "");
  std::set<std::string> texts;
  for (const auto& leaf : model.leaves) {
    if (kLeaves.contains(leaf.name)) texts.insert(leaf.element.to_string());
  }
  return texts;
}

class CatalogueTest : public testing::TestWithParam<const char*> {};

TEST_P(CatalogueTest, HasEveryTextOfTheModel) {
  const Catalogue catalogue = readCatalogue(GetParam());
  const std::set<std::string> texts = translatableTexts();
  ASSERT_GT(texts.size(), 50U);
  for (const std::string& text : texts) {
    const auto entry = catalogue.find(text);
    ASSERT_NE(entry, catalogue.end()) << text;
    EXPECT_NE(entry->second, "") << text;
    // A list of labels keeps its places.
    EXPECT_EQ(std::count(text.begin(), text.end(), ';'),
              std::count(entry->second.begin(), entry->second.end(), ';'))
        << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, CatalogueTest, testing::Values("en_US", "de_DE", "fr_FR"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
