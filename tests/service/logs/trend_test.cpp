// Trends over the real socket, and retrieval from databases that are busy for a while.
#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include "handler_fixture.h"
#include "toolkit/log.h"
#include "toolkit/trend.h"

namespace {

namespace trend = toolkit::trend;

// Two devices, two periods: period 1 at 60, 120, 180, 240 s, period 2 at 120 and 240 s.
void makeTrends(const std::string& file) {
  trend::CLog log;
  ASSERT_EQ(log.openToWrite(file, {.waitMs = 5000}), 0) << log.last_error();
  ASSERT_EQ(log.set_periods({{1, 1440}, {2, 4000000000}}), 0);
  trend::CParamProperties a{"/M1/Va", trend::SAMPLE_NORMAL, true, true, true, false, 0};
  trend::CParamProperties b{"/M1/Pf", trend::SAMPLE_PF, false, false, true, true, 0};
  ASSERT_EQ(log.set_params({{"/M1"}, {a, b}}), 0);
  ASSERT_EQ(log.set_params({{"/M1/Sub"}, {}}), 0);
  std::vector<trend::CEntry> entries;
  for (std::int64_t i = 1; i <= 4; ++i) {
    const trend::COptVal value(0.1 + static_cast<double>(i));
    const trend::CSnapshot snapshot{
        1,
        60 * i,
        12.5 * static_cast<double>(i),
        {{value, value, value, {}}, {{}, {}, value, trend::COptVal(-1)}}};
    entries.push_back({"/M1", snapshot});
    if (i % 2 == 0) {
      entries.push_back({"/M1", snapshot});
      entries.back().snapshot.period = 2;
    }
  }
  ASSERT_EQ(log.append(entries), 0) << log.last_error();
}

constexpr const char* kNoDevice = "? 21 No History : No Trend data found for this device.";

class TrendLogs : public ServiceTest {
 protected:
  std::string file() const { return root() / "trends.db"; }
  void startWith(const std::string& maxRecords) {
    start({"-d", "-D", "9", "-t", file(), "-m", maxRecords});
  }
  std::string data(const std::string& children, const std::string& device = "/M1",
                   const std::string& periods = "<periods>1</periods>") const {
    return ask("getTrendData",
               tags({{"request", tags({{"devicePath", device}}) + periods + children}}));
  }
};

TEST_F(TrendLogs, GiveSnapshotsByPeriodTimeAndNumberOnceThereAreAny) {
  startWith("59");  // 4 snapshots
  const Texts closed = {"? 21 No History : Failed to open trend log database"};
  EXPECT_EQ(elements(ask("getTrendPeriods", ""), "result"), closed);
  EXPECT_EQ(elements(data(""), "result"), closed);
  makeTrends(file());
  expectElements(
      ask("getTrendPeriods", ""),
      {{"result", {"OK"}}, {"period", {"1", "2"}}, {"max-entries", {"1440", "4000000000"}}});
  for (const char* stranger : {"", "/M", "/M1/", "/m1"}) {
    const std::string params = ask("getDeviceTrendParams", tags({{"devicePath", stranger}}));
    EXPECT_EQ(elements(params, "result"), Texts{kNoDevice});
  }

  const std::string first = "<periods>1</periods>";
  const std::string both = "<periods>2</periods><periods>9</periods><periods>1</periods>";
  const std::string up = "<ascendingOrder>true</ascendingOrder>";
  const std::tuple<std::string, std::string, Texts> kCases[] = {
      {"", first, {"240000000", "180000000", "120000000", "60000000"}},
      {up + tags({{"nMaxToReturn", "4"}, {"startingOffset", "1"}}),
       both,
       {"120000000", "120000000", "180000000", "240000000"}},
      {up + tags({{"startTime", "120000000"}, {"endTime", "180999999"}}),
       first,
       {"120000000", "180000000"}},
      {"<startTime>9223372036854775807</startTime><endTime>-5</endTime>", first, {}},
      {"<startingOffset>4294967296</startingOffset>", first, {}}};
  for (const auto& [children, periods, times] : kCases) {
    SCOPED_TRACE(children);
    expectElements(data(children, "/M1", periods), {{"timestamp", times}, {"result", {"OK"}}});
  }
  const std::string one = data(
      "<nMaxToReturn>1</nMaxToReturn><pointPaths>/M1/x</pointPaths>"
      "<pointPaths>/M1/Pf</pointPaths>");
  expectElements(one, {{"paramPaths", {"/M1/Pf"}}, {"actual", {"-1"}}, {"maxValid", {"false"}}});
  const char* const noPeriod = "? 21 No History : No Trend periods data matching the request.";
  const std::tuple<std::string, const char*> kRefusals[] = {
      {data("<nMaxToReturn>5</nMaxToReturn>"),
       "? 34 Result Too Big to Return : Please request less than 4 records."},
      {data("", "/M1", "<periods>4294967297</periods>"), noPeriod},
      {data("", "/M2"), kNoDevice},
      {data("<pointPaths>/M1/x</pointPaths>"), ""}};
  for (const auto& [reply, result] : kRefusals) {
    expectElements(reply, {{"result", {result}}, {"timestamp", {}}});
  }
}

// Another process's hold on a database, let go of after so many pauses of the service.
std::optional<SQLite::Database> holder;
int pauses;
int pausesUntilFree;

void hold(const std::string& file) {
  holder.emplace(file, SQLite::OPEN_READWRITE);
  holder->exec("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE");
}

void countPause(std::chrono::microseconds time) {
  EXPECT_EQ(time, std::chrono::seconds(1));
  if (++pauses == pausesUntilFree) {
    holder.reset();
  }
}

class BusyLogs : public HandlerTest {
 protected:
  BusyLogs() {
    import({leafAt("/M1:NodeType", "Device")});
    global_.pause = countPause;
    pauses = 0;
    global_.deltaLog = folder() / "deltas.db";
    global_.trendLogPath = folder() / "trends.db";
  }
  void makeDeltas() const {
    toolkit::CLog log;
    ASSERT_EQ(log.openToWrite(global_.deltaLog, {}), 0);
    CEvent event;
    event.path = "/M1";
    ASSERT_EQ(log.append({event}), 0);
  }

