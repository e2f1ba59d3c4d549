#include "store/database_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "store/lmdb_handles.h"
#include "unique_fd.h"

namespace toolkit::store {

namespace {

// What LMDB makes it for its default of 126 readers.
constexpr off_t kLockFileBytes = 8192;
constexpr MDB_dbi kFreePages = 0;

std::string because(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

off_t sizeOf(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

std::size_t pageSize(MDB_env* environment) {
  MDB_stat stat = {};
  mdb_env_stat(environment, &stat);
  return stat.ms_psize;
}

std::size_t pagesInUse(MDB_env* environment) {
  MDB_envinfo info = {};
  mdb_env_info(environment, &info);
  return info.me_last_pgno + 1;
}

bool copyInto(int copy, int original) {
  off_t offset = 0;
  const off_t size = sizeOf(original);
  while (offset < size) {
    if (sendfile(copy, original, &offset, static_cast<std::size_t>(size - offset)) <= 0) {
      return false;
    }
  }
  return true;
}

// Pages of one entry of LMDB's free list that lie at or after `first`.
std::size_t countFrom(const MDB_val& entry, std::size_t first) {
  const std::size_t words = entry.mv_size / sizeof(std::size_t);
  std::size_t count = 0;
  std::size_t page = 0;
  for (std::size_t i = 1; i < words; ++i) {
    std::memcpy(&page, static_cast<const char*>(entry.mv_data) + i * sizeof page, sizeof page);
    count += page >= first ? 1 : 0;
  }
  return count;
}

std::size_t freePagesFrom(MDB_env* environment, std::size_t first) {
  MDB_txn* raw = nullptr;
  if (mdb_txn_begin(environment, nullptr, MDB_RDONLY, &raw) != MDB_SUCCESS) {
    return 0;
  }
  const TransactionHandle transaction(raw);
  MDB_cursor* rawCursor = nullptr;
  if (mdb_cursor_open(raw, kFreePages, &rawCursor) != MDB_SUCCESS) {
    return 0;
  }
  const CursorHandle cursor(rawCursor);
  std::size_t count = 0;
  MDB_val key = {};
  MDB_val entry = {};
  while (mdb_cursor_get(rawCursor, &key, &entry, MDB_NEXT) == MDB_SUCCESS) {
    count += countFrom(entry, first);
  }
  return count;
}

// LMDB does not write pages that a transaction both took and gave back, so a sound file may end
// before them. The free list tells, but lies perhaps in the missing part itself: it is read in a
// copy that is filled up.
bool isTailFree(MDB_env* environment, int descriptor) {
  const UniqueFd copy(memfd_create("store-check", MFD_CLOEXEC));
  if (!copy || !copyInto(copy.get(), descriptor)) {
    return false;
  }
  const std::size_t pages = pagesInUse(environment);
  const std::size_t page = pageSize(environment);
  const std::size_t present = static_cast<std::size_t>(sizeOf(descriptor)) / page;
  if (ftruncate(copy.get(), static_cast<off_t>(pages * page)) != 0) {
    return false;
  }
  MDB_env* raw = nullptr;
  if (mdb_env_create(&raw) != MDB_SUCCESS) {
    return false;
  }
  const EnvironmentHandle filled(raw);
  const std::string path = "/proc/self/fd/" + std::to_string(copy.get());
  return mdb_env_open(raw, path.c_str(), MDB_NOSUBDIR | MDB_RDONLY | MDB_NOLOCK | MDB_NOTLS, 0) ==
             MDB_SUCCESS &&
         freePagesFrom(raw, present) == pages - present;
}

}  // namespace

bool databaseExists(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) {
    return errno != ENOENT && errno != ENOTDIR;
  }
  return status.st_size > 0;
}

bool isOnReadOnlyDisk(const std::string& file) {
  struct statvfs disk = {};
  return statvfs(file.c_str(), &disk) == 0 && (disk.f_flag & ST_RDONLY) != 0;
}

std::string cannotOpen(const std::string& file, int code) {
  const bool forbidden = code == EACCES || code == EPERM || code == EROFS;
  return (forbidden ? "no permission to open " : "cannot open ") + file + ": " + mdb_strerror(code);
}

std::string makeFolderOf(const std::string& file) {
  const std::filesystem::path folder = std::filesystem::path(file).parent_path();
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return error ? because("cannot make the folder " + folder.string(), error.value()) : "";
}

std::string prepareLockFile(const std::string& lockFile) {
  const UniqueFd descriptor(
      open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, GroupFileMode::kMode));
  if (!descriptor) {
    return cannotOpen(lockFile, errno);
  }
  const int error = posix_fallocate(descriptor.get(), 0, kLockFileBytes);
  return error == 0 ? "" : because("cannot make " + lockFile, error);
}

std::string checkLength(MDB_env* environment, const std::string& file) {
  int descriptor = -1;
  mdb_env_get_fd(environment, &descriptor);
  const auto isShort = [&] {
    return static_cast<std::size_t>(sizeOf(descriptor)) <
           pagesInUse(environment) * pageSize(environment);
  };
  if (!isShort()) {
    return {};
  }
  // Nobody writes while the copy is made.
  MDB_txn* raw = nullptr;
  if (const int rc = mdb_txn_begin(environment, nullptr, 0, &raw); rc != MDB_SUCCESS) {
    return file + ": " + mdb_strerror(rc);
  }
  const TransactionHandle writerLock(raw);
  if (!isShort() || isTailFree(environment, descriptor)) {
    return {};
  }
  return file + " is truncated: it has " + std::to_string(sizeOf(descriptor)) + " of " +
         std::to_string(pagesInUse(environment) * pageSize(environment)) + " bytes";
}

}  // namespace toolkit::store
