// devctl: the operator's hand tool for the device platform.
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "toolkit/printable.h"

namespace {

// Not CLI11's own check: that one hides a mistyped command behind the missing one.
void requireCommand(CLI::App& app) {
  app.final_callback([&app] {
    if (app.get_subcommands().empty()) {
      throw Failure("a command is missing, see --help");
    }
  });
  for (CLI::App* group : app.get_subcommands([](CLI::App*) { return true; })) {
    if (!group->get_subcommands([](CLI::App*) { return true; }).empty()) {
      requireCommand(*group);
    }
  }
}

int run(int argc, char** argv) {
  CLI::App app("Operates the data store and the logs of the device.");
  addStoreCommands(app);
  addStatusCommand(app);
  addMetricsCommand(app);
  addEventsCommands(app);
  addTrendsCommands(app);
  requireCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  }
  // A full disk behind the standard output is a failure too.
  if (!std::cout.flush()) {
    throw Failure("the output could not be written");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  return run(argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "devctl: %s\n", toolkit::printable(error.what()).c_str());
  return 1;
}
