// dravixd: web services of a power-monitoring device, behind a web server's FastCGI socket.
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "backTrace.h"
#include "front/command_line.h"
#include "front/engine.h"
#include "front/fastcgi_server.h"
#include "front/fastcgi_socket.h"
#include "front/global_data.h"
#include "front/process.h"
#include "front/workers.h"
#include "toolkit/trees.h"
#include "values/locales.h"

namespace {

constexpr const char* kConnectionsPath = "/Software/Data Servers/Connections/BACnet WebServices";
constexpr int kLogLevel = 1;

// A device whose configuration is locked says so in the store.
void applyReadOnlySwitch(toolkit::CCds& cds) {
  const auto element = cds.find_leaf("/ReadOnlyCDS");
  if (element && element->to_bool()) {
    cds.setReadOnly();
  }
}

bool openStore(toolkit::CCds& cds) {
  if (cds.is_open() || cds.init() == 0) {
    return true;
  }
  __psyslog->err(0, "Error: CCds::init() failed");
  __psyslog->err(0, "%s", cds.last_error().c_str());
  return false;
}

void publishStart(_global_data_t& global) {
  global.swInfo.emplace(global.cdsApi, nameOfWorker(toolkit::kServicePath));
  global.connxns.emplace(global.cdsApi, nameOfWorker(kConnectionsPath), global.syslog);
  global.swInfo->SetAppStatus(toolkit::APP_RUNNING);
  global.swInfo->SetAppError(0);
  toolkit::clearRequestCounts(global.cdsApi, nameOfWorker(toolkit::kServicePath));
  if (daemonMode) {
    api_status_t status = API_NONE;
    registerWithWatchdog(global.cdsApi, status);
  }
}

void publishEnd(_global_data_t& global) {
  global.swInfo->SetAppStatus(toolkit::APP_STOPPED);
  if (daemonMode) {
    api_status_t status = API_NONE;
    global.cdsApi.watchdog_clear(status);
  }
  global.trendLog.reset();
  global.connxns->RemoveAllConnxns();
}

// True when the loop ended as it was asked to.
bool serve(_global_data_t& global) {
  SoapContext engine = createEngine(global);
  __psyslog->notice(0, "Initializing dravixd");
  publishStart(global);
  global.localesOk = initializeLocales(&global);
  if (global.localesOk) {
    enableLocaleModes(engine.get());
  }
  applyReadOnlySwitch(global.cdsApi);

  const bool ended = soap_serve(engine.get()) == 0;

  engine.reset();
  publishEnd(global);
  if (global.localesOk) {
    releaseLocales(&global);
  }
  __psyslog->notice(0, "Exiting dravixd");
  return ended;
}

// Whoever starts a second service sees why there is none; the first one's rows in the store stay
// as they are.
bool isSecond() {
  if (hasSupervisorsSocket() || !isSocketServed(kSocketPath)) {
    return false;
  }
  __psyslog->err(0, "Another process is serving at socket %s", kSocketPath);
  std::fprintf(stderr, "dravixd: another process is serving at socket %s\n", kSocketPath);
  return true;
}

// Joins the other workers, if there are any.
bool joinWorkers(_global_data_t& global) {
  const std::optional<int> number = workerNumber();
  std::string error;
  if (!number) {
    error = "DRAVIXD_WORKER must be a number from 1 to " + std::to_string(Workers::kMaxWorkers);
  } else if (*number != 0) {
    global.workers = Workers::join(*number, error);
  }
  if (!error.empty()) {
    __psyslog->err(0, "%s", error.c_str());
    std::fprintf(stderr, "dravixd: %s\n", error.c_str());
  }
  return error.empty();
}

int run(int argc, char** argv, _global_data_t& global) {
  const CommandLine commandLine = parseCommandLine(argc, argv, global);
  if (commandLine.action == CommandLine::Action::Exit) {
    return commandLine.exitStatus;
  }
  daemonMode = commandLine.daemonMode;
  if (isSecond()) {
    return EXIT_FAILURE;
  }
  if (daemonMode && daemon_process() != 0) {
    __psyslog->err(0, "Error fork()ing new process");
    return EXIT_FAILURE;
  }
  if (!openStore(global.cdsApi) || !joinWorkers(global)) {
    return EXIT_FAILURE;
  }
  global.cdsApi.setForClients();
  return serve(global) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  reserveStandardDescriptors();
  _global_data_t global;
  register_handlers();
  UTIL_installBacktraceHandlers();
  auto logger = std::make_unique<toolkit::CSysLog>("dravixd", kLogLevel, false, true, true);
  __psyslog = logger.get();
  global.syslog = logger.get();

  const int status = run(argc, argv, global);

  __psyslog = nullptr;
  logger.reset();
  global.cdsApi.close();
  deregister_handlers();
  return status;
}
