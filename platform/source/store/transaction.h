// Transactions on one Environment.
//
// A transaction keeps the first failure: later calls do nothing, reads give nothing, and status()
// and commit() tell the code. So a sequence of calls needs one check at its end.
//
// Texts that get() and Range give lie in the store: they are valid until the transaction ends or
// its next change.
#pragma once

#include <optional>
#include <string_view>

#include "store/changes.h"
#include "store/environment.h"
#include "store/journal.h"

namespace toolkit::store {

class Transaction {
 public:
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  std::optional<std::string_view> get(Table table, std::string_view key);
  bool contains(Table table, std::string_view key) { return get(table, key).has_value(); }

  // 0, or the code of the first failure.
  int status() const { return status_; }

  // Pages that the tables take, without what housekeeping needs beside them.
  std::size_t pages();

  // Number of the state of the store that this transaction sees: each commit makes a new one.
  std::size_t id() const { return mdb_txn_id(transaction_); }

 protected:
  explicit Transaction(Environment& environment) : environment_(environment) {}
  ~Transaction() = default;

  friend class Range;
  friend class Lookup;
  MDB_dbi handleOf(Table table) const {
    return environment_.handle_.tables[static_cast<std::size_t>(table)];
  }
  void keep(int code) { status_ = environment_.settle(code); }
  // Null when the transaction has failed.
  CursorHandle openCursor(Table table);

  Environment& environment_;
  MDB_txn* transaction_ = nullptr;
  int status_ = MDB_SUCCESS;
};

// Sees the store as it is at the construction. One at a time for an Environment.
class ReadTransaction : public Transaction {
 public:
  explicit ReadTransaction(Environment& environment);
  ~ReadTransaction();
};

// Many look-ups in one table: cheaper than Transaction::get() where the next key is near the last.
class Lookup {
 public:
  Lookup(Transaction& transaction, Table table);

  std::optional<std::string_view> get(std::string_view key);

 private:
  Transaction& transaction_;
  CursorHandle cursor_;
};

// Holds the writers' lock of all processes. Changes nothing unless it is committed.
class WriteTransaction : public Transaction {
 public:
  // Notes its changes in `journal` unless that is null.
  explicit WriteTransaction(Environment& environment, Journal* journal = nullptr);
  ~WriteTransaction() { abort(); }

  void put(Table table, std::string_view key, std::string_view value);
  // An absent key is no failure. True when there was a record.
  bool erase(Table table, std::string_view key);
  // Unless it has failed already.
  void fail(int code);
  void clear(Table table);
  // Fails the transaction when it makes the tables grow beyond the part of the clients.
  void keepToClientsPart();
  int commit();
  void abort();

  Environment& environment() { return environment_; }

 private:
  void note(Table table, std::string_view key);

  TransactionHandle owner_;
  bool hasTurn_ = false;
  Journal* journal_;
  Changes changes_;
};

// The records whose keys begin with a prefix, in the order of their bytes.
class Range {
 public:
  // `prefix` must outlive the range; an empty one is the whole table.
  Range(Transaction& transaction, Table table, std::string_view prefix);

  bool next();
  std::string_view key() const { return key_; }
  std::string_view suffix() const { return key_.substr(prefix_.size()); }
  std::string_view value() const { return value_; }

 private:
  Transaction& transaction_;
  std::string_view prefix_;
  CursorHandle cursor_;
  std::string_view key_;
  std::string_view value_;
  bool started_ = false;
};

}  // namespace toolkit::store
