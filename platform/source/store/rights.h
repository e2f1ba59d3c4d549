// Rights: rows of path and user in the store, and the process's view of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/transaction.h"

namespace toolkit::store {

inline constexpr std::string_view kAnybody = "*";

enum Right : std::uint8_t { kRead = 1, kWrite = 2, kRemove = 4, kReset = 8 };

// Bits for letters of "rwdx"; false for any other letter.
bool parseRights(std::string_view letters, std::uint8_t& bits);
std::string formatRights(std::uint8_t bits);

void putRight(WriteTransaction& transaction, std::string_view path, std::string_view user,
              std::uint8_t bits);
// Tells the processes that read rights, after rows of the live half have changed.
void noteRightsChanged(WriteTransaction& live);

// Whether the user has the right at the node, by the live half of the present $TOOLKIT_RUN. An
// empty user is anonymous. False when the store cannot be read.
bool isAllowed(std::string_view node, std::string_view user, Right right);
// The same for the node and all below it.
bool isAllowedBelow(std::string_view node, std::string_view user, Right right);

}  // namespace toolkit::store
