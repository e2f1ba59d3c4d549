// Nodes and leaves in the tables of one half of the store. Paths are normalised node paths.
#pragma once

#include <string>
#include <string_view>

#include "store/transaction.h"
#include "toolkit/element.h"

namespace toolkit::store {

// NodeType of the nodes that the table of devices holds.
inline constexpr std::string_view kDeviceType = "Device";

bool nodeExists(Transaction& transaction, std::string_view node);

// Makes a node and the missing ones above it.
void addNode(WriteTransaction& transaction, std::string_view node);
// Removes a node with all below it.
void removeNode(WriteTransaction& transaction, std::string_view node);

// Writes a leaf and makes its node. `record` is the element's record.
void putLeaf(WriteTransaction& transaction, std::string_view node, std::string_view leaf,
             const CElement& element, std::string_view record);
void eraseLeaf(WriteTransaction& transaction, std::string_view node, std::string_view leaf);

// The names of a node's children, or of its leaves, joined by ";".
std::string joinChildren(Transaction& transaction, std::string_view node);
std::string joinLeaves(Transaction& transaction, std::string_view node);

}  // namespace toolkit::store
