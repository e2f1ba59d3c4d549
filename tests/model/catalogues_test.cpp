// Every text of the delivered models, of the device and of the simulation that a client may see in
// his language has a translation.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "alarms/alarm_rules.h"
#include "installation.h"
#include "logs/system_events.h"
#include "model_file.h"
#include "test_program.h"

namespace {

std::set<std::string> translatableTexts() {
  static const std::set<std::string> kLeaves = {
      "DisplayName",       "Description",     "ShortName",       "Units",
      ".GroupName",        "PossibleValues",  ".AlarmHighMsg",   ".AlarmLowMsg",
      ".AlarmHighHighMsg", ".AlarmLowLowMsg", ".AlarmOnValueMsg"};
  std::set<std::string> texts = {
      "Circuit breaker opened", "Circuit breaker closed", sim::kStarted, sim::kStopped,
      device::kStarted,         device::kStopped};
  for (const device::LimitKind& kind : device::kLimitKinds) {
    texts.insert(kind.message);
  }
  for (const char* file : {FEEDER_MODEL, CAMPUS_MODEL}) {
    toolkit::admin::Model model;
    EXPECT_EQ(model_file::load(file, model), "");
    for (const auto& leaf : model.leaves) {
      if (kLeaves.contains(leaf.name)) {
        texts.insert(leaf.element.to_string());
      }
    }
  }
  return texts;
}

TEST(Catalogues, HaveEveryTextOfTheModelsAndKeepThePlacesOfLabels) {
  const std::set<std::string> texts = translatableTexts();
  ASSERT_GT(texts.size(), 50U);
  for (const char* language : {"en_US", "de_DE", "fr_FR"}) {
    // Its entries have one line a text.
    const std::string catalogue = contentsOf(LOCALE_FOLDER "/" + std::string(language) + ".po");
    for (const std::string& text : texts) {
      const std::string id = "\nmsgid " + nlohmann::json(text).dump() + "\nmsgstr \"";
      const std::size_t at = catalogue.find(id);
      ASSERT_NE(at, std::string::npos) << language << id;
      const auto begin = catalogue.begin() + static_cast<std::ptrdiff_t>(at + id.size());
      ASSERT_NE(*begin, '"') << language << id;
      EXPECT_EQ(std::count(begin, std::find(begin, catalogue.end(), '\n'), ';'),
                std::count(text.begin(), text.end(), ';'))
          << language << id;
    }
  }
}

}  // namespace
