// devsim: the simulated power meter. Moves the values of the store's devices, raises their
// alarms, executes their commands, tells what changes and keeps logs of it until it is told to
// stop.
#include <csignal>
#include <ctime>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <iostream>
#include <optional>

#include "alarms/alarm_engine.h"
#include "backfill.h"
#include "command_queues.h"
#include "installation.h"
#include "logs/deltas.h"
#include "logs/recorder.h"
#include "logs/system_events.h"
#include "logs/trend_recorder.h"
#include "toolkit/time.h"
#include "toolkit/watchdog.h"
#include "waveform_recorder.h"

namespace {

constexpr const char* kName = "devsim";

struct Options {
  std::uint64_t seed = 1;
  double speed = 1;
  double rate = 10;
  std::uint64_t ticks = 0;
  std::string logs;
  int backfill = 0;
  std::string waveforms;
  std::size_t mostWaveforms = 100;
};

constexpr std::array kStopSignals = {SIGINT, SIGTERM, SIGHUP};

sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kStopSignals) sigaddset(&set, signal);
  return set;
}

bool isToldToStop() {
  sigset_t pending;
  sigpending(&pending);
  for (const int signal : kStopSignals) {
    if (sigismember(&pending, signal) == 1) return true;
  }
  return false;
}

timeval presentTime() {
  timeval stamp{};
  qel_QELtoUNIXtime64(qel_UTCtime64(), &stamp);
  return stamp;
}

// The beat of the simulation: waits for the next tick, or says that a signal asked to stop. A tick
// that comes too late is not made up for.
class Beat {
 public:
  explicit Beat(double rate) : period_(static_cast<std::int64_t>(1e9 / rate)), next_(now()) {}

  bool wait() {
    next_ = std::max(next_ + period_, now());
    for (;;) {
      const std::int64_t left = std::max<std::int64_t>(0, next_ - now());
      const timespec timeout{left / 1000000000, left % 1000000000};
      if (sigtimedwait(&signals_, nullptr, &timeout) > 0) return false;
      if (errno != EINTR) return true;
    }
  }

 private:
  static std::int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
  }

  sigset_t signals_ = stopSignals();
  std::int64_t period_;
  std::int64_t next_;
};

int fail(const std::string& why) {
  std::cerr << kName << ": " << why << '\n';
  return 1;
}

// Complains when a step begins to fail, and not again while it does.
class Complaint {
 public:
  explicit Complaint(const char* what) : what_(what) {}

  void note(bool failed, const std::string& why) {
    if (failed && !failing_) fail(std::string(what_) + ": " + why);
    failing_ = failed;
  }

 private:
  const char* what_;
  bool failing_ = false;
};

// The logs of a folder.
class Logs {
 public:
  Logs(toolkit::CCds& cds, const sim::Installation& installation, double rate)
      : events_(cds), file_(installation.points()), trends_(file_, kGrace + 2 / rate) {}

  // Empty, or why not.
  std::string open(const std::string& folder) {
    if (!events_.open(folder)) return events_.lastError();
    return file_.open(folder + "/interval-trends.db") ? "" : file_.lastError();
  }

  // Empty, or why it was not made.
  std::string backfill(toolkit::CCds& cds, sim::Installation& installation, int days) {
    const auto plant = installation.copyPlant();
    if (!plant) return cds.last_error();
    return sim::backfill(installation, *plant, file_, days, presentTime(), isToldToStop)
               ? ""
               : file_.lastError();
  }

  // `moved`: the values are new ones.
  void step(const sim::Installation& installation, bool moved, timeval stamp) {
    entries_.note(!events_.step(), events_.lastError());
    if (const std::uint64_t missed = events_.takeMissed(); missed > 0) {
      fail(std::to_string(missed) + " events were gone before they could be entered in the logs");
    }
    const bool entered = moved ? trends_.step(stamp, installation.values()) : trends_.enter();
    snapshots_.note(!entered, file_.lastError());
  }

 private:
  // Seconds that a step may be late.
  static constexpr double kGrace = 5;

  sim::Recorder events_;
  sim::TrendFile file_;
  sim::TrendRecorder trends_;
  Complaint entries_{"events are not entered"};
  Complaint snapshots_{"trends are not entered"};
};

// `logs` and `waveforms` may be null.
void simulate(toolkit::CCds& cds, sim::Installation& installation, Logs* logs,
              sim::WaveformRecorder* waveforms, const Options& options) {
  toolkit::CWatchdog watchdog(cds, kName);
  Beat beat(options.rate);
  sim::AlarmEngine alarms(cds, waveforms);
  sim::Deltas deltas(cds);
  sim::CommandQueues commands(cds, installation);
  Complaint values("the store refuses the values");
  Complaint changes("the store refuses the alarms");
  Complaint tellings("the store refuses the deltas");
  Complaint executions("the store refuses the commands");
  Complaint records("waveforms are not recorded");
  std::uint64_t ticks = 0;
  bool started = false;
  do {
    const timeval stamp = presentTime();
    started = started || sim::tell(cds, sim::systemEvent(sim::kStarted, stamp));
    const double seconds = options.speed / options.rate;
    const bool moved = installation.step(seconds, stamp);
    values.note(!moved, cds.last_error());
    executions.note(!commands.step(stamp), cds.last_error());
    if (waveforms != nullptr && moved) waveforms->measure(installation.plant());
    changes.note(!alarms.step(seconds, stamp), cds.last_error());
    if (waveforms != nullptr) records.note(!waveforms->good(), waveforms->lastError());
    tellings.note(!deltas.step(stamp), cds.last_error());
    if (logs != nullptr) logs->step(installation, moved, stamp);
    watchdog.pingWhenDue();
    if (++ticks == options.ticks) break;
  } while (beat.wait());
  sim::tell(cds, sim::systemEvent(sim::kStopped, presentTime()));
  if (logs != nullptr) logs->step(installation, false, presentTime());
}

int run(const Options& options) {
  const sigset_t signals = stopSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  toolkit::CCds cds;
  if (cds.init() != 0) return fail(cds.last_error());
  sim::Installation installation(cds, options.seed);
  if (installation.devices() == 0) return fail("the store has no device with points to move");
  std::optional<Logs> logs;
  if (!options.logs.empty()) {
    std::string why = logs.emplace(cds, installation, options.rate).open(options.logs);
    if (why.empty()) why = logs->backfill(cds, installation, options.backfill);
    if (!why.empty()) return fail(why);
    if (isToldToStop()) return 0;
  }
  std::optional<sim::WaveformRecorder> waveforms;
  if (!options.waveforms.empty()) {
    sim::WaveformFolder folder(options.waveforms, options.mostWaveforms);
    if (!folder.open()) return fail(folder.lastError());
    waveforms.emplace(cds, std::move(folder), installation.devicePaths());
  }
  simulate(cds, installation, logs ? &*logs : nullptr, waveforms ? &*waveforms : nullptr, options);
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
  auto* logs =
      app.add_option("--logs", options.logs, "Folder of the logs; without it there are none")
          ->check(CLI::ExistingDirectory);
  app.add_option("--backfill", options.backfill, "Days of trends before the start")
      ->check(CLI::Range(0, 366))
      ->needs(logs);
  auto* waveforms =
      app.add_option("--waveforms", options.waveforms,
                     "Folder of the records of voltage sags; without it there are none")
          ->check(CLI::ExistingDirectory);
  app.add_option("--max-waveforms", options.mostWaveforms,
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
