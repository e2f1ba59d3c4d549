#include "quality/source_watch.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "quality/device_quality.h"
#include "source_name.h"
#include "toolkit/leaf_batch.h"
#include "toolkit/time.h"

namespace device {

using toolkit::CElement;
using toolkit::CLeafReader;

namespace {

constexpr double kRefreshSeconds = 10;
constexpr double kSecondsPerThousand = 10;
// How fast the longest pause of a source is forgotten, a write.
constexpr double kForgetting = 0.9;
// Read at once: it bounds the memory that a large tree takes.
constexpr std::size_t kPointsAtOnce = 500;

std::string silentNodeOf(const std::string& device) {
  std::string name;
  toolkit::CPath::PathToNodeName(device, name);
  return SourceWatch::kSilentPath + ("/" + name);
}

toolkit::CEvent qualityEvent(const std::string& leaf, const CElement& quality, timeval stamp) {
  toolkit::CEvent event;
  event.type = toolkit::EVENT_QUALITY;
  event.path = leaf;
  event.quality = static_cast<std::uint16_t>(quality.to_int());
  event.time = stamp;
  event.value = quality;
  event.value.set_time(stamp);
  event.source = kSource;
  return event;
}

bool isWritten(api_status_t status) {
  return status == API_SUCCESS || status == API_BAD_PATH;
}

}  // namespace

bool SourceWatch::refresh(timeval stamp, bool& changed) {
  if (!list_.refresh(stamp)) {
    return false;
  }
  const auto& points = list_.points();
  const double seconds = refreshSeconds(kRefreshSeconds, kSecondsPerThousand, points.size());
  const bool isNew = version_ != list_.version();
  if (!isNew && !toolkit::isDue(readAt_, stamp, seconds)) {
    return true;
  }
  std::vector<Device> devices;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (devices.empty() || devices.back().path != points[i].device) {
      devices.emplace_back().path = points[i].device;
      devices.back().first = i;
    }
    devices.back().end = i + 1;
  }
  if (!readValueAges(devices)) {
    return false;
  }
  adopt(std::move(devices));
  changed = changed || isNew;
  version_ = list_.version();
  readAt_ = stamp;
  return true;
}

bool SourceWatch::readValueAges(std::vector<Device>& devices) {
  std::vector<std::pair<std::size_t, std::string>> leaves;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    leaves.emplace_back(i, devices[i].path + ":ValueAge");
    for (std::size_t k = devices[i].first; k < devices[i].end; ++k) {
      leaves.emplace_back(i, list_.points()[k].param.path + ":ValueAge");
    }
  }
  for (std::size_t begin = 0; begin < leaves.size(); begin += kPointsAtOnce) {
    const std::size_t end = std::min(leaves.size(), begin + kPointsAtOnce);
    CLeafReader reader;
    std::vector<CLeafReader::Handle> handles;
    for (std::size_t i = begin; i < end; ++i) {
      handles.push_back(reader.add(leaves[i].second));
    }
    if (!reader.read(cds_)) {
      return false;
    }
    for (std::size_t i = begin; i < end; ++i) {
      const auto age = reader.number(handles[i - begin]);
      auto& known = devices[leaves[i].first].valueAge;
      if (age && std::isfinite(*age) && *age > 0) {
        known = std::min(*age, known.value_or(*age));
      }
    }
  }
  return true;
}

void SourceWatch::adopt(std::vector<Device> devices) {
  std::map<std::string, Device> known;
  for (Device& device : devices_) {
    known[device.path] = std::move(device);
  }
  for (Device& device : devices) {
    const auto found = known.find(device.path);
    if (found == known.end()) {
      continue;
    }
    Device next = found->second;
    next.first = device.first;
    next.end = device.end;
    next.valueAge = device.valueAge;
    device = std::move(next);
  }
  devices_ = std::move(devices);
}

