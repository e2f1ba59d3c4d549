#include "alarms/alarm_points.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "toolkit/device_nodes.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/multistate.h"

namespace device {

using toolkit::CLeafReader;
using toolkit::DeviceNode;

namespace {

// Read at once: it bounds the memory that a large tree takes.
constexpr std::size_t kNodesAtOnce = 200;

bool readBreakers(toolkit::CCds& cds, std::vector<AlarmDevice>& devices) {
  CLeafReader reader;
  std::vector<CLeafReader::Handle> labels;
  labels.reserve(devices.size());
  for (const AlarmDevice& device : devices) {
    labels.push_back(reader.add(device.node + "/Breaker:PossibleValues"));
  }
  if (!reader.read(cds)) {
    return false;
  }
  for (std::size_t i = 0; i < devices.size(); ++i) {
    toolkit::CCds_Multistate::GetEnumValue(reader.text(labels[i]), "Closed", devices[i].closed);
  }
  return true;
}

// The nodes of a part whose alarms are turned on.
bool keepEnabled(toolkit::CCds& cds, std::vector<DeviceNode>& nodes,
                 std::vector<std::string>& released) {
  CLeafReader reader;
  std::vector<std::pair<CLeafReader::Handle, CLeafReader::Handle>> leaves;
  for (const DeviceNode& node : nodes) {
    const auto enable = reader.add(node.path + ":.AlarmEnable");
    leaves.emplace_back(enable, reader.add(node.path + ":InAlarm"));
  }
  if (!reader.read(cds)) {
    return false;
  }
  std::vector<DeviceNode> enabled;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (reader.flag(leaves[i].first)) {
      enabled.push_back(std::move(nodes[i]));
    } else if (reader.flag(leaves[i].second)) {
      released.push_back(nodes[i].path);
    }
  }
  nodes = std::move(enabled);
  return true;
}

// One point's leaves.
struct Settings {
  Settings(CLeafReader& reader, const std::string& node)
      : hysteresis(reader.add(node + ":.AlarmHysteresis")),
        delay(reader.add(node + ":.AlarmDelay")),
        clearDelay(reader.add(node + ":.AlarmClearDelay")),
        priority(reader.add(node + ":.BasePriority")),
        autoClosing(reader.add(node + ":.AutoClosing")),
        latch(reader.add(node + ":.LatchAlarm")),
        inAlarm(reader.add(node + ":InAlarm")) {
    for (std::size_t i = 0; i < kLimitKinds.size(); ++i) {
      limits.at(i) = reader.add(node + ":" + kLimitKinds.at(i).leaf);
      messages.at(i) = reader.add(node + ":" + kLimitKinds.at(i).messageLeaf);
    }
  }

  CLeafReader::Handle hysteresis;
  CLeafReader::Handle delay;
  CLeafReader::Handle clearDelay;
  CLeafReader::Handle priority;
  CLeafReader::Handle autoClosing;
  CLeafReader::Handle latch;
  CLeafReader::Handle inAlarm;
  std::array<CLeafReader::Handle, kLimitKinds.size()> limits;
  std::array<CLeafReader::Handle, kLimitKinds.size()> messages;
};

// A width or a time; what makes no sense counts as none.
double extent(const CLeafReader& reader, CLeafReader::Handle leaf) {
  const double value = reader.number(leaf).value_or(0);
  return std::isfinite(value) && value > 0 ? value : 0;
}

std::vector<AlarmWatch> watchesOf(const CLeafReader& reader, const Settings& settings) {
  std::vector<AlarmWatch> watches;
  for (std::size_t i = 0; i < kLimitKinds.size(); ++i) {
    const LimitKind& kind = kLimitKinds.at(i);
    const auto limit = reader.number(settings.limits.at(i));
    if (!limit || std::isnan(*limit)) {
      continue;
    }
    AlarmWatch watch;
    watch.kind = i;
    watch.rule = {kind.direction, *limit, extent(reader, settings.hysteresis),
                  extent(reader, settings.delay), extent(reader, settings.clearDelay)};
    watch.message = reader.text(settings.messages.at(i));
    if (watch.message.empty()) {
      watch.message = kind.message;
    }
    watches.push_back(std::move(watch));
  }
  return watches;
}

void addPoint(const CLeafReader& reader, const Settings& settings, const DeviceNode& node,
              AlarmConfiguration& configuration) {
  std::vector<AlarmWatch> watches = watchesOf(reader, settings);
  if (watches.empty()) {
    if (reader.flag(settings.inAlarm)) {
      configuration.released.push_back(node.path);
    }
    return;
  }
  const auto* priority = reader.element(settings.priority);
  configuration.points.push_back({node.path, node.device,
                                  priority == nullptr ? 0 : priority->to_int(),
                                  reader.flag(settings.autoClosing), reader.flag(settings.latch)});
  const auto* inAlarm = reader.element(settings.inAlarm);
  configuration.inAlarm.push_back(inAlarm == nullptr ? std::nullopt
                                                     : std::optional(inAlarm->to_bool()));
  for (AlarmWatch& watch : watches) {
    watch.point = configuration.points.size() - 1;
    configuration.add(std::move(watch));
  }
}

bool readPart(toolkit::CCds& cds, std::vector<DeviceNode> nodes,
              AlarmConfiguration& configuration) {
  if (!keepEnabled(cds, nodes, configuration.released)) {
    return false;
  }
  CLeafReader reader;
  std::vector<Settings> settings;
  settings.reserve(nodes.size());
  for (const DeviceNode& node : nodes) {
    settings.emplace_back(reader, node.path);
  }
  if (!reader.read(cds)) {
    return false;
  }
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    addPoint(reader, settings[i], nodes[i], configuration);
  }
  return true;
}

std::string keyOf(const std::string& source, const std::string& limit) {
  return source + ":" + limit;
}

}  // namespace

void AlarmConfiguration::add(AlarmWatch watch) {
  byLimit_[keyOf(points[watch.point].leaf(), kLimitKinds.at(watch.kind).leaf)] = watches.size();
  watches.push_back(std::move(watch));
}

std::optional<std::size_t> AlarmConfiguration::find(const std::string& source,
                                                    const std::string& limit) const {
  const auto found = byLimit_.find(keyOf(source, limit));
  return found == byLimit_.end() ? std::nullopt : std::optional(found->second);
}

bool AlarmConfiguration::watchesSame(const AlarmConfiguration& other) const {
  return devices == other.devices && points == other.points && watches == other.watches;
}

bool readConfiguration(toolkit::CCds& cds, AlarmConfiguration& configuration) {
  configuration = {};
  std::vector<std::string> devices;
  std::vector<DeviceNode> nodes;
  if (!readDeviceNodes(cds, devices, nodes)) {
    return false;
  }
  for (const std::string& device : devices) {
    configuration.devices.push_back({device, 1});
  }
  configuration.nodes = nodes.size();
  if (!readBreakers(cds, configuration.devices)) {
    return false;
  }
  for (std::size_t begin = 0; begin < nodes.size(); begin += kNodesAtOnce) {
    const std::size_t end = std::min(nodes.size(), begin + kNodesAtOnce);
    if (!readPart(cds,
                  {nodes.begin() + static_cast<std::ptrdiff_t>(begin),
                   nodes.begin() + static_cast<std::ptrdiff_t>(end)},
                  configuration)) {
      return false;
    }
  }
  return true;
}

}  // namespace device