  static constexpr const char* kLate =
      "? 22 No Data Available : Trend data retrieval failed with these params";
  static constexpr const char* kFailed =
      "? 22 No Data Available : Database retrieval failed with these params";
};

// Holds the trends when the service begins its fourth read: periods, devices and parameters first.
std::string trendsToHold;
int reads;

int holdFourthRead(unsigned /*kind*/, void* /*context*/, void* statement, void* /*text*/) {
  const std::string text = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
  if (text.starts_with("BEGIN DEFERRED") && ++reads == 4) {
    hold(trendsToHold);
  }
  return 0;
}

int watch(sqlite3* database, char** /*error*/, const struct sqlite3_api_routines* /*unused*/) {
  return sqlite3_trace_v2(database, SQLITE_TRACE_STMT, holdFourthRead, nullptr);
}

TEST_F(BusyLogs, OnlyTheFirstThreeTriesCount) {
  makeDeltas();
  makeTrends(global_.trendLogPath);
  SQLite::Database(global_.trendLogPath, SQLite::OPEN_READWRITE).exec("PRAGMA journal_mode=DELETE");
  nsvk__getTrendDataRequest request;
  request.devicePath = "/M1";
  request.periods = {1};
  for (const int until : {0, 1, 2, 3, 4, -1}) {
    pauses = reads = 0;
    pausesUntilFree = until;
    trendsToHold = global_.trendLogPath;
    if (until != 0) {
      sqlite3_auto_extension(reinterpret_cast<void (*)()>(watch));
    }
    const bool good = until >= 0 && until < 3;
    nsvk__getTrendDataResponse trends;
    nsvk__getTrendData(ctx_, &request, trends);
    EXPECT_EQ(trends.data.samples.size(), until < 0 ? 0U : 4U) << until;
    EXPECT_EQ(trends.result, good ? "OK" : kLate) << until;
    EXPECT_EQ(pauses, until < 0 ? 5 : until);
    sqlite3_reset_auto_extension();
    global_.trendLog.reset();
    holder.reset();

    pauses = 0;
    if (until != 0) {
      hold(global_.deltaLog);
    }
    nsvk__getDeltaLogResponse response;
    nsvk__getDeltaLog(ctx_, nullptr, response);
    holder.reset();
    EXPECT_EQ(pauses, until < 0 ? 5 : until);
    EXPECT_EQ(response.loggedValues.size(), good ? 1U : 0U) << until;
    EXPECT_EQ(response.result, good ? "" : kFailed);
  }
}

TEST_F(BusyLogs, DamageIsNotWaitedFor) {
  makeDeltas();
  makeTrends(global_.trendLogPath);
  for (const std::string& file : {global_.deltaLog, global_.trendLogPath}) {
    const std::string intact = contentsOf(file);
    std::ofstream(file) << intact.substr(0, 4096) << std::string(intact.size() - 4096, 'x');
  }
  nsvk__getDeltaLogResponse deltas;
  nsvk__getDeltaLog(ctx_, nullptr, deltas);
  EXPECT_EQ(deltas.result, kFailed);
  nsvk__getTrendPeriodsResponse periods;
  nsvk__getTrendPeriods(ctx_, nullptr, periods);
  EXPECT_EQ(periods.result, "? 21 No History : No Trend periods data.");
  EXPECT_EQ(pauses, 0);
}

}  // namespace
