// The clock of the watchdog's table.
#pragma once

#include <cstdint>

namespace toolkit {

// Seconds since the machine started: the same for all processes.
std::int64_t watchdogSeconds();

}  // namespace toolkit
