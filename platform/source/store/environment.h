// Environment: one LMDB file with the store's tables.
//
// LMDB allows one open handle of a file in a process, so all users of a file share one Environment:
// open() gives out the one that exists. It opens its file anew when it finds itself in a forked
// child, and after a failure that spoils the handle.
//
// A file on a file system that is mounted read-only is open for reading: writes are refused.
//
// Calls that can fail return an LMDB or errno code (0: success) or, at open, a sentence.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "store/changes.h"
#include "store/lmdb_handles.h"
#include "store/writer_lock.h"

namespace toolkit::store {

enum class Table : std::size_t { kLeaf, kNode, kDevice, kRight, kWatchdog, kMeta, kEvent };

// Keys and value of the table kMeta.
inline constexpr const char* kVersionKey = "version";
inline constexpr const char* kFormatVersion = "1";
inline constexpr const char* kReleasedKey = "released";

// Beside LMDB's codes: a write for clients would take what is kept for the device's own programs.
inline constexpr int kReserved = -1;
// Likewise: another process has kept the writers' lock for too long.
inline constexpr int kWriterBusy = -2;

class Environment {
 public:
  enum class Commits { kUnsynced, kDurable };
  enum class IfMissing { kRefuse, kCreate };

  // Null with a sentence in `error` when the file cannot be used.
  static std::shared_ptr<Environment> open(const std::string& file, Commits commits,
                                           IfMissing ifMissing, std::string& error);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  const std::string& file() const { return file_; }
  // Whether each commit says which leaves it changed: in the live half.
  bool notesChanges() const { return commits_ == Commits::kUnsynced; }
  ChangeRing& changes() { return changes_; }
  // How long a write waits for those of other processes. After one that has waited in vain the next
  // ones wait less, until one succeeds.
  static constexpr std::chrono::milliseconds kPatience{2000};
  void setPatience(std::chrono::milliseconds patience) { patience_ = patience; }

  // A sentence for a code that a call on this environment gave.
  std::string describe(int code) const;

  // Frees the reader slots of processes that were killed. Returns how many.
  int clearStaleReaders();

  // What the file takes and may take. The readers are those that live.
  struct Sizes {
    std::size_t pageBytes = 0;
    std::size_t maxBytes = 0;
    std::size_t clientBytes = 0;
    unsigned readers = 0;
    unsigned maxReaders = 0;
  };
  Sizes sizes();

  // Pages that the tables may take by writes for clients.
  std::size_t pagesForClients() const;
  std::size_t bytesForClients() const;

  // Doubles the map, with no transaction open. False at the ceiling, which is lower for clients: so
  // the file has an end where the device finds pages that lie together.
  bool grow(bool forClients);

  // Makes the pages that the last commit freed usable for the next one, which LMDB does a commit
  // later: on a full map there would never be one. May take a few pages beyond the ceiling.
  bool releaseFreedPages();

  // A removal needs pages before it frees some: lets it have them beyond the ceiling. False when
  // there are no more. keepCeiling() ends that; what was taken stays in use.
  bool exceedCeiling();
  void keepCeiling();

 private:
  friend class Transaction;
  friend class ReadTransaction;
  friend class WriteTransaction;
  static constexpr std::size_t kTableCount = 7;
  // A file of an earlier program has only so many: the others are added to it.
  static constexpr std::size_t kFirstTables = 6;

  // The reader goes before the environment.
  struct Handle {
    EnvironmentHandle environment;
    TransactionHandle reader;
    std::array<MDB_dbi, kTableCount> tables = {};
  };

  Environment(std::string file, Commits commits);

  std::string connect(IfMissing ifMissing);
  std::string prepareLocks();
  int openFile(Handle& handle) const;
  std::string openTables(Handle& handle, IfMissing ifMissing) const;
  static int lookUpTables(Handle& handle, MDB_txn* transaction, std::size_t first, std::size_t end,
                          unsigned flags);
  static int createTables(Handle& handle);
  static int addTables(Handle& handle);
  std::string checkVersion(const Handle& handle) const;
  std::string missing() const;
  std::string openFailure(int code) const;

  bool isOwn() const;
  int reconnect();
  void disconnect();
  int settle(int code);
  template <class Begin>
  int attempt(Begin begin);
  int beginRead();
  void endRead() { mdb_txn_reset(handle_.reader.get()); }
  // A success is to be followed by endWrite(), when the transaction has ended.
  int beginWrite(TransactionHandle& transaction);
  void endWrite() { writers_.unlock(); }
  int takeTurn();

  std::string file_;
  Commits commits_;
  std::size_t limit_;
  std::size_t ceiling_ = 0;  // of the map, while it is exceeded
  Handle handle_;
  WriterLock writers_;
  ChangeRing changes_;
  std::chrono::milliseconds patience_ = kPatience;
  bool waitedInVain_ = false;
  std::string failure_;  // why the last connect() failed
  unsigned generation_ = 0;
  bool spoiled_ = false;
  bool readOnly_ = false;
};

}  // namespace toolkit::store
