// The commands of devctl. Each adds itself to the command line; a command that fails throws
// Failure.
#pragma once

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>

// One sentence for the operator: it names the file, the line or the path. Ends devctl with
// status 1.
class Failure : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

void addStoreCommands(CLI::App& app);
void addMetricsCommand(CLI::App& app);
void addStatusCommand(CLI::App& app);
void addEventsCommands(CLI::App& app);
void addTrendsCommands(CLI::App& app);
