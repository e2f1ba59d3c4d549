#include <algorithm>
#include <iomanip>
#include <iostream>

#include "commands.h"
#include "toolkit/admin.h"
#include "toolkit/printable.h"

namespace {

using toolkit::admin::Watchdog;

void print(const std::vector<Watchdog>& rows) {
  std::size_t width = 4;
  for (const Watchdog& row : rows) {
    width = std::max(width, row.name.size());
  }
  const int column = static_cast<int>(width);
  std::cout << std::left << std::setw(column) << "name"
            << "  period  silent\n";
  for (const Watchdog& row : rows) {
    std::cout << std::left << std::setw(column) << toolkit::printable(row.name) << std::right
              << std::setw(7) << row.periodSeconds << 's' << std::setw(7) << row.silentSeconds
              << 's' << (row.overdue() ? "  OVERDUE" : "") << '\n';
  }
}

void status() {
  std::vector<Watchdog> rows;
  if (const std::string error = toolkit::admin::watchdogs(rows); !error.empty()) {
    throw Failure(error);
  }
  print(rows);
  const auto late =
      std::find_if(rows.begin(), rows.end(), [](const auto& r) { return r.overdue(); });
  if (late != rows.end()) {
    throw Failure(late->name + " is overdue");
  }
}

}  // namespace

void addStatusCommand(CLI::App& app) {
  app.add_subcommand("status", "Shows who pings the watchdog; fails when somebody is overdue")
      ->callback(status);
}