void SourceWatch::plan(Plan& plan) {
  values_.clear();
  for (const auto& point : list_.points()) {
    values_.push_back(plan.add(point.param.path + "/Value"));
  }
  for (Device& device : devices_) {
    device.quality = plan.add(qualityLeaf(device.path));
    device.before = plan.add(silentNodeOf(device.path) + "/Value");
  }
}

bool SourceWatch::step(const CLeafReader& leaves, double seconds, timeval stamp) {
  changes_.clear();
  bool good = true;
  for (Device& device : devices_) {
    follow(device, leaves, seconds);
    const bool isSilent = device.ended || leaves.element(device.before) != nullptr;
    if (isSilent && device.written) {
      good = resume(device, leaves, stamp) && good;
    } else if (!isSilent && isOverdue(device) && qualityOf(leaves, device.quality) != kBadQuality) {
      good = end(device, leaves, stamp) && good;
    }
  }
  return good;
}

bool SourceWatch::isOverdue(const Device& device) {
  return device.silent > device.valueAge.value_or(std::max(kMinSeconds, kPeriods * device.period));
}

void SourceWatch::follow(Device& device, const CLeafReader& leaves, double seconds) {
  timeval newest = {};
  for (std::size_t i = device.first; i < device.end; ++i) {
    if (const CElement* value = leaves.element(values_[i])) {
      const timeval time = value->time();
      newest = timercmp(&time, &newest, >) ? time : newest;
    }
  }
  const bool isSame = !device.seen || !timercmp(&newest, &device.newest, !=);
  device.silent += seconds;
  if (!isSame) {
    device.period = std::max(device.silent, kForgetting * device.period);
    device.silent = 0;
    device.written = true;
  }
  device.newest = newest;
  device.seen = true;
}

bool SourceWatch::end(Device& device, const CLeafReader& leaves, timeval stamp) {
  const std::string leaf = qualityLeaf(device.path);
  CElement bad(kBadQuality);
  const CElement* present = leaves.element(device.quality);
  if (present != nullptr) {
    bad.convert_type(present->type());
  }
  toolkit::CLeafBatch batch(stamp);
  batch.add(toolkit::CPath(leaf), bad);
  batch.add(toolkit::CPath(silentNodeOf(device.path) + "/Value"),
            CElement(static_cast<std::int32_t>(qualityOf(leaves, device.quality))));
  batch.notify(qualityEvent(leaf, bad, stamp));
  if (!isWritten(batch.write(cds_, kSource))) {
    return false;
  }
  device.ended = true;
  device.written = false;
  changes_.emplace_back(leaf, kBadQuality);
  return true;
}

bool SourceWatch::resume(Device& device, const CLeafReader& leaves, timeval stamp) {
  const std::string leaf = qualityLeaf(device.path);
  bool own = false;
  if (!isOwn(leaf, own)) {
    return false;
  }
  if (own && qualityOf(leaves, device.quality) == kBadQuality) {
    const CElement* before = leaves.element(device.before);
    CElement quality(before == nullptr ? int{toolkit::CEvent::kGoodQuality} : before->to_int());
    if (const CElement* present = leaves.element(device.quality)) {
      quality.convert_type(present->type());
    }
    toolkit::CLeafBatch batch(stamp);
    batch.add(toolkit::CPath(leaf), quality);
    batch.notify(qualityEvent(leaf, quality, stamp));
    if (!isWritten(batch.write(cds_, kSource))) {
      return false;
    }
    changes_.emplace_back(leaf, quality.to_int());
  }
  api_status_t status = API_NONE;
  cds_.remove_node(silentNodeOf(device.path), status, kSource);
  device.ended = false;
  device.written = false;
  return status == API_SUCCESS || status == API_NOT_FOUND;
}

// Whether the quality is what this program has written. False when the store cannot be read.
bool SourceWatch::isOwn(const std::string& leaf, bool& own) {
  toolkit::CPath path(leaf);
  path.normalize();
  api_status_t status = API_NONE;
  std::string writer;
  const int result = cds_.get_writer(path, status, writer);
  own = status == API_SUCCESS && writer == kSource;
  return result == 0;
}

}  // namespace device
