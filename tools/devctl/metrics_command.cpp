#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include "commands.h"
#include "exposition.h"
#include "toolkit/admin.h"
#include "toolkit/cds.h"
#include "toolkit/device_nodes.h"
#include "toolkit/event_stream.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/log.h"
#include "toolkit/publisher_state.h"
#include "toolkit/request_counts.h"
#include "toolkit/trees.h"
#include "toolkit/trend.h"

namespace {

using toolkit::CCds;
using toolkit::CEventStream;
using toolkit::RequestCounts;
using Type = Exposition::Type;

struct Arguments {
  std::string logs;
  std::string output;
  bool openMetrics = false;
};

void require(bool done, const CCds& store) {
  if (!done) {
    throw Failure(store.last_error().empty() ? "the store cannot be read" : store.last_error());
  }
}

void require(const std::string& error) {
  if (!error.empty()) {
    throw Failure(error);
  }
}

struct Worker {
  std::string name;  // "0": there are no others
  RequestCounts counts;
};

std::vector<Worker> readWorkers(CCds& store) {
  const std::string service = toolkit::kServicePath;
  const std::string parent = service.substr(0, service.rfind('/'));
  std::vector<std::string> nodes;
  require(toolkit::readChildren(store, parent, nodes), store);
  std::vector<Worker> workers;
  for (const std::string& node : nodes) {
    if (node == service || node.starts_with(service + "-")) {
      Worker& worker = workers.emplace_back();
      worker.name = node == service ? "0" : node.substr(service.size() + 1);
      require(toolkit::readRequestCounts(store, node, worker.counts), store);
    }
  }
  return workers;
}

// "error_string" of "ErrorString".
std::string labelOf(const char* name) {
  std::string label;
  for (const char* c = name; *c != '\0'; ++c) {
    const bool isUpper = *c >= 'A' && *c <= 'Z';
    label += isUpper && !label.empty() ? "_" : "";
    label += isUpper ? static_cast<char>(*c - 'A' + 'a') : *c;
  }
  return label;
}

void addDurations(const Worker& worker, Exposition& out) {
  const auto& bounds = RequestCounts::kDurationBounds;
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < worker.counts.durations.size(); ++i) {
    count += worker.counts.durations.at(i);
    std::string bound = i < bounds.size() ? metricNumber(bounds.at(i)) : "+Inf";
    bound += i < bounds.size() && bound.find_first_of(".e") == std::string::npos ? ".0" : "";
    out.add({{"worker", worker.name}, {"le", bound}}, count, "_bucket");
  }
  out.add({{"worker", worker.name}}, worker.counts.durationSum, "_sum");
  out.add({{"worker", worker.name}}, count, "_count");
}

void addRequests(const std::vector<Worker>& workers, Exposition& out) {
  out.begin("dravixd_requests", Type::kCounter, "Requests that were answered.");
  for (const Worker& worker : workers) {
    for (const auto& [operation, outcomes] : worker.counts.operations) {
      for (std::size_t i = 0; i < outcomes.size(); ++i) {
        out.add({{"worker", worker.name},
                 {"operation", operation},
                 {"outcome", labelOf(RequestCounts::kOutcomes.at(i))}},
                outcomes.at(i));
      }
    }
  }
  out.begin("dravixd_request_duration_seconds", Type::kHistogram,
            "From the beginning of a request to the end of its reply.");
  for (const Worker& worker : workers) {
    addDurations(worker, out);
  }
  out.begin("dravixd_received_bytes", Type::kCounter, "Bytes of requests.");
  for (const Worker& worker : workers) {
    out.add({{"worker", worker.name}}, worker.counts.receivedBytes);
  }
  out.begin("dravixd_sent_bytes", Type::kCounter, "Bytes of replies.");
  for (const Worker& worker : workers) {
    out.add({{"worker", worker.name}}, worker.counts.sentBytes);
  }
  out.begin("dravixd_refusals", Type::kCounter, "Requests that a limit has refused.");
  for (const Worker& worker : workers) {
    for (std::size_t i = 0; i < RequestCounts::kLimits.size(); ++i) {
      out.add({{"worker", worker.name}, {"limit", labelOf(RequestCounts::kLimits.at(i))}},
              worker.counts.refused.at(i));
    }
  }
}

