// The process-wide state of the service. main() owns the one instance; a handler reaches it through
// globalData(soap). One thread: nothing here is locked.
#pragma once

#include <unistd.h>

#include <cassert>
#include <chrono>
#include <cstdint>
#include <locale>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include <boost/locale/generator.hpp>

#include "front/caller.h"
#include "front/envelope_guard.h"
#include "front/ignored_elements.h"
#include "front/process.h"
#include "front/request_body.h"
#include "front/request_limits.h"
#include "front/statistics.h"
#include "stdsoap2.h"
#include "toolkit/cds.h"
#include "toolkit/connxns.h"
#include "toolkit/sw_info.h"
#include "toolkit/syslog.h"
#include "toolkit/utils.h"

struct Exchange;
class Workers;

namespace toolkit::trend {
class CLog;
}

struct _global_data_t {
  static constexpr std::int32_t kDefaultMaxRecords = 10000;

  _global_data_t();
  ~_global_data_t();

  toolkit::CCds cdsApi;
  std::optional<toolkit::CCds_SwInfo> swInfo;    // set once the store is open
  std::optional<toolkit::CCDS_Connxns> connxns;  // likewise
  toolkit::CCds_Utils cdsUtils{cdsApi};
  toolkit::CSysLog* syslog = nullptr;                   // the logger of __psyslog, owned by main()
  std::string deltaLog = "./deadband.db";               // -h
  std::string eventLog = "./alarms.db";                 // -a
  std::string systemLog = "./system.db";                // -s
  std::shared_ptr<toolkit::trend::CLog> trendLog;       // opened by the first request that needs it
  std::string trendLogPath = "./interval-trends.db";    // -t
  std::int32_t maxRecords = kDefaultMaxRecords;         // -m
  std::int32_t pageSize = 0;                            // -p, bytes; 0: the database's default
  std::int32_t cacheSize = 0;                           // -c, bytes; 0: the database's default
  std::int32_t heapLimit = 0;                           // -l, bytes; 0: no limit
  std::chrono::seconds maxSearch = limits::kMaxSearch;  // -S, of one request
  // Between two calls on a log that is busy.
  void (*pause)(std::chrono::microseconds) = [](std::chrono::microseconds time) {
    ::usleep(static_cast<useconds_t>(time.count()));
  };
  // Takes the program's place; returns only when it cannot. Tests put theirs here.
  int (*execute)(const char* path, char* const arguments[]) = becomeProgram;
  std::unique_ptr<Workers> workers;  // of the same socket; null: this process is alone
  Exchange* pReq = nullptr;          // the request being served
  Caller caller;                     // of that request; nobody between requests
  EnvelopeGuard guard;               // what the request's body has shown so far
  RequestBody body;                  // in UTF-8
  IgnoredElements ignored;           // of the request
  Statistics statistics;             // of all requests
  std::int32_t nextConnCheck = 0;    // monotonic seconds
  bool unpinged = false;             // the store was opened again, and no ping has succeeded since
  std::string waveFolder;            // -w
  bool localesOk = false;
  std::string supportedLocales;                             // names joined by ";"
  std::unordered_map<std::string, std::locale> localesMap;  // by name as in supportedLocales
  std::locale locale;                                       // of the request being served
  boost::locale::generator localeGen;
};

inline _global_data_t* globalData(const struct soap* ctx) {
  return static_cast<_global_data_t*>(ctx->user);
}

// The same, for a request that goes to the store: asserts that start-up has opened it.
inline _global_data_t* globalDataWithStore(const struct soap* ctx) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr != 0);  // NOLINT(modernize-use-nullptr): printed so
  assert(glptr->cdsApi.is_initialized());
  return glptr;
}

// The logger: every log call goes through it. Set by main() before anything logs.
extern toolkit::CSysLog* __psyslog;
// 0 until SIGHUP, SIGINT or SIGTERM asks the service to end.
extern volatile int __signal_exit;
