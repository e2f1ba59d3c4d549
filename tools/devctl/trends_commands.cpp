#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <set>

#include "json_text.h"
#include "log_commands.h"
#include "toolkit/log_result.h"
#include "trend_json.h"

namespace {

using json_text::inQuotes;
using log_commands::succeed;
using trend_json::Trends;
using namespace toolkit::trend;

constexpr unsigned kReaderWaitMs = 40;
constexpr unsigned kWriterWaitMs = 5000;

int openToWrite(CLog& log, const std::string& file, bool create) {
  return log.openToWrite(file, {.create = create, .waitMs = kWriterWaitMs, .durable = true});
}

std::vector<CPeriodProperties> periodsOf(CLog& log) {
  std::vector<CPeriodProperties> periods;
  succeed(log, log.get_periods(periods));
  return periods;
}

std::vector<CDeviceParams> devicesOf(CLog& log) {
  std::vector<CDeviceProperties> devices;
  succeed(log, log.get_devices(devices));
  std::vector<CDeviceParams> result;
  for (const CDeviceProperties& device : devices) {
    succeed(log, log.get_params(device, result.emplace_back(CDeviceParams{device, {}}).params));
  }
  return result;
}

// What snapshots can be entered when the log has taken what a file brings.
struct Known {
  void add(const std::vector<CPeriodProperties>& more);
  void add(const std::vector<CDeviceParams>& more);

  std::set<std::uint32_t> periods;
  std::map<std::string, std::map<std::string, std::size_t>>
      params;                                               // of a device, with their indices
  std::map<std::string, std::vector<std::size_t>> indices;  // of a device's data, in their order
};

void Known::add(const std::vector<CPeriodProperties>& more) {
  for (const CPeriodProperties& period : more) {
    periods.insert(period.period);
  }
}

void Known::add(const std::vector<CDeviceParams>& more) {
  for (const CDeviceParams& device : more) {
    auto& present = params[device.device.path];
    auto& order = indices[device.device.path];
    if (!device.params.empty()) {
      order.clear();
    }
    for (const CParamProperties& param : device.params) {
      order.push_back(present.try_emplace(param.path, present.size()).first->second);
    }
  }
}

// Brings the snapshot's data into the order of the parameters.
std::string sortByIndex(const Known& known, CEntry& entry) {
  CSnapshot& snapshot = entry.snapshot;
  const auto device = known.indices.find(entry.device);
  if (device == known.indices.end()) {
    return "there is no device " + inQuotes(entry.device);
  }
  if (!known.periods.contains(snapshot.period)) {
    return "there is no period " + std::to_string(snapshot.period);
  }
  const std::vector<std::size_t>& order = device->second;
  if (snapshot.data.size() > order.size()) {
    return "data of " + std::to_string(snapshot.data.size()) + " parameters, and " +
           inQuotes(entry.device) + " has " + std::to_string(order.size());
  }
  std::vector<CSample> sorted;
  for (std::size_t i = 0; i < snapshot.data.size(); ++i) {
    sorted.resize(std::max(sorted.size(), order[i] + 1));
    sorted[order[i]] = snapshot.data[i];
  }
  snapshot.data = std::move(sorted);
  return {};
}

Trends readTrends(const std::string& file) {
  const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  log_commands::requireWholeInput(file);
  Trends trends;
  if (const std::string error = trend_json::parse(text, trends); !error.empty()) {
    throw Failure(file + ": " + error);
  }
  return trends;
}

// A file that is missing is made when nothing can be wrong with the input any more.
void append(const std::string& file) {
  Trends trends = readTrends(file);
  CLog log;
  Known known;
  const int opened = openToWrite(log, file, false);
  if (opened != toolkit::LOG_MISSING) {
    succeed(log, opened);
    known.add(periodsOf(log));
    known.add(devicesOf(log));
  }
  known.add(trends.periods);
  known.add(trends.devices);
  for (std::size_t i = 0; i < trends.entries.size(); ++i) {
    const std::string error = sortByIndex(known, trends.entries[i]);
    if (!error.empty()) {
      log_commands::fail(file, "snapshot", i + 1, error);
    }
  }
  if (opened == toolkit::LOG_MISSING) {
    succeed(log, openToWrite(log, file, true));
  }
  succeed(log, log.set_periods(trends.periods));
  for (const CDeviceParams& device : trends.devices) {
    succeed(log, log.set_params(device));
  }
  succeed(log, log.append(trends.entries));
}

struct ListArguments {
  std::string file;
  std::optional<std::string> device;
  std::optional<std::uint32_t> period;
  std::int64_t from = 0;
  std::int64_t to = std::numeric_limits<std::int64_t>::max();
  unsigned max = CLog::kNoMaximum;
};

// Prints a list, a row a line.
class List {
 public:
  explicit List(const char* name) { std::cout << "  " << inQuotes(name) << ": ["; }
  void add(const std::string& row) {
    std::cout << (empty_ ? "\n    " : ",\n    ") << row;
    empty_ = false;
  }
  void end(const char* separator) { std::cout << (empty_ ? "]" : "\n  ]") << separator << '\n'; }

