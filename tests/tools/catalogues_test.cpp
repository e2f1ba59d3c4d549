// Every text of the delivered models and of the simulation that a client may see in his language
// has a translation.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "alarm_rules.h"
#include "model_file.h"

namespace {

// Entries of a .po file with one line a text.
std::map<std::string, std::string> readCatalogue(const std::string& language) {
  std::ifstream in(std::string(LOCALE_FOLDER) + "/" + language + ".po");
  std::map<std::string, std::string> entries;
  std::string line;
  std::string id;
  while (std::getline(in, line)) {
    if (line.starts_with("msgid ")) id = nlohmann::json::parse(line.substr(6));
    if (line.starts_with("msgstr ")) entries[id] = nlohmann::json::parse(line.substr(7));
  }
  return entries;
}

std::set<std::string> translatableTexts() {
  static const std::set<std::string> kLeaves = {
      "DisplayName",       "Description",     "ShortName",       "Units",
      ".GroupName",        "PossibleValues",  ".AlarmHighMsg",   ".AlarmLowMsg",
      ".AlarmHighHighMsg", ".AlarmLowLowMsg", ".AlarmOnValueMsg"};
  std::set<std::string> texts = {"Circuit breaker opened", "Circuit breaker closed"};
  for (const sim::LimitKind& kind : sim::kLimitKinds) texts.insert(kind.message);
  for (const char* file : {FEEDER_MODEL, CAMPUS_MODEL}) {
    toolkit::admin::Model model;
    EXPECT_EQ(model_file::load(file, model), "");
    for (const auto& leaf : model.leaves) {
      if (kLeaves.contains(leaf.name)) texts.insert(leaf.element.to_string());
    }
  }
  return texts;
}

TEST(Catalogues, HaveEveryTextOfTheModelsAndKeepThePlacesOfLabels) {
  const std::set<std::string> texts = translatableTexts();
  ASSERT_GT(texts.size(), 50U);
  for (const char* language : {"en_US", "de_DE", "fr_FR"}) {
    const auto catalogue = readCatalogue(language);
    for (const std::string& text : texts) {
      const auto entry = catalogue.find(text);
      ASSERT_TRUE(entry != catalogue.end() && !entry->second.empty()) << language << ": " << text;
      EXPECT_EQ(std::count(text.begin(), text.end(), ';'),
                std::count(entry->second.begin(), entry->second.end(), ';'))
          << language << ": " << text;
    }
  }
}

}  // namespace
