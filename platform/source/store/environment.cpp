#include "store/environment.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "store/database_file.h"

namespace toolkit::store {

namespace {

constexpr std::size_t kDefaultLimit = std::size_t{4} << 30;
constexpr std::size_t kReservedPart = 8;  // one of so many
constexpr std::size_t kMinReserve = std::size_t{64} << 10;
constexpr std::size_t kSmallestLimit = std::size_t{64} << 10;
constexpr std::chrono::milliseconds kImpatience(20);
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
  readOnly_ = isOnReadOnlyDisk(file_);
  if (std::string error = readOnly_ ? "" : prepareLocks(); !error.empty()) {
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

std::string Environment::prepareLocks() {
  std::string error = prepareLockFile(file_ + "-lock");
  if (error.empty() && !writers_.isOpen()) {
    error = writers_.open(file_ + "-writer");
  }
  if (notesChanges()) {
    changes_.open(file_ + "-changes");
  }
  return error;
}

std::string Environment::describe(int code) const {
  if (code == EROFS) {
    return file_ + " is on a file system that is mounted read-only";
  }
  if (code == kWriterBusy) {
    return file_ + ": another process holds the store's writer lock";
  }
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
  if (const int code = takeTurn(); code != MDB_SUCCESS) {
    return code;
  }
  const int code = attempt([&] {
    MDB_txn* raw = nullptr;
    const int begun = mdb_txn_begin(handle_.environment.get(), nullptr, 0, &raw);
    transaction.reset(raw);
    return begun;
  });
  if (code != MDB_SUCCESS) {
    endWrite();
  }
  return code;
}

int Environment::takeTurn() {
  if (const int code = reconnect(); code != MDB_SUCCESS) {
    return code;
  }
  if (readOnly_) {
    return EROFS;
  }
  const int code = writers_.lock(waitedInVain_ ? kImpatience : patience_);
  waitedInVain_ = code == ETIMEDOUT;
  return waitedInVain_ ? kWriterBusy : code;
}

Environment::Sizes Environment::sizes() {
  clearStaleReaders();
  MDB_stat stat = {};
  MDB_envinfo info = {};
  Sizes sizes;
  mdb_env_stat(handle_.environment.get(), &stat);
  mdb_env_info(handle_.environment.get(), &info);
  sizes.pageBytes = stat.ms_psize;
  sizes.maxBytes = limit_;
  sizes.clientBytes = bytesForClients();
  sizes.maxReaders = info.me_maxreaders;
  // A line for each, each with its process; the heading and "none" have no digits in front.
  const auto count = [](const char* line, void* readers) {
    const std::string_view text = line;
    const std::size_t first = text.find_first_not_of(' ');
    const bool isReader =
        first != std::string_view::npos && text[first] >= '0' && text[first] <= '9';
    *static_cast<unsigned*>(readers) += isReader ? 1 : 0;
    return 0;
  };
  mdb_reader_list(handle_.environment.get(), count, &sizes.readers);
  return sizes;
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
  const bool begun = code == MDB_SUCCESS;
  if (begun) {
    MDB_val key = {std::strlen(kReleasedKey), const_cast<char*>(kReleasedKey)};
    MDB_val value = {0, nullptr};
    code = mdb_put(transaction.get(), handle_.tables[static_cast<std::size_t>(Table::kMeta)], &key,
                   &value, 0);
  }
  if (code == MDB_SUCCESS) {
    code = mdb_txn_commit(transaction.release());
  }
  transaction.reset();
  if (begun) {
    endWrite();
  }
  keepCeiling();
  return settle(code) == MDB_SUCCESS;
}

}  // namespace toolkit::store
