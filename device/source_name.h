// Who writes and notifies, as the store and the logs keep it.
#pragma once

namespace device {

inline constexpr const char* kSource = "devmon";

}  // namespace device
