#include <algorithm>
#include <limits>

#include "logs/database.h"
#include "logs/event_row.h"
#include "toolkit/log.h"
#include "toolkit/time.h"

namespace toolkit {

namespace {

// Rows that one append removes beyond those that it adds.
constexpr std::int64_t kTrimStep = 200;
// One of so many parts of the rows goes at a time where the bytes are too many.
constexpr std::int64_t kTrimParts = 32;

constexpr const char* kUpgrade = "ALTER TABLE event ADD waveforms TEXT NOT NULL DEFAULT ''";

// The index answers times and paths, so that a filter reads no row in vain.
constexpr logs::Schema kSchema = {"event log", 0x54524E45, logs::kEventVersion, kUpgrade, R"(
  CREATE TABLE event (
    id INTEGER PRIMARY KEY, time INTEGER NOT NULL, type INTEGER NOT NULL, path TEXT NOT NULL,
    event_id INTEGER NOT NULL, sequence INTEGER NOT NULL, severity INTEGER NOT NULL,
    priority INTEGER NOT NULL, quality INTEGER NOT NULL, ack INTEGER NOT NULL,
    variation INTEGER NOT NULL, condition INTEGER NOT NULL, auto_closing INTEGER NOT NULL,
    flag INTEGER NOT NULL, raised INTEGER NOT NULL, value_type INTEGER NOT NULL, value,
    value_time INTEGER NOT NULL, message TEXT NOT NULL, note TEXT NOT NULL, source TEXT NOT NULL,
    waveforms TEXT NOT NULL DEFAULT '');
  CREATE INDEX event_time ON event (time, id, path);
  CREATE TABLE mark (number INTEGER NOT NULL, time INTEGER NOT NULL);
)"};

// A path filter as the bounds of an index: the path itself, and all that begin with it and "/".
struct PathFilter {
  explicit PathFilter(std::string text) : path(std::move(text)) {
    while (path.ends_with('/')) {
      path.pop_back();
    }
  }
  bool isSet() const { return !path.empty(); }
  std::string first() const { return path + "/"; }
  std::string end() const { return path + static_cast<char>('/' + 1); }

