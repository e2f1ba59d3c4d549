// Where the commands of each device stand in the store, and the making of these nodes.
// docs/commands.md draws the tree.
#pragma once

#include <sys/time.h>

#include <string>
#include <vector>

#include "command_executor.h"

namespace sim {

// The node of a device's commands.
std::string commandsOf(const std::string& device);

// Makes what is missing for the devices, and leaves the rest as it is; what is right is not
// written. False when the store refused.
bool makeCommandTree(toolkit::CCds& cds, const CommandExecutor& executor, timeval stamp);

}  // namespace sim
