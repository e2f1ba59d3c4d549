// devsim: the simulated power meter, a source of values. Moves the values of the store's devices,
// executes their commands and captures waveform records until it is told to stop; or makes the
// trends of days gone by and ends.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <optional>

#include "command_handler.h"
#include "history.h"
#include "installation.h"
#include "sag_recorder.h"
#include "toolkit/beat.h"
#include "toolkit/time.h"
#include "toolkit/watchdog.h"

namespace {

constexpr const char* kName = "devsim";

struct Options {
  std::uint64_t seed = 1;
  double speed = 1;
  double rate = 10;
  std::uint64_t ticks = 0;
  int history = 0;
  std::string logs;
  std::string waveforms;
  std::size_t maxWaveforms = 100;
};

int fail(const std::string& why) {
  std::cerr << kName << ": " << why << '\n';
  return 1;
}

// `waveforms` may be null.
bool writeValues(sim::Installation& installation, sim::SagRecorder* waveforms, double seconds,
                 timeval stamp) {
  if (!installation.advance(seconds)) {
    return false;
  }
  toolkit::CLeafBatch batch(stamp);
  if (waveforms != nullptr) {
    waveforms->measure(installation.plant(), stamp, batch);
  }
  const bool written = installation.write(batch);
  if (waveforms != nullptr) {
    waveforms->settle(written);
  }
  return written;
}

bool notify(toolkit::CCds& cds, const char* message) {
  return cds.syslog_add(message, toolkit::SEVERITY_INFORMATION, kName, "/") == 0;
}

void simulate(toolkit::CCds& cds, sim::Installation& installation, sim::SagRecorder* waveforms,
              const Options& options, toolkit::CBeat& beat) {
  toolkit::CWatchdog watchdog(cds, kName);
  sim::CommandHandler handler(cds, installation);
  toolkit::CCommandQueues commands(cds, installation.devicePaths(), handler, kName);
  toolkit::CComplaint values(kName, "the store refuses the values");
  toolkit::CComplaint executions(kName, "the store refuses the commands");
  toolkit::CComplaint records(kName, "waveforms are not recorded");
  std::uint64_t ticks = 0;
  bool started = false;
  do {
    const timeval stamp = toolkit::presentTime();
    started = started || notify(cds, sim::kStarted);
    const double seconds = options.speed / options.rate;
    values.note(!writeValues(installation, waveforms, seconds, stamp), cds.last_error());
    if (waveforms != nullptr) {
      records.note(!waveforms->good(), waveforms->lastError());
    }
    executions.note(!commands.step(stamp), cds.last_error());
    watchdog.pingWhenDue();
    if (++ticks == options.ticks) {
      break;
    }
  } while (beat.wait());
  notify(cds, sim::kStopped);
}

int makeHistory(toolkit::CCds& cds, sim::Installation& installation, const Options& options) {
  const auto plant = installation.copyPlant();
  if (!plant) {
    return fail(cds.last_error());
  }
  toolkit::trend::CPointFile file;
  const bool made = file.open(options.logs + "/interval-trends.db") &&
                    file.setPoints(installation.points()) &&
                    sim::makeHistory(installation, *plant, file, options.history,
                                     toolkit::presentTime(), toolkit::CBeat::isStopRequested);
  return made ? 0 : fail(file.lastError());
}

int run(const Options& options) {
  toolkit::CBeat beat(options.rate);
  toolkit::CCds cds;
  if (cds.init() != 0) {
    return fail(cds.last_error());
  }
  sim::Installation installation(cds, options.seed);
  if (installation.devices() == 0) {
    return fail("the store has no device with points to move");
  }
  if (options.history > 0) {
    return makeHistory(cds, installation, options);
  }
  std::optional<sim::SagRecorder> waveforms;
  if (!options.waveforms.empty()) {
    toolkit::CWaveformFolder folder(options.waveforms, options.maxWaveforms);
    if (!folder.open()) {
      return fail(folder.lastError());
    }
    waveforms.emplace(cds, std::move(folder), installation.devicePaths());
  }
  simulate(cds, installation, waveforms ? &*waveforms : nullptr, options, beat);
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  CLI::App app("Moves the values of the store's devices as a power meter would.");
  app.add_option("--seed", options.seed, "Same seed, same values");
  app.add_option("--speed", options.speed, "Simulated seconds a second")
      ->check(CLI::Range(0.001, 86400.0));
  app.add_option("--rate", options.rate, "Writes a second")->check(CLI::Range(0.01, 1000.0));
  app.add_option("--ticks", options.ticks, "Stop after so many writes; 0: never");
  auto* logs = app.add_option("--logs", options.logs, "Folder of the trends that --history makes")
                   ->check(CLI::ExistingDirectory);
  auto* history = app.add_option("--history", options.history,
                                 "Make the trends of so many days before now, and end")
                      ->check(CLI::Range(1, 366))
                      ->needs(logs);
  logs->needs(history);
  auto* waveforms =
      app.add_option("--waveforms", options.waveforms,
                     "Folder of the records of voltage sags; without it there are none")
          ->check(CLI::ExistingDirectory);
  app.add_option("--max-waveforms", options.maxWaveforms,
                 "Records that are kept; the oldest go first")
      ->check(CLI::Range(1, 10000))
      ->needs(waveforms);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  }
  return run(options);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s: %s\n", kName, error.what());
  return 1;
}
