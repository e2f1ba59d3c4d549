// Events of the device itself.
#pragma once

#include "toolkit/cds.h"

namespace sim {

inline constexpr const char* kStarted = "Simulated meter started";
inline constexpr const char* kStopped = "Simulated meter stopped";

toolkit::CEvent systemEvent(const char* message, timeval stamp);
// There are other devices than before.
toolkit::CEvent configurationChanged(timeval stamp);

// False when the store refused it.
bool tell(toolkit::CCds& cds, const toolkit::CEvent& event);

}  // namespace sim
