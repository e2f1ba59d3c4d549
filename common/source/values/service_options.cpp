#include "values/service_options.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <vector>

#include <boost/locale/info.hpp>

#include "front/global_data.h"
#include "values/locales.h"

namespace {

// What to do with a piece that begins with a name. The order decides between names that begin
// alike.
struct Option {
  std::string_view name;
  void (*apply)(const std::string& piece, _service_options_t& opts);
};

void applyPrecision(const std::string& piece, _service_options_t& opts) {
  const long digits = std::strtol(parseStringServiceOption(piece).c_str(), nullptr, 10);
  if (digits > 0) {
    opts.precision = static_cast<int>(std::min<long>(digits, std::numeric_limits<int>::max()));
  }
}

constexpr std::array<Option, 9> kOptions = {{
    {"readback", [](auto& piece, auto& opts) { opts.readback = parseBoolServiceOption(piece); }},
    {"errorString",
     [](auto& piece, auto& opts) { opts.errorString = parseStringServiceOption(piece); }},
    {"errorPrefix",
     [](auto& piece, auto& opts) { opts.errorPrefix = parseStringServiceOption(piece); }},
    {"locale", [](auto& piece, auto& opts) { opts.localeName = parseStringServiceOption(piece); }},
    {"writeSingleLocale",
     [](auto& piece, auto& opts) { opts.writeSingleLocale = parseBoolServiceOption(piece); }},
    {"canonical", [](auto& piece, auto& opts) { opts.canonical = parseBoolServiceOption(piece); }},
    {"precision", applyPrecision},
    {"noEmptyArrays",
     [](auto& piece, auto& opts) { opts.noEmptyArrays = parseBoolServiceOption(piece); }},
    {"persist", [](auto& piece, auto& opts) { opts.persist = parseBoolServiceOption(piece); }},
}};

void applyPiece(const std::string& piece, _service_options_t& opts) {
  for (const Option& option : kOptions) {
    if (piece.starts_with(option.name)) {
      option.apply(piece, opts);
      return;
    }
  }
  __psyslog->notice(2, "An Unrecognized service option in the request: %s", piece.c_str());
}

std::locale defaultLocale(_global_data_t& global) {
  const bool named = std::has_facet<boost::locale::info>(global.locale) &&
                     !std::use_facet<boost::locale::info>(global.locale).name().empty();
  return named ? global.locale : englishLocale(global);
}

// "de-DE.UTF-8" as the platform names locales: "de_DE".
std::string platformName(std::string name) {
  name.erase(std::min(name.find('.'), name.size()));
  const std::size_t dash = name.find('-');
  if (dash != std::string::npos) {
    name[dash] = '_';
  }
  return name;
}

void applyRequestedLocale(_global_data_t& global, _service_options_t& opts) {
  opts.localeValid = false;
  const std::string name = platformName(opts.localeName);
  std::string prime;
  try {
    if (!toolkit::CCds_Utils::getPrimeLocale(global.supportedLocales, name, prime)) {
      __psyslog->notice(2, "The requested locale %s is unsupported", name.c_str());
      return;
    }
  } catch (const std::exception& e) {
    __psyslog->notice(1, "Exception in setting locale %s: %s", name.c_str(), e.what());
    return;
  }
  const auto pos = global.localesMap.find(prime);
  if (pos == global.localesMap.end()) {
    __psyslog->warn(2, "Locale map lookup failed for %s", prime.c_str());
  }
  assert(pos != global.localesMap.end());
  global.locale = pos->second;
  opts.locale = pos->second;
  opts.localeValid = true;
}

}  // namespace

bool parseBoolServiceOption(const std::string& option) {
  return parseStringServiceOption(option).find("false") == std::string::npos;
}

std::string parseStringServiceOption(const std::string& option) {
  const std::size_t equals = option.find('=');
  return equals == std::string::npos ? std::string() : option.substr(equals + 1);
}

int parseServiceOptions(void* glptr, const std::string* options, _service_options_t* opts) {
  auto* global = static_cast<_global_data_t*>(glptr);
  const bool locales = global != nullptr && global->localesOk;
  *opts = _service_options_t();
  if (locales) {
    opts->locale = defaultLocale(*global);
  }
  if (options == nullptr || options->empty()) {
    return 0;
  }
  std::vector<std::string> pieces;
  toolkit::CElement::split_string(pieces, *options, ';');
  for (const std::string& piece : pieces) {
    applyPiece(piece, *opts);
  }
  if (locales && !opts->localeName.empty()) {
    applyRequestedLocale(*global, *opts);
  }
  return 0;
}
