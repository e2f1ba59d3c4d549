#include "waveform_recorder.h"

#include <utility>

#include "read_batch.h"

namespace sim {

namespace {

constexpr std::array kPhaseNodes = {"/VoltageA", "/VoltageB", "/VoltageC"};

std::vector<std::string> urlsOf(const std::string& name) {
  return {"/waveforms/" + name + ".cfg"};
}

}  // namespace

WaveformRecorder::WaveformRecorder(toolkit::CCds& cds, WaveformFolder folder,
                                   const std::vector<std::string>& devices)
    : cds_(cds), folder_(std::move(folder)) {
  for (const std::string& path : devices) {
    for (std::size_t phase = 0; phase < kPhaseNodes.size(); ++phase) {
      phases_[path + kPhaseNodes.at(phase)] = {devices_.size(), phase};
    }
    devices_.emplace_back().path = path;
  }
}

void WaveformRecorder::measure(const Plant& plant) {
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    devices_[i].now = momentOf(plant, i);
    if (!measured_) devices_[i].before = devices_[i].now;
  }
  measured_ = true;
}

std::optional<WaveformRecorder::Fall> WaveformRecorder::fallOf(const std::string& node,
                                                               timeval time) const {
  const auto found = phases_.find(node);
  if (found == phases_.end() || !measured_) return std::nullopt;
  const auto& [device, phase] = found->second;
  return Fall{device, phase, time, devices_[device].before};
}

std::vector<std::string> WaveformRecorder::record(const Fall& fall, const Alarm& alarm,
                                                  timeval now) {
  Device& device = devices_[fall.device];
  if (device.pending) {
    device.pending->wanted = true;
    return urlsOf(device.pending->name);
  }
  // What fell while that record waited for its alarm is in it.
  if (device.last && secondsBetween(device.last->fall, fall.time) >= 0 &&
      secondsBetween(fall.time, device.last->made) >= 0) {
    return urlsOf(device.last->name);
  }
  // No record makes room for another one of the same step.
  if (gaveUp_ || pending_ >= folder_.most()) return {};
  good_ = make(fall, alarm, now);
  gaveUp_ = !good_;
  return good_ ? urlsOf(device.pending->name) : std::vector<std::string>();
}

bool WaveformRecorder::make(const Fall& fall, const Alarm& alarm, timeval now) {
  Device& device = devices_[fall.device];
  ReadBatch batch;
  batch.add(device.path + ":DisplayName");
  batch.read(cds_);
  const std::string name = batch.text(0);
  const VoltageFall told = {name.empty() ? device.path : name,
                            device.path,
                            fall.phase,
                            fall.time,
                            fall.before,
                            device.now,
                            alarm.message,
                            alarm.source};
  const std::string record = folder_.nameOf(fall.time, device.path);
  if (!folder_.write(record, recordOf(told))) return false;
  device.pending = Record{record, fall.time, now};
  ++pending_;
  return true;
}

void WaveformRecorder::settle(bool taken) {
  gaveUp_ = false;
  for (Device& device : devices_) {
    if (taken) device.before = device.now;
    if (!device.pending) continue;
    if (!taken) {
      device.pending->wanted = false;
      continue;
    }
    if (device.pending->wanted) {
      device.last = std::move(device.pending);
    } else if (!folder_.remove(device.pending->name)) {
      good_ = false;
    }
    device.pending.reset();
    --pending_;
  }
}

}  // namespace sim
