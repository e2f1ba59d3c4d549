// Reading a leaf as the platform's own classes do: a failed read counts as an absent leaf.
#pragma once

#include <optional>
#include <string>

#include "toolkit/cds.h"

namespace toolkit {

inline std::optional<CElement> leafAt(CCds& cds, const CPath& path) {
  api_status_t status = API_NONE;
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
  if (cds.get_leaf(path, status, element, source) != 0 || status != API_SUCCESS) {
    return std::nullopt;
  }
  return element;
}

inline std::string leafText(CCds& cds, const CPath& path) {
  const auto element = leafAt(cds, path);
  return element ? element->to_string() : std::string();
}

}  // namespace toolkit
