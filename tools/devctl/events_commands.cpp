#include <iostream>
#include <memory>

#include "event_json.h"
#include "json_text.h"
#include "log_commands.h"
#include "toolkit/log.h"
#include "toolkit/time.h"

namespace {

using log_commands::succeed;
using toolkit::CEvent;
using toolkit::CLog;

timeval unixTime(std::int64_t time) {
  timeval result{};
  qel_QELtoUNIXtime64(time, &result);
  return result;
}

std::vector<CEvent> readEvents(const std::string& file) {
  const timeval now = unixTime(qel_UTCtime64());
  std::vector<CEvent> events;
  std::string line;
  for (std::size_t number = 1; std::getline(std::cin, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
      continue;
    }
    const std::string error = event_json::parse(line, now, events.emplace_back());
    if (!error.empty()) {
      log_commands::fail(file, "line", number, error);
    }
  }
  log_commands::requireWholeInput(file);
  return events;
}

void append(const std::string& file) {
  const std::vector<CEvent> events = readEvents(file);
  CLog log;
  succeed(log, log.openToWrite(file, {.durable = true}));
  succeed(log, log.append(events));
}

struct ListArguments {
  std::string file;
  std::string path;
  std::string from;
  std::string to;
  unsigned max = CLog::kNoMaximum;
  unsigned types = 0;
  bool latest = false;
  bool reverse = false;
};

std::optional<timeval> bound(const ListArguments& arguments, const char* option,
                             const std::string& text) {
  timeval time{};
  if (text.empty()) {
    return std::nullopt;
  }
  if (const std::string error = json_text::read(text, time); !error.empty()) {
    throw Failure(arguments.file + ": " + option + " " + text + ": " + error);
  }
  return time;
}

void list(const ListArguments& arguments) {
  const std::optional<timeval> start = bound(arguments, "--from", arguments.from);
  const std::optional<timeval> end = bound(arguments, "--to", arguments.to);
  CLog log;
  succeed(log, log.openToRead(arguments.file));
  // Where all are wanted, the first page is where the printing begins.
  const bool all = arguments.max == CLog::kNoMaximum;
  const bool latest = all ? arguments.reverse : arguments.latest;
  const auto fetch = [&](std::optional<std::int64_t> time, unsigned limit) {
    std::optional<timeval> from = start;
    std::optional<timeval> to = end;
    if (time) {
      (arguments.reverse ? to : from) = unixTime(*time);
    }
    std::vector<CEvent> events;
    succeed(log, log.retrieve(events, arguments.path, from ? &*from : nullptr, to ? &*to : nullptr,
                              limit, latest, arguments.reverse, arguments.types));
    return events;
  };
  const auto timeOf = [](const CEvent& event) { return qel_UNIXtoQELtime64(&event.time); };
  const auto print = [](const CEvent& event) { std::cout << event_json::format(event) << '\n'; };
  if (latest == arguments.reverse) {
    log_commands::inPages(arguments.max, fetch, timeOf, print);
  } else {
    for (const CEvent& event : fetch(std::nullopt, arguments.max)) {
      print(event);
    }
  }
}

void addList(CLI::App& events) {
  CLI::App* command =
      events.add_subcommand("list", "Prints the events of a log as lines of JSON, oldest first");
  auto arguments = std::make_shared<ListArguments>();
  command->add_option("DB", arguments->file, "The log's file")->required();
  command->add_option("--path", arguments->path, "Only events of this path and below it");
  command->add_option("--from", arguments->from, "Only from this time on (seconds since 1970)");
  command->add_option("--to", arguments->to, "Only up to this time (seconds since 1970)");
  command->add_option("--max", arguments->max, "At most so many, the oldest");
  command->add_flag("--latest", arguments->latest, "With --max: the newest instead");
  command->add_flag("--reverse", arguments->reverse, "Newest first");
  command->add_option("--type", arguments->types, "Only these types (a sum of bits)");
  command->callback([arguments] { list(*arguments); });
}

}  // namespace

void addEventsCommands(CLI::App& app) {
  CLI::App* events = app.add_subcommand("events", "Reads and writes event logs");
  CLI::App* command = events->add_subcommand(
      "append", "Enters lines of JSON from the standard input into a log, all or none");
  auto file = std::make_shared<std::string>();
  command->add_option("DB", *file, "The log's file; made when it is missing")->required();
  command->callback([file] { append(*file); });
  addList(*events);
}
