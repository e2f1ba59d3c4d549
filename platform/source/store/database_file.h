// What is done with a database's files before and around LMDB.
//
// Each call returns an empty string, or one sentence that names the file.
#pragma once

#include <lmdb.h>
#include <sys/stat.h>

#include <string>

namespace toolkit::store {

// Files made while one lives are readable and writable for the owner and the group.
class GroupFileMode {
 public:
  static constexpr mode_t kMode = 0660;

  GroupFileMode() : before_(umask(0777 & ~kMode)) {}
  ~GroupFileMode() { umask(before_); }
  GroupFileMode(const GroupFileMode&) = delete;
  GroupFileMode& operator=(const GroupFileMode&) = delete;

 private:
  mode_t before_;
};

// False for a file that is not there, and for an empty one: what an interrupted creation leaves.
bool databaseExists(const std::string& file);

bool isOnReadOnlyDisk(const std::string& file);

// The sentence for an errno or LMDB code at opening the file.
std::string cannotOpen(const std::string& file, int code);

std::string makeFolderOf(const std::string& file);

// Allocates the lock file before LMDB maps it, so that a full disk is an error and not a SIGBUS.
// Not to be called while this process has the database open.
std::string prepareLockFile(const std::string& lockFile);

// Finds a file that ends before its last page in use, which LMDB would read past the end.
std::string checkLength(MDB_env* environment, const std::string& file);

}  // namespace toolkit::store
