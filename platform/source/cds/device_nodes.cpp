#include "toolkit/device_nodes.h"

#include <set>

#include "toolkit/leaf_reader.h"
#include "toolkit/utils.h"

namespace toolkit {

namespace {

// The nodes below a device that belong to no device further down.
bool collect(CCds& cds, const std::set<std::string>& devices, const std::string& from,
             std::size_t device, std::vector<DeviceNode>& nodes) {
  std::vector<std::string> children;
  if (!readChildren(cds, from, children)) {
    return false;
  }
  for (const std::string& child : children) {
    if (devices.contains(child)) {
      continue;
    }
    nodes.push_back({child, device});
    if (!collect(cds, devices, child, device, nodes)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool readDeviceNodes(CCds& cds, std::vector<std::string>& devices, std::vector<DeviceNode>& nodes) {
  nodes.clear();
  if (CCds_Utils::GetDeviceList(cds, devices) < 0) {
    return false;
  }
  const std::set<std::string> all(devices.begin(), devices.end());
  for (std::size_t i = 0; i < devices.size(); ++i) {
    if (!collect(cds, all, devices[i], i, nodes)) {
      return false;
    }
  }
  return true;
}

}  // namespace toolkit
