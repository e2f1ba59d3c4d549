// Owners of LMDB's objects.
#pragma once

#include <lmdb.h>

#include <memory>

namespace toolkit::store {

struct LmdbDeleter {
  void operator()(MDB_env* environment) const { mdb_env_close(environment); }
  void operator()(MDB_txn* transaction) const { mdb_txn_abort(transaction); }
  void operator()(MDB_cursor* cursor) const { mdb_cursor_close(cursor); }
};

using EnvironmentHandle = std::unique_ptr<MDB_env, LmdbDeleter>;
using TransactionHandle = std::unique_ptr<MDB_txn, LmdbDeleter>;
using CursorHandle = std::unique_ptr<MDB_cursor, LmdbDeleter>;

}  // namespace toolkit::store
