// Costs of the logs: a handler with the largest request, from databases of a million rows, against
// a bare SQLite read of the same rows; and the encoding of what it answers.
//
// The databases are in $TMPDIR and take 2 GB.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "front/global_data.h"
#include "reply.h"
#include "scratch.h"
#include "toolkit/admin.h"
#include "toolkit/log.h"
#include "toolkit/trend.h"

namespace {

namespace trend = toolkit::trend;
using toolkit::CElement;
using toolkit::CEvent;

constexpr int kRows = 1'000'000;
constexpr int kBatch = 10'000;
constexpr int kPoints = 100;  // of the event log, a tenth of them with states
constexpr int kParams = 40;
constexpr std::int64_t kFirstSecond = 1'700'000'000;
constexpr int kEvents = 2500;
constexpr int kSnapshots = 833;

std::string pathOf(int point) {
  return "/Device" + std::to_string(point % 10) + "/Point" + std::to_string(point / 10);
}

bool hasStates(int point) {
  return point % 10 == 0;
}

// The store and the two databases, in a folder that goes with the program.
class Site {
 public:
  static Site& get() {
    static Site site;
    return site;
  }
  ~Site() {
    global_.trendLog.reset();
    global_.cdsApi.close();
    __psyslog = nullptr;
  }
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  _global_data_t& global() { return global_; }
  std::string eventFile() const { return folder_.path() / "events.db"; }
  std::string trendFile() const { return folder_.path() / "trends.db"; }

 private:
  Site() {
    __psyslog = &log_;
    setenv("TOOLKIT_RUN", (folder_.path() / "run").c_str(), 1);
    setenv("TOOLKIT_STATE", (folder_.path() / "state").c_str(), 1);
    toolkit::admin::Model model;
    for (int point = 0; point < kPoints; ++point) {
      model.leaves.push_back({pathOf(point), "Value", valueOf(point, point)});
      if (hasStates(point)) {
        model.leaves.push_back({pathOf(point), "PossibleValues", CElement("Open;Closed;Tripped")});
      }
    }
    const std::string error = toolkit::admin::importModel(model, true);
    check(error.empty(), error);
    check(global_.cdsApi.init() == 0, global_.cdsApi.last_error());
    global_.systemLog = eventFile();
    global_.trendLogPath = trendFile();
    fillEvents();
    fillTrends();
  }

  static CElement valueOf(int point, int row) {
    return hasStates(point) ? CElement(row % 3) : CElement(230 + row % 1000 / 100.0);
  }

  void fillEvents() const {
    toolkit::CLog log;
    check(log.openToWrite(eventFile(), {}) == 0, log.last_error());
    std::vector<CEvent> events;
    for (int row = 0; row < kRows; ++row) {
      CEvent event;
      const int point = row % kPoints;
      event.path = pathOf(point) + "/Value";
      event.time = {kFirstSecond + row, 0};
      event.value = valueOf(point, row);
      event.message = "Voltage too high";
      event.source = "bench";
      events.push_back(std::move(event));
      if (events.size() == kBatch) {
        check(log.append(events) == 0, log.last_error());
        events.clear();
      }
    }
  }

  void fillTrends() const {
    trend::CLog log;
    check(log.openToWrite(trendFile(), {}) == 0, log.last_error());
    trend::CDeviceParams params{{"/Device0"}, std::vector<trend::CParamProperties>(kParams)};
    for (int i = 0; i < kParams; ++i) {
      params.params[i].path = pathOf(10 * i);
    }
    check(log.set_periods({{1, 0}}) == 0 && log.set_params(params) == 0, log.last_error());
    std::vector<trend::CEntry> entries;
    for (int row = 0; row < kRows; ++row) {
      const double value = 230 + row % 977 / 97.0;
      using trend::COptVal;
      const trend::CSample sample = {COptVal(value), COptVal(value + 1), COptVal(value / 1.01),
                                     COptVal(value / 1.02)};
      entries.push_back(
          {"/Device0", {1, kFirstSecond + row, 100, std::vector<trend::CSample>(kParams, sample)}});
      if (entries.size() == kBatch) {
        check(log.append(entries) == 0, log.last_error());
        entries.clear();
      }
    }
  }

