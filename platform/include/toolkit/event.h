// CEvent: one event of the device's event system.
#pragma once

#include <string>

namespace toolkit {

class CEvent {
 public:
  // Who caused something, as one text: "Web-Services: admin@192.0.2.1". An empty user is
  // "anonymous"; an empty address is left out with its "@".
  static void format_source_string(std::string& out, const std::string& subsystem,
                                   const std::string& user, const std::string& address);
};

}  // namespace toolkit
