#include "toolkit/event.h"

namespace toolkit {

void CEvent::format_source_string(std::string& out, const std::string& subsystem,
                                  const std::string& user, const std::string& address) {
  out = subsystem + ": " + (user.empty() ? "anonymous" : user);
  if (!address.empty()) {
    out += "@" + address;
  }
}

}  // namespace toolkit
