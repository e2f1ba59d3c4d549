#include "logs/database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>

#include "store/database_file.h"
#include "unique_fd.h"

namespace toolkit::logs {

namespace {

// The write-ahead log is cut back to this many bytes after a checkpoint.
constexpr int kMaxJournal = 4 << 20;
constexpr int kPrimaryCode = 0xFF;

// A file whose header or content is not what it has to be.
struct BadFile : std::runtime_error {
  BadFile(log_result_t why, const std::string& text) : std::runtime_error(text), result(why) {}
  log_result_t result;
};

log_result_t resultOf(int sqliteCode, const std::string& path) {
  switch (sqliteCode & kPrimaryCode) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return LOG_BUSY;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return LOG_DAMAGED;
    case SQLITE_FULL:
      return LOG_FULL;
    case SQLITE_CANTOPEN: {
      std::error_code ignored;
      return std::filesystem::exists(path, ignored) ? LOG_FAILED : LOG_MISSING;
    }
    default:
      return LOG_FAILED;
  }
}

int flagsOf(const Access& access) {
  if (!access.write) {
    return SQLite::OPEN_READONLY;
  }
  return SQLite::OPEN_READWRITE | (access.create ? SQLite::OPEN_CREATE : 0);
}

std::int32_t pragma(SQLite::Database& database, const std::string& name) {
  return database.execAndGet("PRAGMA " + name).getInt();
}

void setPragma(SQLite::Database& database, const std::string& name, std::int64_t value) {
  database.exec("PRAGMA " + name + "=" + std::to_string(value));
}

void applySizes(SQLite::Database& database, const Sizes& sizes) {
  constexpr std::int64_t kKilobyte = 1024;
  if (sizes.page > 0) {
    setPragma(database, "page_size", sizes.page);
  }
  if (sizes.cache > 0) {
    // Negative: a number of kilobytes instead of pages.
    setPragma(database, "cache_size", -((sizes.cache + kKilobyte - 1) / kKilobyte));
  }
  if (sizes.heap > 0) {
    setPragma(database, "soft_heap_limit", sizes.heap);
  }
}

bool isEmpty(SQLite::Database& database) {
  return database.execAndGet("SELECT COUNT(*) FROM sqlite_schema").getInt() == 0 &&
         pragma(database, "application_id") == 0;
}

void verifyAll(SQLite::Database& database) {
  const std::string found = database.execAndGet("PRAGMA quick_check(1)").getString();
  if (found != "ok") {
    throw BadFile(LOG_DAMAGED, found);
  }
}

// Lets the group write a log whatever the umask is. SQLite gives the two other files the mode of
// the database when it makes them; what an earlier program made is mended where this user may. What
// fails here, SQLite finds out.
void shareWithGroup(const std::string& path, bool create) {
  constexpr mode_t kMode = store::GroupFileMode::kMode;
  if (create) {
    // A file that exists is not opened: closing it would end the locks of this process's readers.
    const UniqueFd made(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kMode));
    if (made) {
      fchmod(made.get(), kMode);
    }
  }
  for (const char* suffix : {"", "-wal", "-shm"}) {
    const std::string file = path + suffix;
    struct stat status {};
    if (stat(file.c_str(), &status) == 0 && (status.st_mode & kMode) != kMode) {
      chmod(file.c_str(), (status.st_mode & 07777) | kMode);
    }
  }
}

}  // namespace

log_result_t Database::open(const std::string& path, const Access& access, const Sizes& sizes) {
  close();
  path_ = path;
  access_ = access;
  sizes_ = sizes;
  const log_result_t opened = openFile();
  open_ = opened == LOG_OK;
  return opened;
}

