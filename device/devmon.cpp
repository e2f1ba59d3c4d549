// devmon: a device's own services. Watches the store, and raises alarms, notifies changes, marks
// what is not measured any more and keeps the logs, for whatever process writes the values.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

#include "logs/system_events.h"
#include "monitor.h"
#include "source_name.h"
#include "toolkit/beat.h"
#include "toolkit/time.h"
#include "toolkit/watchdog.h"

namespace {

struct Options {
  double rate = 10;
  std::string logs;
};

int fail(const std::string& why) {
  std::cerr << device::kSource << ": " << why << '\n';
  return 1;
}

int run(const Options& options) {
  toolkit::CBeat beat(options.rate);
  toolkit::CCds cds;
  if (cds.init() != 0) {
    return fail(cds.last_error());
  }
  device::Monitor monitor(cds, options.rate);
  if (!options.logs.empty()) {
    if (const std::string why = monitor.openLogs(options.logs); !why.empty()) {
      return fail(why);
    }
  }
  toolkit::CWatchdog watchdog(cds, device::kSource);
  bool started = false;
  do {
    const timeval stamp = toolkit::presentTime();
    started = started || device::notify(cds, device::systemEvent(device::kStarted, stamp));
    monitor.step(stamp);
    watchdog.pingWhenDue();
  } while (beat.wait());
  device::notify(cds, device::systemEvent(device::kStopped, toolkit::presentTime()));
  monitor.enterEvents();
  monitor.release();
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  CLI::App app("Raises alarms, notifies changes and keeps logs of the values in the store.");
  app.add_option("--logs", options.logs, "Folder of the logs; without it there are none")
      ->check(CLI::ExistingDirectory);
  app.add_option("--rate", options.rate, "Looks a second")->check(CLI::Range(0.01, 1000.0));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  }
  return run(options);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s: %s\n", device::kSource, error.what());
  return 1;
}
