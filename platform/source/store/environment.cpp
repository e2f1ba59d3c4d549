#include "store/environment.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "store/database_file.h"

namespace toolkit::store {

namespace {

constexpr std::array kTableNames = {"leaf",     "node", "device", "right",
                                    "watchdog", "meta", "event",  "change"};
constexpr std::size_t kInitialMap = std::size_t{16} << 20;
constexpr std::size_t kDefaultLimit = std::size_t{4} << 30;
constexpr std::size_t kReservedPart = 8;  // one of so many
constexpr std::size_t kMinReserve = std::size_t{64} << 10;
constexpr std::size_t kSmallestLimit = std::size_t{64} << 10;
constexpr MDB_dbi kMainTable = 1;
// Other processes may grow the map again while this one follows.
constexpr int kAttempts = 16;

// Counts the forks between the first process and this one.
unsigned forks = 0;

void watchForks() {
  static const int registered = pthread_atfork(nullptr, nullptr, [] { ++forks; });
  static_cast<void>(registered);
}

using FileId = std::pair<dev_t, ino_t>;

std::map<FileId, std::weak_ptr<Environment>>& openEnvironments() {
  static auto& environments = *new std::map<FileId, std::weak_ptr<Environment>>;
  return environments;
}

FileId idOf(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0 ? FileId(status.st_dev, status.st_ino) : FileId();
}

std::size_t wholePages(std::size_t bytes) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return bytes / page * page;
}

// $TOOLKIT_STORE_LIMIT in bytes, in whole pages; a text that is no number counts for nothing.
std::size_t mapLimit() {
  const char* text = std::getenv("TOOLKIT_STORE_LIMIT");
  std::size_t limit = 0;
  if (text == nullptr || *text == '\0') {
    return kDefaultLimit;
  }
  const char* end = text + std::strlen(text);
  if (const auto parsed = std::from_chars(text, end, limit);
      parsed.ptr != end || parsed.ec != std::errc()) {
    return kDefaultLimit;
  }
  return wholePages(std::clamp(limit, kSmallestLimit, kDefaultLimit));
}

bool isEmpty(MDB_txn* transaction) {
  MDB_stat stat = {};
  return mdb_stat(transaction, kMainTable, &stat) == MDB_SUCCESS && stat.ms_entries == 0;
}

}  // namespace

Environment::Environment(std::string file, Commits commits)
    : file_(std::move(file)), commits_(commits), limit_(mapLimit()) {}

Environment::~Environment() {
  disconnect();
}

std::shared_ptr<Environment> Environment::open(const std::string& file, Commits commits,
                                               IfMissing ifMissing, std::string& error) {
  watchForks();
  const FileId id = idOf(file);
  if (const auto known = openEnvironments().find(id); known != openEnvironments().end()) {
    if (auto environment = known->second.lock()) {
      return environment;
    }
    openEnvironments().erase(known);
  }
  std::shared_ptr<Environment> environment(new Environment(file, commits));
  error = environment->connect(ifMissing);
  if (!error.empty()) {
    return nullptr;
  }
  openEnvironments()[idOf(file)] = environment;
  return environment;
}

std::string Environment::connect(IfMissing ifMissing) {
  if (!databaseExists(file_)) {
    if (ifMissing == IfMissing::kRefuse) {
      return missing();
    }
    if (std::string error = makeFolderOf(file_); !error.empty()) {
      return error;
    }
  }
  const GroupFileMode mode;
  if (std::string error = prepareLockFile(file_ + "-lock"); !error.empty()) {
    return error;
  }
  Handle handle;
  if (const int code = openFile(handle); code != MDB_SUCCESS) {
    return openFailure(code);
  }
  if (std::string error = checkLength(handle.environment.get(), file_); !error.empty()) {
    return error;
  }
  if (std::string error = openTables(handle, ifMissing); !error.empty()) {
    return error;
  }
  handle_ = std::move(handle);
  generation_ = forks;
  spoiled_ = false;
  clearStaleReaders();
  return {};
}