  toolkit::CSysLog log_{"log_bench", -1, false, false, false};
  ScratchFolder folder_{"log-bench"};
  _global_data_t global_;
};

SoapContext newContextOfSite() {
  SoapContext ctx = newContext();
  ctx->user = &Site::get().global();
  return ctx;
}

// The first second of a request, by the benchmark's argument: percent of the log.
std::int64_t firstSecond(const benchmark::State& state, int rows) {
  return kFirstSecond + (kRows - rows) * state.range(0) / 100;
}

// Reads every column of the rows that a query gives.
void readBare(benchmark::State& state, const std::string& file, const char* query, int rows) {
  Site::get();
  sqlite3* opened = nullptr;
  check(sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK, file);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, sqlite3_close);
  for ([[maybe_unused]] auto _ : state) {
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(opened, query, -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> row(prepared,
                                                                         sqlite3_finalize);
    sqlite3_bind_int64(prepared, 1, firstSecond(state, rows));
    sqlite3_bind_int64(prepared, 2, rows);
    int count = 0;
    while (sqlite3_step(prepared) == SQLITE_ROW) {
      for (int column = 0; column < sqlite3_column_count(prepared); ++column) {
        benchmark::DoNotOptimize(sqlite3_column_blob(prepared, column));
        benchmark::DoNotOptimize(sqlite3_column_bytes(prepared, column));
      }
      ++count;
    }
    check(count == rows, "rows are missing");
  }
}

void bareEvents(benchmark::State& state) {
  readBare(state, Site::get().eventFile(),
           "SELECT * FROM event WHERE time >= ?1 * 1000000 ORDER BY time, id LIMIT ?2", kEvents);
}
BENCHMARK(bareEvents)->Arg(100)->Arg(50)->Unit(benchmark::kMillisecond);

void eventHandler(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  nsvk__logRetrieveRequest request;
  request.startTime = firstSecond(state, kEvents) * 1'000'000;
  request.nMaxToReturn = kEvents;
  for ([[maybe_unused]] auto _ : state) {
    nsvk__getEventLogResponse response;
    nsvk__getEventLog(ctx.get(), &request, response);
    state.PauseTiming();
    check(response.events.size() == kEvents, response.result);
    soap_destroy(ctx.get());
    soap_end(ctx.get());
    state.ResumeTiming();
  }
}
BENCHMARK(eventHandler)->Arg(100)->Arg(50)->Unit(benchmark::kMillisecond);

// The newest events of one of the points (0), and of a path that has none (1).
void filteredEvents(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  nsvk__logRetrieveRequest request;
  request.path = state.range(0) == 0 ? pathOf(7) : "/Nothing";
  request.bLatestEvents = true;
  for ([[maybe_unused]] auto _ : state) {
    nsvk__getEventLogResponse response;
    nsvk__getEventLog(ctx.get(), &request, response);
    check(response.events.empty() == (state.range(0) == 1), response.result);
    state.PauseTiming();
    soap_destroy(ctx.get());
    soap_end(ctx.get());
    state.ResumeTiming();
  }
}
BENCHMARK(filteredEvents)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void bareSnapshots(benchmark::State& state) {
  readBare(state, Site::get().trendFile(),
           "SELECT * FROM snapshot WHERE device = 1 AND period = 1 AND time >= ?1 "
           "ORDER BY time LIMIT ?2",
           kSnapshots);
}
BENCHMARK(bareSnapshots)->Arg(100)->Arg(50)->Unit(benchmark::kMillisecond);

nsvk__getTrendDataRequest trendRequest(const benchmark::State& state) {
  nsvk__getTrendDataRequest request;
  request.devicePath = "/Device0";
  request.periods = {1};
  request.startTime = firstSecond(state, kSnapshots) * 1'000'000;
  request.ascendingOrder = true;
  return request;
}

void answerTrends(struct soap* ctx, nsvk__getTrendDataRequest request,
                  nsvk__getTrendDataResponse& response) {
  nsvk__getTrendData(ctx, &request, response);
  check(response.data.samples.size() == kSnapshots, response.result);
}

void trendHandler(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  for ([[maybe_unused]] auto _ : state) {
    auto response = std::make_unique<nsvk__getTrendDataResponse>();
    answerTrends(ctx.get(), trendRequest(state), *response);
    state.PauseTiming();
    response.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(trendHandler)->Arg(100)->Arg(50)->Unit(benchmark::kMillisecond);

// An item is a double; with each goes the Boolean that says whether it counts.
void trendEncoding(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  nsvk__getTrendDataResponse response;
  answerTrends(ctx.get(), trendRequest(state), response);
  for ([[maybe_unused]] auto _ : state) {
    encode(ctx.get(), response, "nsvk:getTrendDataResponse");
  }
  state.SetItemsProcessed(state.iterations() * kSnapshots * kParams * 4);
}
BENCHMARK(trendEncoding)->Arg(50)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