void addStore(Exposition& out) {
  using Usage = toolkit::admin::Usage;
  std::vector<Usage> halves;
  require(toolkit::admin::usage(halves));
  const auto family = [&](const char* name, const char* help, auto member) {
    out.begin(name, Type::kGauge, help);
    for (const Usage& half : halves) {
      out.add({{"half", half.half}}, static_cast<std::uint64_t>(half.*member));
    }
  };
  family("toolkit_store_used_bytes", "What the store's tables take.", &Usage::usedBytes);
  family("toolkit_store_limit_bytes", "What the store may take.", &Usage::maxBytes);
  family("toolkit_store_client_limit_bytes", "What writes for clients may fill of it.",
         &Usage::clientBytes);
  family("toolkit_store_readers", "Reader slots in use.", &Usage::readers);
  family("toolkit_store_readers_limit", "Reader slots that there are.", &Usage::maxReaders);
}

void addEvents(CCds& store, Exposition& out) {
  CEventStream stream(store, CEventStream::kEvents);
  std::uint64_t last = 0;
  std::vector<CEventStream::Entry> entries;
  require(stream.last(last) == 0 && stream.read(0, entries) == 0, store);
  out.begin("toolkit_events", Type::kCounter, "Events since the device has started.");
  out.add({}, last);
  out.begin("toolkit_event_ring_entries", Type::kGauge, "Events kept for those who read them.");
  for (const auto ring : {CEventStream::kEventRing, CEventStream::kChangeRing}) {
    const auto held = std::count_if(entries.begin(), entries.end(),
                                    [&](const auto& entry) { return entry.ring == ring; });
    out.add({{"ring", ring == CEventStream::kEventRing ? "events" : "changes"}},
            static_cast<std::uint64_t>(held));
  }
}

void addDevices(CCds& store, Exposition& out) {
  std::vector<std::string> devices;
  std::vector<toolkit::DeviceNode> nodes;
  require(toolkit::readDeviceNodes(store, devices, nodes), store);
  toolkit::CLeafReader leaves;
  std::vector<toolkit::CLeafReader::Handle> qualities;
  qualities.reserve(devices.size());
  for (const std::string& device : devices) {
    qualities.push_back(leaves.add(device + "/.Quality"));
  }
  const auto alarms = leaves.add(std::string(toolkit::kAlarmsPath) + "/AlarmCount");
  require(leaves.read(store), store);
  out.begin("toolkit_active_alarms", Type::kGauge, "Alarms that stand.");
  out.add({}, leaves.number(alarms).value_or(0));
  out.begin("toolkit_device_quality", Type::kGauge,
            "Quality of a device: good from 192 on, and where a device has none.");
  for (std::size_t i = 0; i < devices.size(); ++i) {
    out.add({{"device", devices[i]}},
            leaves.number(qualities[i]).value_or(toolkit::CEvent::kGoodQuality));
  }
}

void addPublisher(CCds& store, Exposition& out) {
  toolkit::PublisherState state;
  require(toolkit::readPublisherState(store, state), store);
  const auto gauge = [&](const char* name, const char* help, double value) {
    out.begin(name, Type::kGauge, help);
    out.add({}, value);
  };
  gauge("wspub_subscriptions", "Subscriptions that are served.", state.subscriptions);
  gauge("wspub_points", "Points of all subscriptions.", state.points);
  gauge("wspub_failing_subscriptions", "Subscriptions whose address takes nothing.", state.failing);
  gauge("wspub_queued_records", "Records that wait to be sent.", state.queued);
  gauge("wspub_lag_seconds", "How long the oldest of these waits.", state.oldestSeconds);
}

