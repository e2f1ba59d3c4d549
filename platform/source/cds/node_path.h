// Node paths from callers.
#pragma once

#include <optional>
#include <string>

#include "toolkit/path.h"

namespace toolkit {

// The node path, or nothing for text that is outside the grammar or names a leaf. So a text with an
// empty last component never stands for the node above.
inline std::optional<std::string> asNodePath(const std::string& text) {
  CPath path(text);
  if (path.normalize() != 0 || path.getNodePath() != text) {
    return std::nullopt;
  }
  return text;
}

}  // namespace toolkit
