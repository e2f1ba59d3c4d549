// The service's locales: one for each supported name, with the catalogues of the domain "toolkit".
#pragma once

#include <locale>
#include <string>

#include "front/global_data.h"

// Fills supportedLocales, localesMap and localeGen. False when a locale could not be set up: the
// reason is logged, and those that were made so far stay.
bool initializeLocales(_global_data_t* glptr);

// Empties what initializeLocales filled.
void releaseLocales(_global_data_t* glptr);

// en_US.UTF-8, from the generator's cache after the first call.
std::locale englishLocale(_global_data_t& global);

// `text` in the catalogue of `locale`, or as it is where that has no translation.
std::string translated(const std::string& text, const std::locale& locale);

// An alarm message, "<what> : <detail>": both sides are looked up on their own. The character after
// " : " is taken for a separator too and is dropped. Unchanged while locales are off.
void TranslateAlarmMsg(const _global_data_t* glptr, const std::string& message,
                       std::string& translatedMessage);
