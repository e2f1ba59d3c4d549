// Node paths and what they are made of.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace toolkit {

// Whether a text may name a node or a leaf, as far as its characters go.
bool isName(std::string_view text);

// "/", or components that are names and not reserved for leaves, each after a "/".
bool isNodePath(std::string_view text);

// The node path, or nothing for text that is outside the grammar or names a leaf. So a text with an
// empty last component never stands for the node above.
std::optional<std::string> asNodePath(const std::string& text);

}  // namespace toolkit
