#include "toolkit/event.h"

#include "store/layout.h"

namespace toolkit {

void CEvent::format_source_string(std::string& out, const std::string& subsystem,
                                  const std::string& user, const std::string& address) {
  out = subsystem + ": " + (user.empty() ? "anonymous" : user);
  if (!address.empty()) {
    out += "@" + address;
  }
}

std::string CEvent::user_of_source(const std::string& source) {
  const std::size_t colon = source.find(": ");
  if (colon == std::string::npos) {
    return {};
  }
  const std::string who = source.substr(colon + 2);
  const std::string user = who.substr(0, who.rfind('@'));
  return user == "anonymous" ? std::string() : user;
}

bool operator==(const CEvent& a, const CEvent& b) {
  return store::encodeEvent(a) == store::encodeEvent(b);
}

}  // namespace toolkit
