// Reading a leaf as the platform's own classes do: a failed read counts as an absent leaf.
#pragma once

#include <string>

#include "toolkit/cds.h"

namespace toolkit {

inline std::string leafText(CCds& cds, const CPath& path) {
  const auto element = cds.find_leaf(path);
  return element ? element->to_string() : std::string();
}

}  // namespace toolkit
