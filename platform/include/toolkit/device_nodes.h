// The devices of the store and the nodes below each of them.
#pragma once

#include <string>
#include <vector>

#include "toolkit/cds.h"

namespace toolkit {

struct DeviceNode {
  std::string path;
  std::size_t device = 0;  // the nearest one above
};

// False when the store cannot be read.
bool readDeviceNodes(CCds& cds, std::vector<std::string>& devices, std::vector<DeviceNode>& nodes);

}  // namespace toolkit
