#include "store/transaction.h"

#include <utility>

namespace toolkit::store {

namespace {

MDB_val toValue(std::string_view text) {
  return {text.size(), const_cast<char*>(text.data())};
}

std::string_view toText(const MDB_val& value) {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

}  // namespace

std::optional<std::string_view> Transaction::get(Table table, std::string_view key) {
  if (status_ != MDB_SUCCESS) {
    return std::nullopt;
  }
  MDB_val keyValue = toValue(key);
  MDB_val value = {};
  const int code = mdb_get(transaction_, handleOf(table), &keyValue, &value);
  if (code == MDB_SUCCESS) {
    return toText(value);
  }
  if (code != MDB_NOTFOUND) {
    keep(code);
  }
  return std::nullopt;
}

std::size_t Transaction::pages() {
  std::size_t pages = 0;
  for (const MDB_dbi table : environment_.handle_.tables) {
    MDB_stat stat = {};
    if (status_ == MDB_SUCCESS) {
      keep(mdb_stat(transaction_, table, &stat));
    }
    pages += stat.ms_branch_pages + stat.ms_leaf_pages + stat.ms_overflow_pages;
  }
  return pages;
}

CursorHandle Transaction::openCursor(Table table) {
  MDB_cursor* raw = nullptr;
  if (status_ == MDB_SUCCESS) {
    keep(mdb_cursor_open(transaction_, handleOf(table), &raw));
  }
  return CursorHandle(raw);
}

ReadTransaction::ReadTransaction(Environment& environment) : Transaction(environment) {
  status_ = environment_.beginRead();
  transaction_ = environment_.handle_.reader.get();
}

ReadTransaction::~ReadTransaction() {
  if (transaction_ != nullptr) {
    environment_.endRead();
  }
}

Lookup::Lookup(Transaction& transaction, Table table)
    : transaction_(transaction), cursor_(transaction.openCursor(table)) {}

std::optional<std::string_view> Lookup::get(std::string_view key) {
  if (transaction_.status_ != MDB_SUCCESS) {
    return std::nullopt;
  }
  MDB_val keyValue = toValue(key);
  MDB_val value = {};
  const int code = mdb_cursor_get(cursor_.get(), &keyValue, &value, MDB_SET_KEY);
  if (code == MDB_SUCCESS) {
    return toText(value);
  }
  if (code != MDB_NOTFOUND) {
    transaction_.keep(code);
  }
  return std::nullopt;
}

WriteTransaction::WriteTransaction(Environment& environment, Journal* journal)
    : Transaction(environment), journal_(journal) {
  status_ = environment_.beginWrite(owner_);
  hasTurn_ = status_ == MDB_SUCCESS;
  transaction_ = owner_.get();
}

void WriteTransaction::abort() {
  owner_.reset();
  if (std::exchange(hasTurn_, false)) {
    environment_.endWrite();
  }
}

void WriteTransaction::put(Table table, std::string_view key, std::string_view value) {
  if (journal_ != nullptr) {
    journal_->note(*this, table, key, value);
  }
  note(table, key);
  if (status_ == MDB_SUCCESS) {
    MDB_val keyValue = toValue(key);
    MDB_val data = toValue(value);
    keep(mdb_put(transaction_, handleOf(table), &keyValue, &data, 0));
  }
}

void WriteTransaction::fail(int code) {
  if (status_ == MDB_SUCCESS) {
    keep(code);
  }
}

bool WriteTransaction::erase(Table table, std::string_view key) {
  if (journal_ != nullptr) {
    journal_->note(*this, table, key, std::nullopt);
  }
  note(table, key);
  if (status_ != MDB_SUCCESS) {
    return false;
  }
  MDB_val keyValue = toValue(key);
  const int code = mdb_del(transaction_, handleOf(table), &keyValue, nullptr);
  keep(code == MDB_NOTFOUND ? MDB_SUCCESS : code);
  return code == MDB_SUCCESS;
}

void WriteTransaction::clear(Table table) {
  if (journal_ != nullptr) {
    journal_->noteClear(*this, table);
  }
  changes_.noteAll();
  if (status_ == MDB_SUCCESS) {
    keep(mdb_drop(transaction_, handleOf(table), 0));
  }
}

void WriteTransaction::note(Table table, std::string_view key) {
  if (table == Table::kLeaf && environment_.notesChanges()) {
    changes_.note(key);
  }
}

void WriteTransaction::keepToClientsPart() {
  const std::size_t after = pages();
  if (after <= environment_.pagesForClients()) {
    return;
  }
  ReadTransaction before(environment_);
  if (status_ == MDB_SUCCESS && after > before.pages()) {
    keep(kReserved);
  }
}

int WriteTransaction::commit() {
  if (status_ == MDB_SUCCESS) {
    if (environment_.notesChanges()) {
      environment_.changes().enter(id(), changes_);
    }
    keep(mdb_txn_commit(owner_.release()));
  }
  abort();
  return status_;
}

Range::Range(Transaction& transaction, Table table, std::string_view prefix)
    : transaction_(transaction), prefix_(prefix), cursor_(transaction.openCursor(table)) {}

bool Range::next() {
  if (transaction_.status_ != MDB_SUCCESS) {
    return false;
  }
  MDB_val key = toValue(prefix_);
  MDB_val value = {};
  const MDB_cursor_op seek = prefix_.empty() ? MDB_FIRST : MDB_SET_RANGE;
  const int code = mdb_cursor_get(cursor_.get(), &key, &value, started_ ? MDB_NEXT : seek);
  started_ = true;
  if (code != MDB_SUCCESS) {
    if (code != MDB_NOTFOUND) {
      transaction_.keep(code);
    }
    return false;
  }
  key_ = toText(key);
  value_ = toText(value);
  return key_.starts_with(prefix_);
}

}  // namespace toolkit::store
