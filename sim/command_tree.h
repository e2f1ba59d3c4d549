// The making of the nodes of the devices' commands.
// docs/commands.md draws the tree.
#pragma once

#include <sys/time.h>

#include "command_executor.h"

namespace sim {

// Makes what is missing for the devices, and leaves the rest as it is; what is right is not
// written. False when the store refused.
bool makeCommandTree(toolkit::CCds& cds, const CommandExecutor& executor, timeval stamp);

}  // namespace sim
