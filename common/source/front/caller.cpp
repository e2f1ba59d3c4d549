#include "front/caller.h"

#include <cstdlib>

#include "front/global_data.h"

namespace {

void publish(const char* name, std::optional<std::string>& value) {
  if (!value) {
    unsetenv(name);
  } else if (setenv(name, value->c_str(), 1) != 0) {
    __psyslog->notice(6, "Failed to get %s", name);
    value.reset();
  }
}

}  // namespace

CallerInEnvironment::CallerInEnvironment(Caller& caller) {
  publish(Caller::kUserVariable, caller.user);
  publish(Caller::kAddressVariable, caller.address);
}

CallerInEnvironment::~CallerInEnvironment() {
  unsetenv(Caller::kUserVariable);
  unsetenv(Caller::kAddressVariable);
}
