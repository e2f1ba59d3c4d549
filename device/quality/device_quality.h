// The quality of a device, and what it means for its values.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "toolkit/event.h"
#include "toolkit/leaf_reader.h"

namespace device {

inline std::string qualityLeaf(const std::string& device) {
  return device + "/.Quality";
}

// Where a device has none it is good.
inline std::uint16_t qualityOf(const toolkit::CLeafReader& leaves,
                               toolkit::CLeafReader::Handle quality) {
  const toolkit::CElement* element = leaves.element(quality);
  if (element == nullptr) {
    return toolkit::CEvent::kGoodQuality;
  }
  return static_cast<std::uint16_t>(std::clamp<std::int32_t>(element->to_int(), 0, UINT16_MAX));
}

inline bool isGood(std::uint16_t quality) {
  return (quality & toolkit::CEvent::kGoodQuality) == toolkit::CEvent::kGoodQuality;
}

}  // namespace device
