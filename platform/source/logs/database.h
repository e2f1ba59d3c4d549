// One SQLite file with a schema of ours: opening, transactions, and failures as results.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "toolkit/log_result.h"

namespace toolkit::logs {

struct Schema {
  const char* name;            // "event log"
  std::int32_t applicationId;  // in the file's header
  std::int32_t version;        // likewise
  const char* upgrade;         // statements that make it of version 1; null: there is no older one
  const char* statements;      // that make it
};

struct Access {
  bool write = false;
  bool create = false;
  bool durable = false;
  bool verify = false;
  int waitMs = 0;
};

struct Sizes {
  unsigned page = 0;
  unsigned cache = 0;
  unsigned heap = 0;
};

class Database {
 public:
  explicit Database(const Schema& schema) : schema_(schema) {}

  // A reader finds a file that is held by another process open. It goes over to another file that
  // takes this one's place; a writer fails then, since what it entered is gone.
  log_result_t open(const std::string& path, const Access& access, const Sizes& sizes);
  bool isOpen() const { return open_; }
  void close();

  // Run the body in one transaction, which ends undone when the body throws.
  // A file of version 1 is read as it is, and upgraded by the first write.
  using Body = std::function<void(SQLite::Database&)>;
  log_result_t read(const Body& body);
  log_result_t write(const Body& body);

  // Keeps a reason of the caller's own and returns `result`.
  log_result_t fail(log_result_t result, const std::string& why);
  const std::string& lastError() const { return lastError_; }

 private:
  using FileId = std::pair<std::uint64_t, std::uint64_t>;  // device, inode

  log_result_t openFile();
  log_result_t followFile();
  FileId fileId() const;
  log_result_t attempt(const std::function<void()>& body);
  void prepareWriter();
  void check();
  bool isOld();

  const Schema& schema_;
  std::string path_;
  Access access_;
  Sizes sizes_;
  std::string lastError_;
  std::unique_ptr<SQLite::Database> database_;
  FileId fileId_;
  bool open_ = false;
  bool checked_ = false;
};

}  // namespace toolkit::logs
