// Caller: who sends a request, as the web server says. Whoever in the service asks for the caller
// asks the one of globalData(soap); the platform's rights read the environment.
#pragma once

#include <optional>
#include <string>

struct Caller {
  static constexpr const char* kUserVariable = "REMOTE_USER";
  static constexpr const char* kAddressVariable = "REMOTE_ADDR";

  std::optional<std::string> user;  // none: anonymous
  std::optional<std::string> address;
  std::string acceptLanguage = "en_US.UTF-8";
  bool https = false;
};

// The caller in the environment, for as long as the object lives; who is not known is not there
// either.
class CallerInEnvironment {
 public:
  // What cannot be put there is taken from `caller` too.
  explicit CallerInEnvironment(Caller& caller);
  ~CallerInEnvironment();
  CallerInEnvironment(const CallerInEnvironment&) = delete;
  CallerInEnvironment& operator=(const CallerInEnvironment&) = delete;
};