log_result_t Database::openFile() {
  checked_ = false;
  if (access_.write) {
    shareWithGroup(path_, access_.create);
  }
  const log_result_t opened = attempt([&] {
    database_ = std::make_unique<SQLite::Database>(path_, flagsOf(access_), access_.waitMs);
    fileId_ = fileId();
    applySizes(*database_, sizes_);
    if (access_.write) {
      prepareWriter();
    } else {
      // Moving the journal into the file is the writer's work.
      sqlite3_db_config(database_->getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    check();
    if (access_.verify) {
      verifyAll(*database_);
    }
  });
  if (opened == LOG_BUSY && !access_.write) {
    return LOG_OK;
  }
  if (opened != LOG_OK) {
    database_.reset();
  }
  return opened;
}

log_result_t Database::followFile() {
  if (database_ != nullptr && fileId() == fileId_) {
    return LOG_OK;
  }
  return access_.write ? fail(LOG_MISSING, "was replaced or removed while it was open")
                       : openFile();
}

Database::FileId Database::fileId() const {
  struct stat file {};
  if (stat(path_.c_str(), &file) != 0) {
    return {};
  }
  return {file.st_dev, file.st_ino};
}

void Database::close() {
  database_.reset();
  open_ = false;
}

// Makes the schema in a file that is new.
void Database::prepareWriter() {
  // SQLite opens a protected file for reading then.
  if (sqlite3_db_readonly(database_->getHandle(), "main") == 1) {
    throw BadFile(LOG_FAILED, "is write-protected");
  }
  if (isEmpty(*database_)) {
    database_->exec("PRAGMA journal_mode=WAL");
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
    if (isEmpty(*database_)) {  // no other writer was faster
      database_->exec(schema_.statements);
      setPragma(*database_, "application_id", schema_.applicationId);
      setPragma(*database_, "user_version", schema_.version);
      transaction.commit();
    }
  }
  database_->exec(access_.durable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
  setPragma(*database_, "journal_size_limit", kMaxJournal);
}

void Database::check() {
  const std::int32_t id = pragma(*database_, "application_id");
  const std::int32_t version = pragma(*database_, "user_version");
  if (id != schema_.applicationId) {
    throw BadFile(LOG_FOREIGN, std::string("is not a database of the ") + schema_.name);
  }
  if (version != schema_.version && !isOld()) {
    throw BadFile(LOG_FOREIGN, "is of schema version " + std::to_string(version) + " and not " +
                                   std::to_string(schema_.version) + " of the " + schema_.name);
  }
  database_->execAndGet("SELECT COUNT(*) FROM sqlite_schema");  // reads and parses the schema
  checked_ = true;
}

bool Database::isOld() {
  return schema_.upgrade != nullptr && pragma(*database_, "user_version") == 1;
}

log_result_t Database::read(const Body& body) {
  if (!isOpen()) {
    return fail(LOG_CLOSED, "is not open");
  }
  if (const log_result_t followed = followFile(); followed != LOG_OK) {
    return followed;
  }
  return attempt([&] {
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::DEFERRED);
    if (!checked_) {
      check();
    }
    body(*database_);
    transaction.commit();
  });
}

log_result_t Database::write(const Body& body) {
  if (!isOpen() || !access_.write) {
    return fail(LOG_CLOSED, "is not open for writing");
  }
  if (const log_result_t followed = followFile(); followed != LOG_OK) {
    return followed;
  }
  return attempt([&] {
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
    if (isOld()) {
      database_->exec(schema_.upgrade);
      setPragma(*database_, "user_version", schema_.version);
    }
    body(*database_);
    transaction.commit();
  });
}

log_result_t Database::fail(log_result_t result, const std::string& why) {
  lastError_ = path_ + ": " + why;
  return result;
}

log_result_t Database::attempt(const std::function<void()>& body) {
  try {
    body();
    lastError_.clear();
    return LOG_OK;
  } catch (const BadFile& error) {
    return fail(error.result, error.what());
  } catch (const SQLite::Exception& error) {
    const log_result_t result = resultOf(error.getErrorCode(), path_);
    return fail(result, result == LOG_MISSING ? "no such file" : error.what());
  }
}

}  // namespace toolkit::logs
