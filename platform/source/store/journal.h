// Journal: what a transaction changed, so that it can be taken back after its commit.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/environment.h"

namespace toolkit::store {

class Transaction;
class WriteTransaction;

class Journal {
 public:
  // Notes that a record is about to become `after`; nothing stands for no record.
  void note(Transaction& transaction, Table table, std::string_view key,
            std::optional<std::string_view> after);
  // Notes that all records of a table are about to go.
  void noteClear(Transaction& transaction, Table table);

  // Puts the old records back, but for those that were changed again since.
  void undo(WriteTransaction& transaction) const;

 private:
  using Record = std::optional<std::string>;
  struct Entry {
    Table table;
    std::string key;
    Record before;
    Record after;
  };

  std::vector<Entry> entries_;
};

}  // namespace toolkit::store
