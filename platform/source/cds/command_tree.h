// The making of the nodes of the devices' commands.
// docs/commands.md draws the tree.
#pragma once

#include <sys/time.h>

#include <string>
#include <vector>

#include "toolkit/command_queues.h"

namespace toolkit {

// Makes what is missing below the devices' nodes, and leaves the rest as it is; what is right is
// not written. False when the store refused.
bool makeCommandTree(CCds& cds, const std::vector<std::string>& bases, CCommandHandler& handler,
                     const std::string& source, timeval stamp);

}  // namespace toolkit
