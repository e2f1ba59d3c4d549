#include "store/tree.h"

#include "store/layout.h"

namespace toolkit::store {

namespace {

constexpr std::string_view kTypeLeaf = "NodeType";

// Each round looks up the first record anew, since the change has moved them. In a damaged table it
// may be found here and not there.
void erasePrefix(WriteTransaction& transaction, Table table, std::string_view prefix) {
  std::string key;
  while (true) {
    {
      Range range(transaction, table, prefix);
      if (!range.next()) {
        return;
      }
      key = range.key();
    }
    if (!transaction.erase(table, key)) {
      transaction.fail(MDB_CORRUPTED);
      return;
    }
  }
}

void noteType(WriteTransaction& transaction, std::string_view node, bool isDevice) {
  if (isDevice) {
    transaction.put(Table::kDevice, node, {});
  } else {
    transaction.erase(Table::kDevice, node);
  }
}

std::string joinNames(Transaction& transaction, Table table, std::string_view prefix) {
  std::string names;
  Range range(transaction, table, prefix);
  while (range.next()) {
    if (!names.empty()) {
      names += ';';
    }
    names += range.suffix();
  }
  return names;
}

}  // namespace

bool nodeExists(Transaction& transaction, std::string_view node) {
  return node == "/" || transaction.contains(Table::kNode, nodeKey(node));
}

void addNode(WriteTransaction& transaction, std::string_view node) {
  while (transaction.status() == MDB_SUCCESS && !nodeExists(transaction, node)) {
    transaction.put(Table::kNode, nodeKey(node), {});
    node = parentOf(node);
  }
}

void removeNode(WriteTransaction& transaction, std::string_view node) {
  const std::string below = std::string(node) + '/';
  for (const Table table : {Table::kLeaf, Table::kNode}) {
    erasePrefix(transaction, table, childPrefix(node));
    erasePrefix(transaction, table, below);
  }
  erasePrefix(transaction, Table::kDevice, below);
  transaction.erase(Table::kDevice, node);
  transaction.erase(Table::kNode, nodeKey(node));
}

void putLeaf(WriteTransaction& transaction, std::string_view node, std::string_view leaf,
             const CElement& element, std::string_view record) {
  addNode(transaction, node);
  transaction.put(Table::kLeaf, leafKey(node, leaf), record);
  if (leaf == kTypeLeaf) {
    noteType(transaction, node,
             element.type() == DATA_STRING && element.to_string() == kDeviceType);
  }
}

void eraseLeaf(WriteTransaction& transaction, std::string_view node, std::string_view leaf) {
  transaction.erase(Table::kLeaf, leafKey(node, leaf));
  if (leaf == kTypeLeaf) {
    noteType(transaction, node, false);
  }
}

std::string joinChildren(Transaction& transaction, std::string_view node) {
  return joinNames(transaction, Table::kNode, childPrefix(node));
}

std::string joinLeaves(Transaction& transaction, std::string_view node) {
  return joinNames(transaction, Table::kLeaf, leafKey(node, {}));
}

}  // namespace toolkit::store
