// The history of trends before a start.
#pragma once

#include <functional>

#include "installation.h"
#include "toolkit/trend_file.h"

namespace sim {

// Makes the snapshots of so many days before `now` with a copy of the installation's physics, as
// far as the bounds of the periods go. What the file has already stays: only what is older is made,
// the newest first, so that a history that was broken off is gone on with. Its counters end at what
// follows them.
//
// False when the file refuses, with the reason in its lastError(). Ends early when `stop` says so.
bool makeHistory(const Installation& installation, const Plant& plant,
                 toolkit::trend::CPointFile& file, int days, timeval now,
                 const std::function<bool()>& stop);

}  // namespace sim
