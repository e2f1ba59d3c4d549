// Paths as single components, and back.
//
// "/" becomes "." and ":" becomes "!"; a "." or "!" of a name is doubled. Before a name that begins
// with "." the "/" becomes "!.", for "..." could be read in two ways. No two paths share a name.
#pragma once

#include <string>
#include <string_view>

namespace toolkit {

std::string nodeNameOf(std::string_view path);
std::string pathOf(std::string_view nodeName);

}  // namespace toolkit
