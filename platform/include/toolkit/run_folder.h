// The folder of what lives as long as the device runs.
#pragma once

#include <string>

namespace toolkit {

// $TOOLKIT_RUN, by default /run/toolkit: in memory, shared by all processes of the device.
std::string runFolder();

}  // namespace toolkit
