#include "alarms/alarm_points.h"

#include <cmath>

#include "device_nodes.h"
#include "read_batch.h"
#include "toolkit/multistate.h"

namespace sim {

namespace {

bool readNodes(toolkit::CCds& cds, AlarmConfiguration& configuration,
               std::vector<DeviceNode>& nodes) {
  std::vector<std::string> devices;
  if (!readDeviceNodes(cds, devices, nodes)) return false;
  for (const std::string& device : devices) configuration.devices.push_back({device, 1});
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
bool keepEnabled(toolkit::CCds& cds, std::vector<DeviceNode>& nodes,
                 std::vector<std::string>& released) {
  ReadBatch batch;
  for (const DeviceNode& node : nodes) {
    batch.add(node.path + ":.AlarmEnable");
    batch.add(node.path + ":InAlarm");
  }
  if (!batch.read(cds)) return false;
  std::vector<DeviceNode> enabled;
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

void addPoint(const ReadBatch& batch, const Settings& settings, const DeviceNode& node,
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
  std::vector<DeviceNode> nodes;
  if (!readNodes(cds, configuration, nodes) || !readBreakers(cds, configuration.devices) ||
      !keepEnabled(cds, nodes, configuration.released)) {
    return false;
  }
  ReadBatch batch;
  std::vector<Settings> settings;
  settings.reserve(nodes.size());
  for (const DeviceNode& node : nodes) settings.emplace_back(batch, node.path);
  if (!batch.read(cds)) return false;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    addPoint(batch, settings[i], nodes[i], configuration);
  }
  return true;
}

}  // namespace sim
