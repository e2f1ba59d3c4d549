// Where the store holds the commands of the devices, for those who queue them and those who serve
// them. docs/commands.md draws the tree.
#pragma once

#include <string>

#include "toolkit/path.h"

namespace toolkit {

// The commands of a device are below this node, under the device's dotted name (see
// CPath::PathToNodeName).
inline constexpr const char* kCommandsPath = "/Software/Commands";
// The handle of the next command; one counter for all devices.
inline constexpr const char* kNextCommandPath = "/Software/Commands/nextCommandID";

// The node of one device's commands. For a path outside the grammar it is none that could exist.
inline std::string commandsOf(const std::string& device) {
  std::string name;
  CPath::PathToNodeName(device, name);
  return kCommandsPath + ("/" + name);
}

}  // namespace toolkit
