// The smallest source of values: writes two values of a device once a second, until it is told to
// stop.
//
//   feed DEVICE [CYCLES]      feed /Plant/Meter1
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "toolkit/leaf_batch.h"
#include "toolkit/watchdog.h"

namespace {

volatile std::sig_atomic_t stopped = 0;

}  // namespace

int main(int argc, char** argv) {
  toolkit::CCds cds;
  if (argc < 2 || cds.init() != 0) {
    std::fprintf(stderr, "feed: %s\n", argc < 2 ? "which device?" : cds.last_error().c_str());
    return EXIT_FAILURE;
  }
  std::signal(SIGTERM, [](int) { stopped = 1; });
  const std::string device = argv[1];
  const long cycles = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0;
  toolkit::CWatchdog watchdog(cds, "feed");
  for (long cycle = 1; stopped == 0; ++cycle) {
    toolkit::CLeafBatch batch;  // one transaction, one time stamp
    batch.add(device + "/VoltageA/Value",
              toolkit::CElement(230 + std::sin(static_cast<double>(cycle))));
    batch.add(device + "/EnergyImported/Value",
              toolkit::CElement(0.1 * static_cast<double>(cycle)));
    batch.add(device + "/.Quality", toolkit::CElement(192));
    if (batch.write(cds, "feed") != API_SUCCESS) {
      std::fprintf(stderr, "feed: %s\n", cds.last_error().c_str());
    }
    watchdog.pingWhenDue();
    if (cycle == cycles) {
      break;
    }
    sleep(1);
  }
  return EXIT_SUCCESS;
}
