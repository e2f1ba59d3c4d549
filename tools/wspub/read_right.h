// Whether somebody else may read: the rights of whoever made a subscription decide what it gets.
#pragma once

#include <string>

#include "toolkit/path.h"

namespace wspub {

// `path` is normalised. An empty user is an anonymous caller.
bool mayRead(const std::string& user, const toolkit::CPath& path);

}  // namespace wspub
