#include "store/journal.h"

#include "store/transaction.h"

namespace toolkit::store {

void Journal::note(Transaction& transaction, Table table, std::string_view key,
                   std::optional<std::string_view> after) {
  entries_.push_back({table, std::string(key), Record(transaction.get(table, key)), Record(after)});
}

void Journal::noteClear(Transaction& transaction, Table table) {
  Range range(transaction, table, {});
  while (range.next()) {
    entries_.push_back({table, std::string(range.key()), std::string(range.value()), std::nullopt});
  }
}

void Journal::undo(WriteTransaction& transaction) const {
  for (std::size_t i = entries_.size(); i-- > 0;) {
    const Entry& entry = entries_[i];
    if (Record(transaction.get(entry.table, entry.key)) != entry.after) {
      continue;
    }
    if (entry.before) {
      transaction.put(entry.table, entry.key, *entry.before);
    } else {
      transaction.erase(entry.table, entry.key);
    }
  }
}

}  // namespace toolkit::store
