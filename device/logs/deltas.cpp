#include "logs/deltas.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "alarms/alarm.h"
#include "device_nodes.h"
#include "due.h"
#include "logs/system_events.h"
#include "toolkit/leaf_batch.h"

namespace sim {

using toolkit::CElement;
using toolkit::CEvent;

namespace {

constexpr double kLookSeconds = 1;
constexpr double kRefreshSeconds = 10;
// Told at one look. The stream of events keeps few more, and others tell too.
constexpr std::size_t kMostAtOnce = 500;

bool isState(const CElement& value, const std::string& valueType, const std::string& labels) {
  const bool isNumber = value.type() == DATA_INTEGER || value.type() == DATA_ENUMERATED;
  return value.type() == DATA_BOOLEAN || valueType == "Multistate" || (isNumber && !labels.empty());
}

}  // namespace

bool hasLeft(double told, double value, double deadband) {
  if (told == value || (std::isnan(told) && std::isnan(value))) return false;
  return !(std::fabs(value - told) <= deadband);
}

bool Deltas::step(timeval stamp) {
  if (!isDue(lookedAt_, stamp, kLookSeconds)) return good_;
  lookedAt_ = stamp;
  good_ = look(stamp);
  return good_;
}

bool Deltas::look(timeval stamp) {
  if (!refreshWhenDue(stamp) || !leaves_.read(cds_)) return false;
  toolkit::CLeafBatch batch(stamp);
  if (toldDevices_ && *toldDevices_ != devices_) batch.tell(configurationChanged(stamp));
  std::vector<std::pair<std::size_t, double>> seen;
  std::size_t told = 0;
  std::size_t place = next_;
  for (std::size_t i = 0; i < watches_.size() && told < kMostAtOnce; ++i, ++place) {
    place %= watches_.size();
    const Watch& watch = watches_[place];
    const auto value =
        watch.type == toolkit::EVENT_QUALITY ? qualityOf(place) : leaves_.number(place);
    if (!value || (watch.told && !hasLeft(*watch.told, *value, watch.deadband))) continue;
    seen.emplace_back(place, *value);
    if (!watch.told && !watch.first) continue;
    batch.tell(eventOf(place, stamp));
    ++told;
  }
  if (batch.write(cds_, kSimulationSource) != API_SUCCESS) return false;
  for (const auto& [watch, value] : seen) watches_[watch].told = value;
  toldDevices_ = devices_;
  next_ = place;
  return true;
}

std::uint16_t Deltas::qualityOf(std::size_t device) const {
  const CElement* quality = leaves_.at(device);
  if (quality == nullptr) return CEvent::kGoodQuality;
  return static_cast<std::uint16_t>(std::clamp<std::int32_t>(quality->to_int(), 0, UINT16_MAX));
}

CEvent Deltas::eventOf(std::size_t place, timeval stamp) const {
  const Watch& watch = watches_[place];
  CEvent event;
  event.type = watch.type;
  event.path = watch.path;
  event.quality = qualityOf(watch.device);
  event.time = stamp;
  if (const CElement* value = leaves_.at(place)) event.value = *value;
  event.source = kSimulationSource;
  return event;
}

bool Deltas::refreshWhenDue(timeval stamp) {
  if (!isDue(readAt_, stamp, kRefreshSeconds)) return true;
  std::vector<std::string> devices;
  std::vector<Watch> watches;
  if (!readWatches(devices, watches)) return false;
  devices_ = std::move(devices);
  adopt(std::move(watches));
  readAt_ = stamp;
  return true;
}

bool Deltas::readWatches(std::vector<std::string>& devices, std::vector<Watch>& watches) {
  std::vector<DeviceNode> nodes;
  if (!readDeviceNodes(cds_, devices, nodes)) return false;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    watches.push_back({toolkit::EVENT_QUALITY, devices[i] + "/.Quality", i, 0, false, {}});
  }
  ReadBatch batch;
  for (const DeviceNode& node : nodes) {
    for (const char* leaf : {"Value", "ValueType", "PossibleValues", ".Deadband"}) {
      batch.add(node.path + ":" + leaf);
    }
  }
  if (!batch.read(cds_)) return false;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const CElement* value = batch.at(4 * i);
    if (value == nullptr || !batch.number(4 * i)) continue;
    const bool state = isState(*value, batch.text(4 * i + 1), batch.text(4 * i + 2));
    const double deadband = state ? 0 : batch.number(4 * i + 3).value_or(-1);
    if (!(deadband >= 0)) continue;
    watches.push_back(
        {toolkit::EVENT_DELTA, nodes[i].path + "/Value", nodes[i].device, deadband, !state, {}});
  }
  return true;
}

void Deltas::adopt(std::vector<Watch> watches) {
  std::map<std::string, std::optional<double>> told;
  for (Watch& watch : watches_) told[std::move(watch.path)] = watch.told;
  leaves_ = {};
  for (Watch& watch : watches) {
    watch.told = told[watch.path];
    leaves_.add(watch.path);
  }
  watches_ = std::move(watches);
}

}  // namespace sim
