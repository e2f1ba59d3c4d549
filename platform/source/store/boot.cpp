#include "store/boot.h"

#include "store/rights.h"

namespace toolkit::store {

namespace {

constexpr const char* kCompleteKey = "complete";

}  // namespace

bool isComplete(Transaction& live) {
  return live.contains(Table::kMeta, kCompleteKey);
}

int copyToLive(Environment& persistent, WriteTransaction& live) {
  ReadTransaction reader(persistent);
  for (const Table table : {Table::kLeaf, Table::kNode, Table::kDevice, Table::kRight}) {
    live.clear(table);
    Range range(reader, table, {});
    while (live.status() == MDB_SUCCESS && range.next()) {
      live.put(table, range.key(), range.value());
    }
  }
  noteRightsChanged(live);
  if (reader.status() == MDB_SUCCESS) {
    live.put(Table::kMeta, kCompleteKey, "1");
  }
  return reader.status();
}

}  // namespace toolkit::store
