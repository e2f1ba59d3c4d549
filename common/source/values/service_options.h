// Service options: the ";"-separated option string that every request may carry.
//
//   readback errorString errorPrefix locale writeSingleLocale canonical precision noEmptyArrays
//   persist
//
// A piece is an option when it begins with the option's name, in this order and letter case;
// nothing is trimmed. A boolean is false only when the text after "=" contains "false". An unknown
// or malformed option is logged and ignored: no option makes a request fail.
#pragma once

#include <locale>
#include <string>

struct _service_options_t {
  // In errorString: the client gave none.
  static constexpr const char* kNoErrorString = "QVZ";
  static constexpr int kDefaultPrecision = 6;

  bool readback = false;
  std::string errorString = kNoErrorString;  // stands in place of every error string
  std::string errorPrefix;                   // stands in front of every error string
  std::string localeName;                    // as the client sent it
  std::locale locale;                        // renders and translates values
  bool localeValid = true;                   // false: the client asked for a locale we do not have
  bool writeSingleLocale = false;
  bool canonical = false;             // Booleans as "true" and "false" instead of labels
  int precision = kDefaultPrecision;  // significant digits of a Real
  bool noEmptyArrays = false;
  bool persist = false;

  bool errorStringGiven() const { return errorString != kNoErrorString; }
};

// Fills `opts` from the request's option string, which may be null. `glptr` is the _global_data_t
// of the request, or null for plain defaults. A `locale` option that can be honoured also becomes
// the locale of the rest of the request. Always returns 0.
int parseServiceOptions(void* glptr, const std::string* options, _service_options_t* opts);

bool parseBoolServiceOption(const std::string& option);
// The text after the first "=", or empty.
std::string parseStringServiceOption(const std::string& option);