 private:
  bool empty_ = true;
};

void printSnapshots(CLog& log, const CDeviceParams& device,
                    const std::vector<CPeriodProperties>& periods, const ListArguments& arguments,
                    List& list) {
  const auto fetch = [&](std::optional<std::int64_t> time, unsigned limit) {
    CDeviceData data;
    succeed(log,
            log.get_trend_data(data, device, periods, {time.value_or(arguments.from), arguments.to},
                               limit, 0, true, false));
    return std::move(data.samples);
  };
  log_commands::inPages(
      arguments.max, fetch, [](const CSnapshot& snapshot) { return snapshot.time; },
      [&](const CSnapshot& snapshot) {
        list.add(trend_json::format(device.device.path, snapshot));
      });
}

void list(const ListArguments& arguments) {
  if (arguments.from < 0 || arguments.to < 0) {
    throw Failure(arguments.file + ": --from and --to must not be before 1970");
  }
  CLog log;
  succeed(log, log.openToRead(arguments.file, kReaderWaitMs));
  std::vector<CPeriodProperties> periods = periodsOf(log);
  std::vector<CDeviceParams> devices = devicesOf(log);
  if (arguments.period) {
    std::erase_if(periods, [&](const auto& period) { return period.period != *arguments.period; });
    if (periods.empty()) {
      throw Failure(arguments.file + ": there is no period " + std::to_string(*arguments.period));
    }
  }
  if (arguments.device) {
    std::erase_if(devices, [&](const auto& d) { return d.device.path != *arguments.device; });
    if (devices.empty()) {
      throw Failure(arguments.file + ": there is no device " + inQuotes(*arguments.device));
    }
  }
  std::cout << "{\n";
  List periodList("periods");
  for (const CPeriodProperties& period : periods) {
    periodList.add(trend_json::format(period));
  }
  periodList.end(",");
  List deviceList("devices");
  for (const CDeviceParams& device : devices) {
    deviceList.add(trend_json::format(device));
  }
  deviceList.end(",");
  List snapshotList("snapshots");
  for (const CDeviceParams& device : devices) {
    printSnapshots(log, device, periods, arguments, snapshotList);
  }
  snapshotList.end("");
  std::cout << "}\n";
}

void addList(CLI::App& trends) {
  CLI::App* command = trends.add_subcommand(
      "list", "Prints the periods, devices and snapshots of a log as JSON, oldest first");
  auto arguments = std::make_shared<ListArguments>();
  command->add_option("DB", arguments->file, "The log's file")->required();
  command->add_option("--device", arguments->device, "Only this device");
  command->add_option("--period", arguments->period, "Only this period");
  command->add_option("--from", arguments->from, "Only from this time on (seconds since 1970)");
  command->add_option("--to", arguments->to, "Only up to this time (seconds since 1970)");
  command->add_option("--max", arguments->max, "At most so many of each device, the oldest");
  command->callback([arguments] { list(*arguments); });
}

}  // namespace

void addTrendsCommands(CLI::App& app) {
  CLI::App* trends = app.add_subcommand("trends", "Reads and writes trend logs");
  CLI::App* command = trends->add_subcommand(
      "append", "Enters JSON from the standard input into a log, all or nothing");
  auto file = std::make_shared<std::string>();
  command->add_option("DB", *file, "The log's file; made when it is missing")->required();
  command->callback([file] { append(*file); });
  addList(*trends);
}