int Environment::openFile(Handle& handle) const {
  MDB_env* raw = nullptr;
  if (const int code = mdb_env_create(&raw); code != MDB_SUCCESS) {
    return code;
  }
  handle.environment.reset(raw);
  mdb_env_set_maxdbs(raw, kTableCount);
  mdb_env_set_mapsize(raw, std::min(kInitialMap, bytesForClients()));
  const unsigned sync = commits_ == Commits::kDurable ? 0 : MDB_NOSYNC;
  return mdb_env_open(raw, file_.c_str(), MDB_NOSUBDIR | MDB_NOTLS | sync, GroupFileMode::kMode);
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

std::string Environment::describe(int code) const {
  if (code == kReserved) {
    return file_ + ": clients have filled their part, the rest is for the device's own programs";
  }
  return failure_.empty() ? file_ + ": " + mdb_strerror(code) : failure_;
}

int Environment::clearStaleReaders() {
  int cleared = 0;
  if (isOwn()) {
    mdb_reader_check(handle_.environment.get(), &cleared);
  }
  return cleared;
}

bool Environment::isOwn() const {
  return handle_.environment != nullptr && generation_ == forks && !spoiled_;
}

// A handle that was inherited over fork() is kept but never touched: closing it would free the
// parent's reader slot.
void Environment::disconnect() {
  static auto& inherited = *new std::vector<Handle>;
  if (handle_.environment != nullptr && generation_ != forks) {
    inherited.push_back(std::move(handle_));
  }
  handle_.reader.reset();
  handle_.environment.reset();
}

int Environment::reconnect() {
  if (isOwn()) {
    return MDB_SUCCESS;
  }
  disconnect();
  failure_ = connect(IfMissing::kRefuse);
  return failure_.empty() ? MDB_SUCCESS : EIO;
}

int Environment::settle(int code) {
  spoiled_ = spoiled_ || code == MDB_PANIC;
  return code;
}

template <class Begin>
int Environment::attempt(Begin begin) {
  if (const int code = reconnect(); code != MDB_SUCCESS) {
    return code;
  }
  int code = begin();
  for (int i = 0; i < kAttempts && code != MDB_SUCCESS; ++i) {
    if (code == MDB_MAP_RESIZED) {
      mdb_env_set_mapsize(handle_.environment.get(), 0);
    } else if (code != MDB_READERS_FULL || clearStaleReaders() == 0) {
      break;
    }
    code = begin();
  }
  return settle(code);
}

int Environment::beginRead() {
  return attempt([this] {
    if (handle_.reader != nullptr) {
      return mdb_txn_renew(handle_.reader.get());
    }
    MDB_txn* raw = nullptr;
    const int code = mdb_txn_begin(handle_.environment.get(), nullptr, MDB_RDONLY, &raw);
    handle_.reader.reset(raw);
    return code;
  });
}

int Environment::beginWrite(TransactionHandle& transaction) {
  return attempt([&] {
    MDB_txn* raw = nullptr;
    const int code = mdb_txn_begin(handle_.environment.get(), nullptr, 0, &raw);
    transaction.reset(raw);
    return code;
  });
}

std::size_t Environment::bytesForClients() const {
  return wholePages(limit_ - limit_ / kReservedPart);
}

std::size_t Environment::pagesForClients() const {
  MDB_stat stat = {};
  mdb_env_stat(handle_.environment.get(), &stat);
  return bytesForClients() / std::max(stat.ms_psize, 1U);
}

bool Environment::grow(bool forClients) {
  MDB_envinfo info = {};
  mdb_env_info(handle_.environment.get(), &info);
  const std::size_t size = std::min(info.me_mapsize * 2, forClients ? bytesForClients() : limit_);
  return size > info.me_mapsize &&
         mdb_env_set_mapsize(handle_.environment.get(), size) == MDB_SUCCESS;
}

bool Environment::exceedCeiling() {
  MDB_envinfo info = {};
  mdb_env_info(handle_.environment.get(), &info);
  const std::size_t size = limit_ + std::max(limit_ / kReservedPart, kMinReserve);
  if (size <= info.me_mapsize ||
      mdb_env_set_mapsize(handle_.environment.get(), size) != MDB_SUCCESS) {
    return false;
  }
  ceiling_ = std::min(info.me_mapsize, limit_);
  return true;
}

void Environment::keepCeiling() {
  if (ceiling_ > 0) {
    mdb_env_set_mapsize(handle_.environment.get(), ceiling_);  // or as much as is in use
  }
  ceiling_ = 0;
}

bool Environment::releaseFreedPages() {
  exceedCeiling();
  TransactionHandle transaction;
  int code = beginWrite(transaction);
  if (code == MDB_SUCCESS) {
    MDB_val key = {std::strlen(kReleasedKey), const_cast<char*>(kReleasedKey)};
    MDB_val value = {0, nullptr};
    code = mdb_put(transaction.get(), handle_.tables[static_cast<std::size_t>(Table::kMeta)], &key,
                   &value, 0);
  }
  if (code == MDB_SUCCESS) {
    code = mdb_txn_commit(transaction.release());
  }
  transaction.reset();
  keepCeiling();
  return settle(code) == MDB_SUCCESS;
}

}  // namespace toolkit::store
