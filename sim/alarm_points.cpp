#include "alarm_points.h"

#include <cmath>
#include <set>

#include "read_batch.h"
#include "toolkit/multistate.h"
#include "toolkit/utils.h"

namespace sim {

namespace {

struct Node {
  std::string path;
  std::size_t device;
};

// The nodes below a device that belong to no device further down.
bool collect(toolkit::CCds& cds, const std::set<std::string>& devices, const std::string& from,
             std::size_t device, std::vector<Node>& nodes) {
  std::vector<std::string> children;
  if (!childrenOf(cds, from, children)) return false;
  for (const std::string& child : children) {
    if (devices.contains(child)) continue;
    nodes.push_back({child, device});
    if (!collect(cds, devices, child, device, nodes)) return false;
  }
  return true;
}

bool readNodes(toolkit::CCds& cds, AlarmConfiguration& configuration, std::vector<Node>& nodes) {
  std::vector<std::string> paths;
  if (toolkit::CCds_Utils::GetDeviceList(cds, paths) < 0) return false;
  const std::set<std::string> devices(paths.begin(), paths.end());
  for (const std::string& path : paths) {
    configuration.devices.push_back({path, 1});
    if (!collect(cds, devices, path, configuration.devices.size() - 1, nodes)) return false;
  }
  return true;
}

bool readBreakers(toolkit::CCds& cds, std::vector<AlarmDevice>& devices) {
  ReadBatch batch;
  for (const AlarmDevice& device : devices) batch.add(device.node + "/Breaker:PossibleValues");
  if (!batch.read(cds)) return false;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    toolkit::CCds_Multistate::GetEnumValue(batch.text(i), "Closed", devices[i].closed);
  }
  return true;
}

// Keeps the nodes whose alarms are turned on.
bool keepEnabled(toolkit::CCds& cds, std::vector<Node>& nodes, std::vector<std::string>& released) {
  ReadBatch batch;
  for (const Node& node : nodes) {
    batch.add(node.path + ":.AlarmEnable");
    batch.add(node.path + ":InAlarm");
  }
  if (!batch.read(cds)) return false;
  std::vector<Node> enabled;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (batch.flag(2 * i)) {
      enabled.push_back(std::move(nodes[i]));
    } else if (batch.flag(2 * i + 1)) {
      released.push_back(nodes[i].path);
    }
  }
  nodes = std::move(enabled);
  return true;
}

// The places of one point's leaves in the batch, in the order of adding.
struct Settings {
  explicit Settings(ReadBatch& batch, const std::string& node)
      : hysteresis(batch.add(node + ":.AlarmHysteresis")),
        delay(batch.add(node + ":.AlarmDelay")),
        clearDelay(batch.add(node + ":.AlarmClearDelay")),
        priority(batch.add(node + ":.BasePriority")),
        autoClosing(batch.add(node + ":.AutoClosing")),
        latch(batch.add(node + ":.LatchAlarm")),
        inAlarm(batch.add(node + ":InAlarm")) {
    for (const LimitKind& kind : kLimitKinds) {
      limits.push_back(batch.add(node + ":" + kind.leaf));
      messages.push_back(batch.add(node + ":" + kind.messageLeaf));
    }
  }

  std::size_t hysteresis;
  std::size_t delay;
  std::size_t clearDelay;
  std::size_t priority;
  std::size_t autoClosing;
  std::size_t latch;
  std::size_t inAlarm;
  std::vector<std::size_t> limits;
  std::vector<std::size_t> messages;
};

// A width or a time; what makes no sense counts as none.
double extent(const ReadBatch& batch, std::size_t place) {
  const double value = batch.number(place).value_or(0);
  return std::isfinite(value) && value > 0 ? value : 0;
}

void addWatches(const ReadBatch& batch, const Settings& settings,
                AlarmConfiguration& configuration) {
  for (std::size_t i = 0; i < kLimitKinds.size(); ++i) {
    const auto limit = batch.number(settings.limits[i]);
    if (!limit || std::isnan(*limit)) continue;
    AlarmWatch watch;
    watch.point = configuration.points.size();
    watch.kind = i;
    watch.rule = {kLimitKinds[i].direction, *limit, extent(batch, settings.hysteresis),
                  extent(batch, settings.delay), extent(batch, settings.clearDelay)};
    watch.message = batch.text(settings.messages[i]);
    if (watch.message.empty()) watch.message = kLimitKinds[i].message;
    configuration.watches.push_back(std::move(watch));
  }
}

void addPoint(const ReadBatch& batch, const Settings& settings, const Node& node,
              AlarmConfiguration& configuration) {
  const std::size_t before = configuration.watches.size();
  addWatches(batch, settings, configuration);
  if (configuration.watches.size() == before) {
    if (batch.flag(settings.inAlarm)) configuration.released.push_back(node.path);
    return;
  }
  const auto* priority = batch.at(settings.priority);
  configuration.points.push_back({node.path, node.device,
                                  priority == nullptr ? 0 : priority->to_int(),
                                  batch.flag(settings.autoClosing), batch.flag(settings.latch)});
}

}  // namespace

std::optional<std::size_t> AlarmConfiguration::find(const std::string& source,
                                                    const std::string& limit) const {
  for (std::size_t i = 0; i < watches.size(); ++i) {
    if (limit == kLimitKinds[watches[i].kind].leaf && source == points[watches[i].point].leaf()) {
      return i;
    }
  }
  return std::nullopt;
}

bool readConfiguration(toolkit::CCds& cds, AlarmConfiguration& configuration) {
  configuration = {};
  std::vector<Node> nodes;
  if (!readNodes(cds, configuration, nodes) || !readBreakers(cds, configuration.devices) ||
      !keepEnabled(cds, nodes, configuration.released)) {
    return false;
  }
  ReadBatch batch;
  std::vector<Settings> settings;
  settings.reserve(nodes.size());
  for (const Node& node : nodes) settings.emplace_back(batch, node.path);
  if (!batch.read(cds)) return false;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    addPoint(batch, settings[i], nodes[i], configuration);
  }
  return true;
}

}  // namespace sim
