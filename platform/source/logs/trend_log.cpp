#include <algorithm>
#include <map>
#include <optional>

#include "logs/database.h"
#include "logs/samples.h"
#include "toolkit/trend.h"

namespace toolkit::trend {

namespace {

// Snapshots of one device and period that one entry removes beyond itself.
constexpr std::int64_t kTrimStep = 20;
constexpr std::int64_t kUnbounded = -1;

// The unique key is the order in which snapshots are asked for.
constexpr logs::Schema kSchema = {"trend log", 0x54524E54, 1, nullptr, R"(
  CREATE TABLE period (id INTEGER PRIMARY KEY, max_entries INTEGER NOT NULL);
  CREATE TABLE device (id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE);
  CREATE TABLE param (
    device INTEGER NOT NULL, place INTEGER NOT NULL, path TEXT NOT NULL, type INTEGER NOT NULL,
    has_min INTEGER NOT NULL, has_max INTEGER NOT NULL, has_avg INTEGER NOT NULL,
    has_actual INTEGER NOT NULL, PRIMARY KEY (device, place), UNIQUE (device, path));
  CREATE TABLE snapshot (
    id INTEGER PRIMARY KEY, device INTEGER NOT NULL, period INTEGER NOT NULL,
    time INTEGER NOT NULL, valid REAL NOT NULL, samples BLOB NOT NULL,
    UNIQUE (device, period, time));
)"};

// Thrown inside a transaction by what the caller got wrong.
struct Unknown {
  std::string what;
};

std::optional<std::int64_t> deviceId(SQLite::Database& database, const std::string& path) {
  SQLite::Statement select(database, "SELECT id FROM device WHERE path = ?");
  select.bind(1, path);
  if (!select.executeStep()) {
    return std::nullopt;
  }
  return select.getColumn(0).getInt64();
}

std::vector<CParamProperties> paramsOf(SQLite::Database& database, std::int64_t device) {
  SQLite::Statement select(database,
                           "SELECT path, type, has_min, has_max, has_avg, has_actual, place "
                           "FROM param WHERE device = ? ORDER BY place");
  select.bind(1, device);
  std::vector<CParamProperties> params;
  while (select.executeStep()) {
    int column = 0;
    const auto flag = [&] { return select.getColumn(column++).getInt() != 0; };
    CParamProperties param;
    param.path = select.getColumn(column++).getString();
    param.type = static_cast<sample_type_t>(select.getColumn(column++).getInt());
    param.hasMin = flag();
    param.hasMax = flag();
    param.hasAvg = flag();
    param.hasActual = flag();
    param.index = select.getColumn(column).getUInt();
    params.push_back(std::move(param));
  }
  return params;
}

// Ids of the snapshots that are wanted: each period's come in order out of the key, and are merged.
std::string idQuery(const std::vector<std::uint32_t>& periods, bool ascending, bool completeOnly) {
  std::string query;
  for (const std::uint32_t period : periods) {
    query += query.empty() ? "" : " UNION ALL ";
    query += "SELECT id, time, period FROM snapshot WHERE device = ?1 AND period = " +
             std::to_string(period) + " AND time >= ?2 AND time <= ?3" +
             (completeOnly ? " AND valid >= 100" : "");
  }
  const std::string direction = ascending ? "" : " DESC";
  return query + " ORDER BY time" + direction + ", period" + direction + " LIMIT ?4 OFFSET ?5";
}

std::vector<std::uint32_t> idsOf(const std::vector<CPeriodProperties>& periods) {
  std::vector<std::uint32_t> ids;
  ids.reserve(periods.size());
  for (const CPeriodProperties& period : periods) {
    ids.push_back(period.period);
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

CSnapshot snapshotOf(SQLite::Statement& row, const std::vector<CParamProperties>& params) {
  CSnapshot snapshot;
  snapshot.period = row.getColumn(0).getUInt();
  snapshot.time = row.getColumn(1).getInt64();
  snapshot.percent_valid = row.getColumn(2).getDouble();
  const SQLite::Column samples = row.getColumn(3);
  const auto size = static_cast<std::size_t>(samples.getBytes());
  const logs::PackedSamples packed(static_cast<const char*>(samples.getBlob()), size);
  snapshot.data.reserve(params.size());
  for (const CParamProperties& param : params) {
    snapshot.data.push_back(packed.at(param.index));
  }
  return snapshot;
}

}  // namespace

struct CLog::State {
  using Key = std::pair<std::int64_t, std::uint32_t>;  // device, period

  log_result_t write(const logs::Database::Body& body);
  void enter(SQLite::Database& store, const CEntry& entry);
  void trim(SQLite::Database& store, const Key& key);

  logs::Database database{kSchema};
  // Snapshots that there are, as far as they were counted.
  std::map<Key, std::int64_t> counts;
};

log_result_t CLog::State::write(const logs::Database::Body& body) {
  log_result_t result = LOG_FAILED;
  try {
    result = database.write(body);
  } catch (const Unknown& unknown) {
    result = database.fail(LOG_FAILED, unknown.what);
  }
  if (result != LOG_OK) {
    counts.clear();
  }
  return result;
}

CLog::CLog() : state_(std::make_unique<State>()) {}

CLog::~CLog() = default;

int CLog::open(const std::string& path, bool readOnly, bool create, unsigned waitMs, bool durable,
               unsigned pageSize, unsigned cacheSize, unsigned heapLimit, bool verify) {
  logs::Access access;
  access.write = !readOnly;
  access.create = create;
  access.durable = durable;
  access.verify = verify;
  access.waitMs = static_cast<int>(std::min<unsigned>(waitMs, std::numeric_limits<int>::max()));
  state_->counts.clear();
  return state_->database.open(path, access, {pageSize, cacheSize, heapLimit});
}

bool CLog::is_open() const {
  return state_->database.isOpen();
}

void CLog::close() {
  state_->database.close();
}

int CLog::get_periods(std::vector<CPeriodProperties>& periods) {
  periods.clear();
  const log_result_t result = state_->database.read([&](SQLite::Database& database) {
    SQLite::Statement select(database, "SELECT id, max_entries FROM period ORDER BY id");
    while (select.executeStep()) {
      periods.push_back({select.getColumn(0).getUInt(), select.getColumn(1).getUInt()});
    }
  });
  if (result != LOG_OK) {
    periods.clear();
  }
  return result;
}

int CLog::count(std::uint64_t& snapshots) {
  snapshots = 0;
  return state_->database.read([&](SQLite::Database& database) {
    const auto rows = database.execAndGet("SELECT COUNT(*) FROM snapshot").getInt64();
    snapshots = static_cast<std::uint64_t>(rows);
  });
}

int CLog::get_devices(std::vector<CDeviceProperties>& devices) {
  devices.clear();
  const log_result_t result = state_->database.read([&](SQLite::Database& database) {
    SQLite::Statement select(database, "SELECT path FROM device ORDER BY id");
    while (select.executeStep()) {
      devices.push_back({select.getColumn(0).getString()});
    }
  });
  if (result != LOG_OK) {
    devices.clear();
  }
  return result;
}

int CLog::get_params(const CDeviceProperties& device, std::vector<CParamProperties>& params) {
  params.clear();
  return state_->database.read([&](SQLite::Database& database) {
    if (const auto id = deviceId(database, device.path)) {
      params = paramsOf(database, *id);
    }
  });
}

int CLog::get_trend_data(CDeviceData& data, const CDeviceParams& params,
                         const std::vector<CPeriodProperties>& periods,
                         std::pair<std::int64_t, std::int64_t> range, unsigned max, unsigned offset,
                         bool ascending, bool completeOnly) {
  data.params = params;
  data.samples.clear();
  const std::vector<std::uint32_t> wanted = idsOf(periods);
  const log_result_t result = state_->database.read([&](SQLite::Database& database) {
    const auto device = deviceId(database, params.device.path);
    if (!device || wanted.empty()) {
      return;
    }
    using Limits = std::numeric_limits<std::int64_t>;
    SQLite::Statement ids(database, idQuery(wanted, ascending, completeOnly));
    ids.bind(1, *device);
    ids.bind(2, range.first == kUnbounded ? Limits::min() : range.first);
    ids.bind(3, range.second == kUnbounded ? Limits::max() : range.second);
    ids.bind(4, max == kNoMaximum ? std::int64_t{-1} : std::int64_t{max});
    ids.bind(5, std::int64_t{offset});
    SQLite::Statement row(database,
                          "SELECT period, time, valid, samples FROM snapshot WHERE id = ?");
    while (ids.executeStep()) {
      row.bind(1, ids.getColumn(0).getInt64());
      if (row.executeStep()) {
        data.samples.push_back(snapshotOf(row, params.params));
      }
      row.reset();
    }
  });
  if (result != LOG_OK) {
    data.samples.clear();
  }
  return result;
}

int CLog::set_periods(const std::vector<CPeriodProperties>& periods) {
  return state_->write([&](SQLite::Database& database) {
    SQLite::Statement insert(database, "INSERT OR REPLACE INTO period VALUES (?, ?)");
    for (const CPeriodProperties& period : periods) {
      insert.bind(1, period.period);
      insert.bind(2, period.max_entries);
      insert.exec();
      insert.reset();
    }
  });
}

int CLog::set_params(const CDeviceParams& params) {
  return state_->write([&](SQLite::Database& database) {
    SQLite::Statement addDevice(database, "INSERT OR IGNORE INTO device (path) VALUES (?)");
    addDevice.bind(1, params.device.path);
    addDevice.exec();
    const std::int64_t device = deviceId(database, params.device.path).value();
    SQLite::Statement addParam(
        database,
        "INSERT INTO param VALUES (?1, (SELECT COUNT(*) FROM param WHERE device = ?1), ?2, ?3, ?4, "
        "?5, ?6, ?7) ON CONFLICT (device, path) DO UPDATE SET type = excluded.type, has_min = "
        "excluded.has_min, has_max = excluded.has_max, has_avg = excluded.has_avg, has_actual = "
        "excluded.has_actual");
    for (const CParamProperties& param : params.params) {
      int index = 0;
      addParam.bind(++index, device);
      addParam.bind(++index, param.path);
      addParam.bind(++index, static_cast<std::int32_t>(param.type));
      for (const bool flag : {param.hasMin, param.hasMax, param.hasAvg, param.hasActual}) {
        addParam.bind(++index, flag ? 1 : 0);
      }
      addParam.exec();
      addParam.reset();
    }
  });
}

int CLog::append(const std::vector<CEntry>& entries) {
  return state_->write([&](SQLite::Database& database) {
    for (const CEntry& entry : entries) {
      state_->enter(database, entry);
    }
  });
}

void CLog::State::enter(SQLite::Database& store, const CEntry& entry) {
  const auto device = deviceId(store, entry.device);
  if (!device) {
    throw Unknown{"there is no device " + entry.device};
  }
  const CSnapshot& snapshot = entry.snapshot;
  const std::string samples = logs::packed(snapshot.data);
  const auto run = [&](const char* statement) {
    SQLite::Statement change(store, statement);
    change.bind(1, *device);
    change.bind(2, snapshot.period);
    change.bind(3, snapshot.time);
    change.bind(4, std::isnan(snapshot.percent_valid) ? 0 : snapshot.percent_valid);
    change.bindNoCopy(5, samples.data(), static_cast<int>(samples.size()));
    return change.exec();
  };
  const Key key{*device, snapshot.period};
  if (run("INSERT OR IGNORE INTO snapshot (device, period, time, valid, samples) "
          "VALUES (?1, ?2, ?3, ?4, ?5)") == 0) {
    run("UPDATE snapshot SET valid = ?4, samples = ?5 WHERE device = ?1 AND period = ?2 "
        "AND time = ?3");
    return;
  }
  if (const auto counted = counts.find(key); counted != counts.end()) {
    ++counted->second;
  }
  trim(store, key);
}

void CLog::State::trim(SQLite::Database& store, const Key& key) {
  SQLite::Statement bound(store, "SELECT max_entries FROM period WHERE id = ?");
  bound.bind(1, key.second);
  if (!bound.executeStep()) {
    throw Unknown{"there is no period " + std::to_string(key.second)};
  }
  const std::int64_t maxEntries = bound.getColumn(0).getInt64();
  if (maxEntries == 0) {
    return;
  }
  const auto [count, isNew] = counts.try_emplace(key, 0);
  if (isNew) {
    SQLite::Statement all(store, "SELECT COUNT(*) FROM snapshot WHERE device = ? AND period = ?");
    all.bind(1, key.first);
    all.bind(2, key.second);
    all.executeStep();
    count->second = all.getColumn(0).getInt64();
  }
  if (count->second <= maxEntries) {
    return;
  }
  SQLite::Statement remove(store,
                           "DELETE FROM snapshot WHERE id IN (SELECT id FROM snapshot WHERE "
                           "device = ? AND period = ? ORDER BY time LIMIT ?)");
  remove.bind(1, key.first);
  remove.bind(2, key.second);
  remove.bind(3, std::min(count->second - maxEntries, kTrimStep));
  count->second -= remove.exec();
}

const std::string& CLog::last_error() const {
  return state_->database.lastError();
}

}  // namespace toolkit::trend
