// Store: the live and the persistent half together.
//
// Reads go to the live half: open a ReadTransaction on live(). Writes go through write(), which
// takes the writers' locks always in the same order, live before persistent, so that all processes
// apply their writes to both halves in the same order.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "store/environment.h"
#include "store/transaction.h"
#include "toolkit/types.h"

namespace toolkit::store {

// Whom a write is for. What grows beyond the clients' part of a half is refused to them.
enum class For { kDevice, kClients };

// One write on both halves.
class Change {
 public:
  Change(Environment& live, Environment& persistent);
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  WriteTransaction& live() { return live_; }
  // Begun at the first call: a change of the live half alone waits for no disk.
  WriteTransaction& persistent();
  // Says that this change only removes: a map that is full shall not keep it from making room.
  void removes() { removes_ = true; }
  // Whether the persistent half has this record.
  bool isPersistent(Table table, std::string_view key);

 private:
  friend class Store;
  int status() const;
  int commit(For whom);
  // Takes a committed change of the persistent half back.
  void undo();
  // The half that the failure came from.
  Environment& failed();

  Environment& persistentEnvironment_;
  WriteTransaction live_;
  Journal journal_;
  std::optional<WriteTransaction> persistent_;
  bool removes_ = false;
};

class Store {
 public:
  // Opens the store of $TOOLKIT_RUN and $TOOLKIT_STATE. A missing live half is built from the
  // persistent one. Null with a sentence in `error` when there is none or it cannot be used.
  static std::shared_ptr<Store> open(std::string& error);
  // The same, and makes an empty persistent half where there is none.
  static std::shared_ptr<Store> openOrCreate(std::string& error);
  // The live half alone, which must exist.
  static std::shared_ptr<Environment> openLive(std::string& error);

  Environment& live() { return *live_; }
  Environment& persistent() { return *persistent_; }

  // Runs `body` and commits both halves, or neither. A map that is full grows, and `body` runs
  // again: it must start from scratch each time.
  api_status_t write(const std::function<void(Change&)>& body, For whom = For::kDevice);

  // Builds the live half anew from the persistent one, in one transaction.
  api_status_t rebuildLive() { return buildLive(true); }

  // Frees the reader slots of processes that were killed.
  void clearStaleReaders();

  // Status for a code of a transaction on the live half, remembered for lastError().
  api_status_t statusOf(int code);
  const std::string& lastError() const { return lastError_; }

 private:
  Store(std::shared_ptr<Environment> live, std::shared_ptr<Environment> persistent)
      : live_(std::move(live)), persistent_(std::move(persistent)) {}

  struct Demand {
    For whom;
    bool removal;
  };

  static std::shared_ptr<Store> openHalves(Environment::IfMissing ifMissing, std::string& error);
  api_status_t buildLive(bool anew);
  // Does the next thing that may help: `tried` counts them. False when nothing is left.
  static bool makeRoom(Environment& full, Demand demand, int& tried);
  api_status_t fail(const Environment& environment, int code, For whom = For::kDevice);

  std::shared_ptr<Environment> live_;
  std::shared_ptr<Environment> persistent_;
  std::string lastError_;
};

}  // namespace toolkit::store
