#include "values/locales.h"

#include <exception>
#include <vector>

#include <boost/locale/message.hpp>

#include "toolkit/element.h"

namespace {

constexpr const char* kDomain = "toolkit";
constexpr const char* kEnglish = "en_US.UTF-8";

void addLocale(_global_data_t& global, const std::string& name) {
  const std::string generated = name + ".UTF-8";
  const auto [entry, inserted] = global.localesMap.try_emplace(name, global.localeGen(generated));
  if (inserted) {
    __psyslog->info(2, "Added locale %s support", generated.c_str());
  }
  if (generated == kEnglish) {
    std::locale::global(entry->second);
  }
}

}  // namespace

bool initializeLocales(_global_data_t* glptr) {
  try {
    boost::locale::generator& generator = glptr->localeGen;
    generator.characters(boost::locale::char_facet);
    // Numbers are never localised: messages are all that is wanted of a locale.
    generator.categories(boost::locale::message_facet | boost::locale::information_facet);
    generator.locale_cache_enabled(true);
    generator.add_messages_path(DRAVIXD_LOCALE_DIR);
    generator.add_messages_domain(std::string(kDomain) + "/UTF-8");

    glptr->cdsUtils.getSupportedLocales(glptr->supportedLocales);
    std::vector<std::string> names;
    toolkit::CElement::split_string(names, glptr->supportedLocales, ';');
    for (const std::string& name : names) {
      if (!name.empty()) {
        addLocale(*glptr, name);
      }
    }
    if (glptr->localesMap.empty()) {
      __psyslog->err(0, "No locale is supported: no client can be served");
    }
    return true;
  } catch (const std::exception& e) {
    __psyslog->warn(1, "Exception in setting up locales: %s", e.what());
    return false;
  }
}

void releaseLocales(_global_data_t* glptr) {
  glptr->localesMap.clear();
  glptr->localeGen.clear_domains();
  glptr->localeGen.clear_paths();
  glptr->localeGen.clear_cache();
}

std::locale englishLocale(_global_data_t& global) {
  return global.localeGen(kEnglish);
}

std::string translated(const std::string& text, const std::locale& locale) {
  return toolkit::CElement(text).to_translated_string(locale, nullptr, kDomain);
}

void TranslateAlarmMsg(const _global_data_t* glptr, const std::string& message,
                       std::string& translatedMessage) {
  constexpr std::size_t kSkipped = 4;  // " : " and the character after it
  const std::size_t separator = message.find(" : ");
  if (!glptr->localesOk) {
    translatedMessage = message;
  } else if (separator == std::string::npos) {
    translatedMessage = translated(message, glptr->locale);
  } else {
    const std::string detail =
        message.size() > separator + kSkipped ? message.substr(separator + kSkipped) : "";
    translatedMessage = translated(message.substr(0, separator), glptr->locale) + " : " +
                        translated(detail, glptr->locale);
  }
}
