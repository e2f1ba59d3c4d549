// Fuzzes the option string of a request, with and without locales.
#include <cstdlib>

#include "support.h"
#include "toolkit/admin.h"
#include "values/locales.h"
#include "values/service_options.h"

namespace {

// The service's state, with the locales of a store of its own.
class Service {
 public:
  Service() {
    scratch_.useForStore();
    const toolkit::admin::ModelLeaf locales = {"/Software/System Settings/Supported Locales",
                                               "Value", toolkit::CElement("en_US;de_DE;fr_FR")};
    require(toolkit::admin::importModel({{}, {}, {locales}}, true).empty());
    __psyslog = &log_;
    require(global.cdsApi.init() == 0);
    global.localesOk = initializeLocales(&global);
    require(global.localesOk && global.localesMap.size() == 3);
  }

 private:
  Scratch scratch_;
  toolkit::CSysLog log_{"options_fuzz", -1, false, false, false};

 public:
  _global_data_t global;
};

bool same(const _service_options_t& a, const _service_options_t& b) {
  return a.readback == b.readback && a.errorString == b.errorString &&
         a.errorPrefix == b.errorPrefix && a.localeName == b.localeName &&
         a.writeSingleLocale == b.writeSingleLocale && a.canonical == b.canonical &&
         a.precision == b.precision && a.noEmptyArrays == b.noEmptyArrays && a.persist == b.persist;
}

_service_options_t parsed(_global_data_t* global, const std::string& text) {
  _service_options_t options;
  require(parseServiceOptions(global, &text, &options) == 0);
  return options;
}

void checkTexts(const _service_options_t& options, const std::string& given) {
  require(options.precision > 0);
  for (const std::string& text : {options.errorPrefix, options.localeName}) {
    require(text.find(';') == std::string::npos && given.find(text) != std::string::npos);
  }
  require(!options.errorStringGiven() || given.find("errorString") != std::string::npos);
}

// Text that names no locale leaves the one of the request alone.
void checkLocale(_global_data_t& global, const std::string& text) {
  const std::locale before = global.localesMap.at("fr_FR");
  global.locale = before;
  const _service_options_t options = parsed(&global, text);
  require(options.locale == global.locale);
  require(options.localeValid ? !options.localeName.empty() || global.locale == before
                              : !options.localeName.empty() && global.locale == before);
}

// What comes last wins, and what is unknown counts for nothing.
void checkOrder(const std::string& text, const _service_options_t& options) {
  require(same(parsed(nullptr, "?=1;" + text + ";?"), options));
  _service_options_t expected = options;
  expected.persist = false;
  expected.precision = 17;
  expected.errorString = "a=b";
  require(same(parsed(nullptr, text + ";persist=false;precision=17;errorString=a=b"), expected));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Service service;
  const std::string text(data, data + size);
  const _service_options_t options = parsed(nullptr, text);
  require(options.localeValid);
  checkTexts(options, text);
  checkOrder(text, options);
  checkLocale(service.global, text);
  require(same(parsed(&service.global, text), options));
  return 0;
}