void addWatchdogs(Exposition& out) {
  std::vector<toolkit::admin::Watchdog> rows;
  require(toolkit::admin::watchdogs(rows));
  out.begin("toolkit_watchdog_silent_seconds", Type::kGauge, "Since a program's last ping.");
  for (const auto& row : rows) {
    out.add({{"program", row.name}}, static_cast<double>(row.silentSeconds));
  }
  out.begin("toolkit_watchdog_period_seconds", Type::kGauge, "How long it may be silent.");
  for (const auto& row : rows) {
    out.add({{"program", row.name}}, static_cast<double>(row.periodSeconds));
  }
}

struct LogState {
  const char* file;
  bool isReadable = false;
  std::uint64_t rows = 0;
  std::uint64_t bytes = 0;
};

std::uint64_t sizeOf(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

template <typename Log, typename... Options>
LogState readLog(const std::string& folder, const char* name, Options... options) {
  LogState state{.file = name};
  const std::string file = folder + "/" + name;
  Log log;
  state.isReadable = log.openToRead(file, options...) == toolkit::LOG_OK &&
                     log.count(state.rows) == toolkit::LOG_OK;
  state.bytes = sizeOf(file) + sizeOf(file + "-wal");
  return state;
}

// A log that is damaged is one of the things to be seen.
void addLogs(const std::string& folder, Exposition& out) {
  constexpr unsigned kWaitMs = 40;
  const std::array<LogState, 4> logs = {
      readLog<toolkit::CLog>(folder, "alarms.db"), readLog<toolkit::CLog>(folder, "system.db"),
      readLog<toolkit::CLog>(folder, "deadband.db"),
      readLog<toolkit::trend::CLog>(folder, "interval-trends.db", kWaitMs)};
  out.begin("toolkit_log_readable", Type::kGauge, "1, or 0: missing, damaged or held.");
  for (const LogState& log : logs) {
    out.add({{"log", log.file}}, log.isReadable ? 1.0 : 0.0);
  }
  out.begin("toolkit_log_rows", Type::kGauge, "Events, or snapshots of trends.");
  for (const LogState& log : logs) {
    out.add({{"log", log.file}}, log.rows);
  }
  out.begin("toolkit_log_size_bytes", Type::kGauge, "The log's files.");
  for (const LogState& log : logs) {
    out.add({{"log", log.file}}, log.bytes);
  }
}

// Whoever reads the file meanwhile has the former one.
void replaceFile(const std::string& file, const std::string& text) {
  constexpr mode_t kMode = 0644;
  std::string draft = file + ".XXXXXX";
  const int descriptor = mkstemp(draft.data());
  if (descriptor == -1) {
    throw Failure(file + ": " + std::strerror(errno));
  }
  const bool isWritten =
      write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
      fchmod(descriptor, kMode) == 0;
  const bool isClosed = close(descriptor) == 0;
  if (!isWritten || !isClosed || rename(draft.c_str(), file.c_str()) != 0) {
    const std::string why = std::strerror(errno);
    unlink(draft.c_str());
    throw Failure(file + ": " + why);
  }
}

void metrics(const Arguments& arguments) {
  CCds store;
  if (store.init() != 0) {
    throw Failure(store.last_error());
  }
  Exposition out(arguments.openMetrics ? Exposition::Format::kOpenMetrics
                                       : Exposition::Format::kPrometheus);
  addRequests(readWorkers(store), out);
  addStore(out);
  addEvents(store, out);
  addDevices(store, out);
  addPublisher(store, out);
  addWatchdogs(out);
  if (!arguments.logs.empty()) {
    addLogs(arguments.logs, out);
  }
  if (arguments.output.empty()) {
    std::cout << out.take();
  } else {
    replaceFile(arguments.output, out.take());
  }
}

}  // namespace

void addMetricsCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("metrics", "Prints what a monitoring system asks for");
  auto arguments = std::make_shared<Arguments>();
  command->add_option("--logs", arguments->logs, "Folder of the logs; without it nothing of them");
  command->add_option("--output", arguments->output,
                      "File to replace, for node_exporter's folder of text files (*.prom)");
  command->add_flag("--openmetrics", arguments->openMetrics,
                    "As OpenMetrics; else in Prometheus' text format");
  command->callback([arguments] { metrics(*arguments); });
}
