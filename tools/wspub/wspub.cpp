// wspub: the publisher. Brings values and events to the clients that have subscribed to them, until
// it is told to stop.
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "publisher.h"
#include "toolkit/watchdog.h"

namespace {

constexpr const char* kName = "wspub";

struct Options {
  std::int64_t poll = 100;
  std::int64_t backoff = 1000;
  std::int64_t timeout = 30;
  std::int64_t connectTimeout = 5;
  int logLevel = 1;
  wspub::Publisher::Options publisher;
};

// Signals that end the program; they stay blocked and are asked for between two turns.
class Stop {
 public:
  Stop() {
    std::signal(SIGPIPE, SIG_IGN);
    sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&signals_, signal);
    }
    sigprocmask(SIG_BLOCK, &signals_, nullptr);
  }

  bool isAsked() const {
    const timespec atOnce{};
    return sigtimedwait(&signals_, nullptr, &atOnce) > 0;
  }

 private:
  sigset_t signals_{};
};

void parse(CLI::App& app, Options& options) {
  auto& publisher = options.publisher;
  const auto positive = CLI::Range(std::int64_t{1}, std::int64_t{3'600'000});
  app.add_option("--poll", options.poll, "Milliseconds between two looks at the store")
      ->check(positive);
  app.add_option("--queue", publisher.subscriptions.queueBound,
                 "Records kept for a subscriber; the oldest go first")
      ->check(CLI::Range(1, 1'000'000));
  app.add_option("--batch", publisher.batch, "Records in a message")->check(CLI::Range(1, 10'000));
  app.add_option("--timeout", options.timeout, "Seconds for a message and its answer")
      ->check(positive);
  app.add_option("--connect-timeout", options.connectTimeout, "Seconds for a connection")
      ->check(positive);
  app.add_option("--backoff", options.backoff,
                 "Milliseconds before the first new attempt; each further one waits twice as long")
      ->check(positive);
  app.add_option("--cacert", publisher.delivery.caFile,
                 "File of the authorities that https clients are trusted by")
      ->check(CLI::ExistingFile);
  app.add_option("--log-level", options.logLevel, "0: start, stop and trouble, to 9: everything")
      ->check(CLI::Range(0, 9));
}

int run(Options& options) {
  const Stop stop;
  toolkit::CSysLog log(kName, options.logLevel, false, true, false);
  toolkit::CCds cds;
  if (cds.init() != 0) {
    std::cerr << kName << ": " << cds.last_error() << '\n';
    return 1;
  }
  const std::chrono::milliseconds poll(options.poll);
  options.publisher.subscriptions.firstBackoff = std::chrono::milliseconds(options.backoff);
  options.publisher.delivery.timeout = std::chrono::seconds(options.timeout);
  options.publisher.delivery.connectTimeout = std::chrono::seconds(options.connectTimeout);
  toolkit::CWatchdog watchdog(cds, kName);
  wspub::Publisher publisher(cds, log, options.publisher);
  log.notice(0, "started");
  for (auto turn = wspub::Clock::now(); !stop.isAsked(); turn = wspub::Clock::now()) {
    publisher.look();
    publisher.report();
    watchdog.pingWhenDue();
    log.tellHeldBack();
    publisher.deliver(turn + poll);
  }
  log.notice(0, "stopped");
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  CLI::App app("Brings values and events to the clients that have subscribed to them.");
  parse(app, options);
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
