#include "logs/deltas.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "logs/system_events.h"
#include "quality/device_quality.h"
#include "source_name.h"
#include "toolkit/device_nodes.h"
#include "toolkit/leaf_batch.h"
#include "toolkit/time.h"

namespace device {

using toolkit::CElement;
using toolkit::CEvent;
using toolkit::CLeafReader;
using toolkit::DeviceNode;

namespace {

constexpr double kLookSeconds = 1;
constexpr double kRefreshSeconds = 10;
constexpr double kSecondsPerThousand = 10;
// Read at once: it bounds the memory that a large tree takes.
constexpr std::size_t kNodesAtOnce = 500;
// Told at one look. The stream of events keeps few more, and others tell too.
constexpr std::size_t kMaxAtOnce = 500;

bool isState(const CElement& value, const std::string& valueType, const std::string& labels) {
  const bool isNumber = value.type() == DATA_INTEGER || value.type() == DATA_ENUMERATED;
  return value.type() == DATA_BOOLEAN || valueType == "Multistate" || (isNumber && !labels.empty());
}

}  // namespace

bool hasLeft(double notified, double value, double deadband) {
  if (notified == value || (std::isnan(notified) && std::isnan(value))) {
    return false;
  }
  return !(std::fabs(value - notified) <= deadband);
}

bool Deltas::step(const CLeafReader& leaves, timeval stamp) {
  if (!toolkit::isDue(lookedAt_, stamp, kLookSeconds)) {
    return good_;
  }
  lookedAt_ = stamp;
  good_ = look(leaves, stamp);
  return good_;
}

bool Deltas::look(const CLeafReader& leaves, timeval stamp) {
  toolkit::CLeafBatch batch(stamp);
  if (notifiedDevices_ && *notifiedDevices_ != devices_) {
    batch.notify(configurationChanged(stamp));
  }
  std::vector<std::pair<std::size_t, double>> seen;
  std::size_t notified = 0;
  std::size_t index = next_;
  for (std::size_t i = 0; i < watches_.size() && notified < kMaxAtOnce; ++i, ++index) {
    index %= watches_.size();
    const Watch& watch = watches_[index];
    const auto value = watch.type == toolkit::EVENT_QUALITY
                           ? std::optional<double>(qualityOf(leaves, watch.leaf))
                           : leaves.number(watch.leaf);
    if (!value || (watch.notified && !hasLeft(*watch.notified, *value, watch.deadband))) {
      continue;
    }
    seen.emplace_back(index, *value);
    if (!watch.notified && !watch.first) {
      continue;
    }
    batch.notify(eventOf(leaves, index, stamp));
    ++notified;
  }
  if (batch.write(cds_, kSource) != API_SUCCESS) {
    return false;
  }
  for (const auto& [watch, value] : seen) {
    watches_[watch].notified = value;
  }
  notifiedDevices_ = devices_;
  next_ = index;
  return true;
}

void Deltas::noteNotified(const std::string& path, double value) {
  for (Watch& watch : watches_) {
    if (watch.path == path) {
      watch.notified = value;
    }
  }
}

CEvent Deltas::eventOf(const CLeafReader& leaves, std::size_t index, timeval stamp) const {
  const Watch& watch = watches_[index];
  CEvent event;
  event.type = watch.type;
  event.path = watch.path;
  event.quality = qualityOf(leaves, watches_[watch.device].leaf);
  event.time = stamp;
  if (const CElement* value = leaves.element(watch.leaf)) {
    event.value = *value;
  }
  event.source = kSource;
  return event;
}

bool Deltas::refresh(timeval stamp, bool& changed) {
  const double seconds = refreshSeconds(kRefreshSeconds, kSecondsPerThousand, nodes_);
  if (!toolkit::isDue(readAt_, stamp, seconds)) {
    return true;
  }
  std::vector<std::string> devices;
  std::vector<Watch> watches;
  if (!readWatches(devices, watches)) {
    return false;
  }
  devices_ = std::move(devices);
  changed = adopt(std::move(watches)) || changed;
  readAt_ = stamp;
  return true;
}

bool Deltas::readWatches(std::vector<std::string>& devices, std::vector<Watch>& watches) {
  std::vector<DeviceNode> nodes;
  if (!readDeviceNodes(cds_, devices, nodes)) {
    return false;
  }
  nodes_ = nodes.size();
  for (std::size_t i = 0; i < devices.size(); ++i) {
    watches.push_back({toolkit::EVENT_QUALITY, qualityLeaf(devices[i]), i, 0, false, {}, {}});
  }
  for (std::size_t begin = 0; begin < nodes.size(); begin += kNodesAtOnce) {
    const std::size_t end = std::min(nodes.size(), begin + kNodesAtOnce);
    if (!addPoints({nodes.begin() + static_cast<std::ptrdiff_t>(begin),
                    nodes.begin() + static_cast<std::ptrdiff_t>(end)},
                   watches)) {
      return false;
    }
  }
  return true;
}

bool Deltas::addPoints(const std::vector<DeviceNode>& nodes, std::vector<Watch>& watches) const {
  struct Leaves {
    CLeafReader::Handle value, type, labels, deadband;
  };
  CLeafReader reader;
  std::vector<Leaves> leaves;
  for (const DeviceNode& node : nodes) {
    const auto value = reader.add(node.path + ":Value");
    const auto type = reader.add(node.path + ":ValueType");
    const auto labels = reader.add(node.path + ":PossibleValues");
    leaves.push_back({value, type, labels, reader.add(node.path + ":.Deadband")});
  }
  if (!reader.read(cds_)) {
    return false;
  }
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const auto& [value, type, labels, width] = leaves[i];
    if (!reader.number(value)) {
      continue;
    }
    const bool state = isState(*reader.element(value), reader.text(type), reader.text(labels));
    const double deadband = state ? 0 : reader.number(width).value_or(-1);
    if (deadband >= 0) {
      watches.push_back({toolkit::EVENT_DELTA,
                         nodes[i].path + "/Value",
                         nodes[i].device,
                         deadband,
                         !state,
                         {},
                         {}});
    }
  }
  return true;
}

// True when there are other leaves to watch.
bool Deltas::adopt(std::vector<Watch> watches) {
  const bool same = std::equal(watches.begin(), watches.end(), watches_.begin(), watches_.end(),
                               [](const Watch& a, const Watch& b) { return a.path == b.path; });
  std::unordered_map<std::string, Watch> known;
  for (Watch& watch : watches_) {
    known[watch.path] = std::move(watch);
  }
  for (Watch& watch : watches) {
    watch.notified = known[watch.path].notified;
    watch.leaf = known[watch.path].leaf;
  }
  watches_ = std::move(watches);
  return !same;
}

void Deltas::plan(Plan& plan) {
  for (Watch& watch : watches_) {
    watch.leaf = plan.add(watch.path);
  }
}

}  // namespace device
