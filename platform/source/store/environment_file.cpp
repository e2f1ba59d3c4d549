// The part of an environment that opens its file and the tables in it.
#include <algorithm>
#include <cstring>
#include <filesystem>

#include "store/database_file.h"
#include "store/environment.h"

namespace toolkit::store {

namespace {

constexpr std::array kTableNames = {"leaf", "node", "device", "right", "watchdog", "meta", "event"};
constexpr std::size_t kInitialMap = std::size_t{16} << 20;
constexpr MDB_dbi kMainTable = 1;

bool isEmpty(MDB_txn* transaction) {
  MDB_stat stat = {};
  return mdb_stat(transaction, kMainTable, &stat) == MDB_SUCCESS && stat.ms_entries == 0;
}

}  // namespace

int Environment::openFile(Handle& handle) const {
  MDB_env* raw = nullptr;
  if (const int code = mdb_env_create(&raw); code != MDB_SUCCESS) {
    return code;
  }
  handle.environment.reset(raw);
  mdb_env_set_maxdbs(raw, kTableCount);
  mdb_env_set_mapsize(raw, std::min(kInitialMap, bytesForClients()));
  const unsigned sync = commits_ == Commits::kDurable ? 0 : MDB_NOSYNC;
  const unsigned access = readOnly_ ? MDB_RDONLY : sync;
  return mdb_env_open(raw, file_.c_str(), MDB_NOSUBDIR | MDB_NOTLS | access, GroupFileMode::kMode);
}

std::string Environment::missing() const {
  return "no data store in the folder " + std::filesystem::path(file_).parent_path().string() +
         ": " + file_ +
         " is missing or empty; import a model with 'devctl store import', or make an empty store "
         "with 'devctl store init'";
}

std::string Environment::openFailure(int code) const {
  switch (code) {
    case MDB_INVALID:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_INCOMPATIBLE:
      return file_ + " is damaged or is not a data store";
    case MDB_VERSION_MISMATCH:
      return file_ + " was written by another version of the database library";
    default:
      return cannotOpen(file_, code);
  }
}

std::string Environment::openTables(Handle& handle, IfMissing ifMissing) const {
  MDB_txn* raw = nullptr;
  int code = mdb_txn_begin(handle.environment.get(), nullptr, MDB_RDONLY, &raw);
  if (code != MDB_SUCCESS) {
    return openFailure(code);
  }
  TransactionHandle transaction(raw);
  const bool empty = isEmpty(raw);
  if (empty && ifMissing == IfMissing::kRefuse) {
    return missing();
  }
  if (empty) {
    transaction.reset();
    code = createTables(handle);
  } else {
    code = lookUpTables(handle, raw, 0, kTableCount, 0);
    // Only a commit keeps the table handles.
    code = code == MDB_SUCCESS ? mdb_txn_commit(transaction.release()) : code;
    transaction.reset();
    code = code == MDB_NOTFOUND ? addTables(handle) : code;
  }
  if (code != MDB_SUCCESS) {
    return openFailure(code == MDB_NOTFOUND ? MDB_INVALID : code);
  }
  return checkVersion(handle);
}

int Environment::lookUpTables(Handle& handle, MDB_txn* transaction, std::size_t first,
                              std::size_t end, unsigned flags) {
  int code = MDB_SUCCESS;
  for (std::size_t i = first; i < end && code == MDB_SUCCESS; ++i) {
    code = mdb_dbi_open(transaction, kTableNames[i], flags, &handle.tables[i]);
  }
  return code;
}

int Environment::createTables(Handle& handle) {
  MDB_txn* raw = nullptr;
  if (const int code = mdb_txn_begin(handle.environment.get(), nullptr, 0, &raw);
      code != MDB_SUCCESS) {
    return code;
  }
  TransactionHandle transaction(raw);
  int code = lookUpTables(handle, raw, 0, kTableCount, MDB_CREATE);
  if (code == MDB_SUCCESS) {
    MDB_val key = {std::strlen(kVersionKey), const_cast<char*>(kVersionKey)};
    MDB_val value = {std::strlen(kFormatVersion), const_cast<char*>(kFormatVersion)};
    code = mdb_put(raw, handle.tables[static_cast<std::size_t>(Table::kMeta)], &key, &value,
                   MDB_NOOVERWRITE);
  }
  // Another process may have made them meanwhile: its version is checked next.
  code = code == MDB_KEYEXIST ? MDB_SUCCESS : code;
  return code == MDB_SUCCESS ? mdb_txn_commit(transaction.release()) : code;
}

int Environment::addTables(Handle& handle) {
  MDB_txn* raw = nullptr;
  int code = mdb_txn_begin(handle.environment.get(), nullptr, 0, &raw);
  if (code != MDB_SUCCESS) {
    return code;
  }
  TransactionHandle transaction(raw);
  code = lookUpTables(handle, raw, 0, kFirstTables, 0);
  if (code == MDB_SUCCESS) {
    code = lookUpTables(handle, raw, kFirstTables, kTableCount, MDB_CREATE);
  }
  return code == MDB_SUCCESS ? mdb_txn_commit(transaction.release()) : code;
}

std::string Environment::checkVersion(const Handle& handle) const {
  MDB_txn* raw = nullptr;
  int code = mdb_txn_begin(handle.environment.get(), nullptr, MDB_RDONLY, &raw);
  if (code != MDB_SUCCESS) {
    return openFailure(code);
  }
  const TransactionHandle transaction(raw);
  MDB_val key = {std::strlen(kVersionKey), const_cast<char*>(kVersionKey)};
  MDB_val value = {};
  code = mdb_get(raw, handle.tables[static_cast<std::size_t>(Table::kMeta)], &key, &value);
  if (code != MDB_SUCCESS) {
    return openFailure(code == MDB_NOTFOUND ? MDB_INVALID : code);
  }
  const std::string version(static_cast<const char*>(value.mv_data), value.mv_size);
  return version == kFormatVersion ? ""
                                   : file_ + " has format version " + version +
                                         ", this program knows version " + kFormatVersion;
}

}  // namespace toolkit::store
