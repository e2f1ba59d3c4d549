#include "store/store.h"

#include <cstdlib>

#include "store/boot.h"
#include "toolkit/run_folder.h"

namespace toolkit {

namespace {

// Another process may be building a large one.
constexpr std::chrono::seconds kBuildPatience(60);

std::string folderOf(const char* variable, const char* fallback) {
  const char* value = std::getenv(variable);
  return value == nullptr || *value == '\0' ? fallback : value;
}

}  // namespace

std::string runFolder() {
  return folderOf("TOOLKIT_RUN", "/run/toolkit");
}

}  // namespace toolkit

namespace toolkit::store {

namespace {

std::string liveFile() {
  return runFolder() + "/live.mdb";
}

std::string persistentFile() {
  return folderOf("TOOLKIT_STATE", "/var/lib/toolkit") + "/persistent.mdb";
}

}  // namespace

Change::Change(Environment& live, Environment& persistent)
    : persistentEnvironment_(persistent), live_(live) {}

WriteTransaction& Change::persistent() {
  if (!persistent_) {
    persistent_.emplace(persistentEnvironment_, &journal_);
  }
  return *persistent_;
}

bool Change::isPersistent(Table table, std::string_view key) {
  if (persistent_) {
    return persistent_->contains(table, key);
  }
  ReadTransaction reader(persistentEnvironment_);
  const bool found = reader.contains(table, key);
  if (reader.status() != MDB_SUCCESS) {
    persistent();  // its failure ends the change
  }
  return found;
}

int Change::status() const {
  return live_.status() == MDB_SUCCESS && persistent_ ? persistent_->status() : live_.status();
}

int Change::commit(For whom) {
  if (whom == For::kClients && !removes_) {
    live_.keepToClientsPart();
    if (persistent_) {
      persistent_->keepToClientsPart();
    }
  }
  if (status() != MDB_SUCCESS || !persistent_) {
    return status() == MDB_SUCCESS ? live_.commit() : status();
  }
  if (persistent_->commit() == MDB_SUCCESS && live_.commit() != MDB_SUCCESS) {
    undo();
  }
  return status();
}

void Change::undo() {
  WriteTransaction order(live_.environment());
  WriteTransaction transaction(persistentEnvironment_);
  journal_.undo(transaction);
  transaction.commit();
}

Environment& Change::failed() {
  return live_.status() == MDB_SUCCESS ? persistentEnvironment_ : live_.environment();
}

std::shared_ptr<Environment> Store::openLive(std::string& error) {
  return Environment::open(liveFile(), Environment::Commits::kUnsynced,
                           Environment::IfMissing::kRefuse, error);
}

std::shared_ptr<Store> Store::open(std::string& error) {
  return openHalves(Environment::IfMissing::kRefuse, error);
}

std::shared_ptr<Store> Store::openOrCreate(std::string& error) {
  return openHalves(Environment::IfMissing::kCreate, error);
}

std::shared_ptr<Store> Store::openHalves(Environment::IfMissing ifMissing, std::string& error) {
  auto persistent =
      Environment::open(persistentFile(), Environment::Commits::kDurable, ifMissing, error);
  if (persistent == nullptr) {
    return nullptr;
  }
  auto live = Environment::open(liveFile(), Environment::Commits::kUnsynced,
                                Environment::IfMissing::kCreate, error);
  if (live == nullptr) {
    return nullptr;
  }
  std::shared_ptr<Store> store(new Store(std::move(live), std::move(persistent)));
  const bool built = store->buildLive(false) == API_SUCCESS;
  error = store->lastError();
  return built ? store : nullptr;
}

api_status_t Store::buildLive(bool anew) {
  if (!anew) {
    ReadTransaction reader(*live_);
    if (isComplete(reader)) {
      return API_SUCCESS;
    }
  }
  int source = MDB_SUCCESS;
  live_->setPatience(kBuildPatience);
  const api_status_t status = write([&](Change& change) {
    source =
        anew || !isComplete(change.live()) ? copyToLive(*persistent_, change.live()) : MDB_SUCCESS;
  });
  live_->setPatience(Environment::kPatience);
  return status == API_SUCCESS && source != MDB_SUCCESS ? fail(*persistent_, source) : status;
}

api_status_t Store::write(const std::function<void(Change&)>& body, For whom) {
  int triedLive = 0;
  int triedPersistent = 0;
  api_status_t status = API_NONE;
  while (status == API_NONE) {
    Environment* failed = nullptr;
    int code = MDB_SUCCESS;
    Demand demand = {whom, false};
    {
      Change change(*live_, *persistent_);
      if (change.status() == MDB_SUCCESS) {
        body(change);
      }
      code = change.commit(whom);
      failed = &change.failed();
      demand.removal = change.removes_;
    }
    if (code == MDB_SUCCESS) {
      status = API_SUCCESS;
    } else if (code != MDB_MAP_FULL ||
               !makeRoom(*failed, demand, failed == live_.get() ? triedLive : triedPersistent)) {
      status = fail(*failed, code, whom);
    }
  }
  if (triedLive > 1) {
    live_->keepCeiling();
  }
  if (triedPersistent > 1) {
    persistent_->keepCeiling();
  }
  return status;
}

bool Store::makeRoom(Environment& full, Demand demand, int& tried) {
  if (full.grow(demand.whom == For::kClients)) {
    return true;
  }
  // At the ceiling there may still be pages that a killed reader holds, or that were freed just
  // now.
  if (tried == 0) {
    full.clearStaleReaders();
    full.releaseFreedPages();
  }
  return ++tried == 1 || (tried == 2 && demand.removal && full.exceedCeiling());
}

void Store::clearStaleReaders() {
  live_->clearStaleReaders();
  persistent_->clearStaleReaders();
}

api_status_t Store::statusOf(int code) {
  return code == MDB_SUCCESS ? API_SUCCESS : fail(*live_, code);
}

api_status_t Store::fail(const Environment& environment, int code, For whom) {
  const bool isFull = code == MDB_MAP_FULL || code == kReserved;
  lastError_ = environment.describe(isFull && whom == For::kClients ? kReserved : code);
  return isFull ? API_STORE_FULL : API_FAILED;
}

}  // namespace toolkit::store
