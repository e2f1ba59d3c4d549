// Events of the device itself.
#pragma once

#include "toolkit/cds.h"

namespace device {

inline constexpr const char* kStarted = "Device monitor started";
inline constexpr const char* kStopped = "Device monitor stopped";

toolkit::CEvent systemEvent(const char* message, timeval stamp);
// There are other devices than before.
toolkit::CEvent configurationChanged(timeval stamp);

// False when the store refused it.
bool notify(toolkit::CCds& cds, const toolkit::CEvent& event);

}  // namespace device