  std::string path;
};

std::string query(std::int32_t version, bool filtered, bool descending) {
  const std::string direction = descending ? " DESC" : "";
  return "SELECT " + logs::eventColumns(version) + " FROM event WHERE time >= ?1 AND time <= ?2" +
         (filtered ? " AND (path = ?5 OR (path >= ?6 AND path < ?7))" : "") +
         " AND (?4 = 0 OR type & ?4) ORDER BY time" + direction + ", id" + direction + " LIMIT ?3";
}

std::int64_t wireTime(const timeval* bound, std::int64_t unbounded) {
  return bound == nullptr ? unbounded : qel_UNIXtoQELtime64(bound);
}

// Numbers of the first and of the last row.
std::pair<std::int64_t, std::int64_t> endsOf(SQLite::Database& database) {
  SQLite::Statement ends(database,
                         "SELECT (SELECT MIN(id) FROM event), (SELECT MAX(id) FROM event)");
  ends.executeStep();
  return {ends.getColumn(0).getInt64(), ends.getColumn(1).getInt64()};
}

void removeBefore(SQLite::Database& database, std::int64_t id) {
  SQLite::Statement remove(database, "DELETE FROM event WHERE id < ?");
  remove.bind(1, id);
  remove.exec();
}

void trim(SQLite::Database& database, std::int64_t capacity, std::int64_t added) {
  const auto [first, last] = endsOf(database);
  const std::int64_t excess = last - first + 1 - capacity;
  if (excess > 0) {
    removeBefore(database, first + std::min(excess, added + kTrimStep));
  }
}

std::uint64_t bytesOf(SQLite::Database& database) {
  const auto number = [&](const char* pragma) {
    return static_cast<std::uint64_t>(database.execAndGet(pragma).getInt64());
  };
  return (number("PRAGMA page_count") - number("PRAGMA freelist_count")) *
         number("PRAGMA page_size");
}

void trimBytes(SQLite::Database& database, std::uint64_t maxBytes) {
  auto [first, last] = endsOf(database);
  while (first < last && bytesOf(database) > maxBytes) {
    first += (last - first) / kTrimParts + 1;
    removeBefore(database, first);
  }
}

// The row of a ring's mark. A log from before there was a second ring has the first row only, which
// marks what is in the first ring to this day.
std::int64_t markRow(std::size_t ring) {
  return static_cast<std::int64_t>(ring) + 1;
}

void setMark(SQLite::Database& database, std::size_t ring, const CLog::Mark& mark) {
  SQLite::Statement replace(database, "REPLACE INTO mark (rowid, number, time) VALUES (?, ?, ?)");
  replace.bind(1, markRow(ring));
  replace.bind(2, static_cast<std::int64_t>(mark.number));
  replace.bind(3, static_cast<std::int64_t>(qel_UNIXtoQELtime64(&mark.time)));
  replace.exec();
}

}  // namespace

struct CLog::State {
  logs::Database database{kSchema};
  std::int64_t capacity = 0;
  std::uint64_t maxBytes = 0;
};

CLog::CLog() : state_(std::make_unique<State>()) {}

CLog::~CLog() = default;

int CLog::init(const std::string& path, unsigned capacity, bool write, bool durable, bool mustExist,
               bool wait, unsigned pageSize, unsigned cacheSize, unsigned heapLimit) {
  logs::Access access;
  access.write = write;
  access.create = !mustExist;
  access.durable = durable;
  if (wait) {
    access.waitMs = write ? kWriterWaitMs : kReaderWaitMs;
  }
  state_->capacity = capacity;
  return state_->database.open(path, access, {pageSize, cacheSize, heapLimit});
}

bool CLog::is_initialized() const {
  return state_->database.isOpen();
}

void CLog::close() {
  state_->database.close();
}

void CLog::setMaxBytes(std::uint64_t bytes) {
  state_->maxBytes = bytes;
}

int CLog::retrieve(std::vector<CEvent>& events, const std::string& pathFilter, const timeval* start,
                   const timeval* end, unsigned max, bool latest, bool reverse, unsigned types) {
  using Limits = std::numeric_limits<std::int64_t>;
  events.clear();
  const PathFilter filter(pathFilter);
  const log_result_t result = state_->database.read([&](SQLite::Database& database) {
    const std::int32_t version = database.execAndGet("PRAGMA user_version").getInt();
    SQLite::Statement select(database, query(version, filter.isSet(), latest));
    select.bind(1, wireTime(start, Limits::min()));
    select.bind(2, wireTime(end, Limits::max()));
    select.bind(3, max == kNoMaximum ? std::int64_t{-1} : std::int64_t{max});
    select.bind(4, types);
    if (filter.isSet()) {
      select.bind(5, filter.path);
      select.bind(6, filter.first());
      select.bind(7, filter.end());
    }
    while (select.executeStep()) {
      events.push_back(logs::eventOf(select));
    }
  });
  if (result != LOG_OK) {
    events.clear();
  } else if (latest != reverse) {
    std::reverse(events.begin(), events.end());
  }
  return result;
}

// Rows go at the beginning and come at the end: there is no gap between.
int CLog::count(std::uint64_t& events) {
  events = 0;
  return state_->database.read([&](SQLite::Database& database) {
    constexpr const char* kCount =
        "SELECT (SELECT MAX(id) FROM event) - (SELECT MIN(id) FROM event) + 1";
    events = static_cast<std::uint64_t>(database.execAndGet(kCount).getInt64());
  });
}

int CLog::append(const std::vector<CEvent>& events) {
  return append(events, Marks());
}

int CLog::append(const std::vector<CEvent>& events, const Marks& marks) {
  return state_->database.write([&](SQLite::Database& database) {
    SQLite::Statement insert(database, logs::insertEvent());
    for (const CEvent& event : events) {
      logs::bindEvent(insert, event);
      insert.exec();
      insert.reset();
    }
    if (state_->capacity > 0) {
      trim(database, state_->capacity, static_cast<std::int64_t>(events.size()));
    }
    if (state_->maxBytes > 0) {
      trimBytes(database, state_->maxBytes);
    }
    for (std::size_t ring = 0; ring < marks.size(); ++ring) {
      if (marks.at(ring).number != 0) {
        setMark(database, ring, marks.at(ring));
      }
    }
  });
}

int CLog::get_marks(Marks& marks) {
  marks = {};
  return state_->database.read([&](SQLite::Database& database) {
    SQLite::Statement select(database, "SELECT number, time FROM mark WHERE rowid = ?");
    for (std::size_t ring = 0; ring < marks.size(); ++ring) {
      select.bind(1, markRow(ring));
      if (select.executeStep()) {
        marks.at(ring).number = static_cast<std::uint64_t>(select.getColumn(0).getInt64());
        qel_QELtoUNIXtime64(select.getColumn(1).getInt64(), &marks.at(ring).time);
      }
      select.reset();
    }
  });
}

const std::string& CLog::last_error() const {
  return state_->database.lastError();
}

}  // namespace toolkit
