#include "sag_recorder.h"

#include <utility>

#include "toolkit/captured_records.h"
#include "toolkit/time.h"
#include "units.h"

namespace sim {

namespace {

constexpr std::array kPhaseNames = {"VoltageA", "VoltageB", "VoltageC"};
struct LimitLeaves {
  const char* limit;
  const char* message;
};
constexpr std::array kLowLimits = {LimitLeaves{":.AlarmLowLimit", ":.AlarmLowMsg"},
                                   LimitLeaves{":.AlarmLowLowLimit", ":.AlarmLowLowMsg"}};
constexpr double kReadSeconds = 1;
// What a record shows after the fall with which it begins.
constexpr double kCyclesAfter =
    static_cast<double>(WaveformRecord::kSamples - WaveformRecord::kTrigger) /
    WaveformRecord::kSamplesACycle;

}  // namespace

SagRecorder::SagRecorder(toolkit::CCds& cds, toolkit::CWaveformFolder folder,
                         const std::vector<std::string>& devices)
    : cds_(cds), folder_(std::move(folder)) {
  for (const std::string& path : devices) {
    devices_.emplace_back().path = path;
    planReads(devices_.back());
  }
}

void SagRecorder::planReads(Device& device) {
  device.name = limits_.add(device.path + ":DisplayName");
  device.enabled = limits_.add(device.path + "/AlarmsEnabled");
  for (std::size_t i = 0; i < device.phases.size(); ++i) {
    Phase& phase = device.phases.at(i);
    phase.node = device.path + "/" + kPhaseNames.at(i);
    phase.enabled = limits_.add(phase.node + ":.AlarmEnable");
    phase.hysteresis = limits_.add(phase.node + ":.AlarmHysteresis");
    phase.units = limits_.add(phase.node + ":Units");
    for (std::size_t k = 0; k < phase.limits.size(); ++k) {
      phase.limits.at(k).limit = limits_.add(phase.node + kLowLimits.at(k).limit);
      phase.limits.at(k).message = limits_.add(phase.node + kLowLimits.at(k).message);
    }
  }
}

bool SagRecorder::readLimits(timeval stamp) {
  if (!toolkit::isDue(readAt_, stamp, kReadSeconds)) {
    return true;
  }
  if (!limits_.read(cds_)) {
    return false;
  }
  readAt_ = stamp;
  return true;
}

void SagRecorder::measure(const Plant& plant, timeval stamp, toolkit::CLeafBatch& batch) {
  const bool known = readLimits(stamp);
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    Device& device = devices_[i];
    device.now = momentOf(plant, i);
    if (!measured_) {
      device.before = device.now;
    }
    const auto fall = known ? fallOf(device) : std::nullopt;
    device.falls = fall.has_value();
    if (fall) {
      record(device, *fall, stamp, batch);
    }
  }
  measured_ = true;
}

// The first limit that the batch's voltages cross.
std::optional<SagRecorder::Fall> SagRecorder::fallOf(Device& device) {
  std::optional<Fall> fall;
  for (std::size_t i = 0; i < device.phases.size(); ++i) {
    Phase& phase = device.phases.at(i);
    for (Limit& limit : phase.limits) {
      limit.lowNow = isLow(device, phase, limit, device.now.voltage.at(i));
      if (limit.lowNow && !limit.low && !fall) {
        fall = {i, limits_.text(limit.message)};
      }
    }
  }
  return fall;
}

bool SagRecorder::isLow(const Device& device, const Phase& phase, const Limit& limit,
                        double voltage) const {
  const auto value = limits_.number(limit.limit);
  if (!value || !limits_.flag(phase.enabled) || !limits_.flag(device.enabled, true)) {
    return false;
  }
  const double band = limit.low ? limits_.number(phase.hysteresis).value_or(0) : 0;
  return voltage < (*value + band) * scaleOf(limits_.text(phase.units));
}

void SagRecorder::record(Device& device, const Fall& fall, timeval stamp,
                         toolkit::CLeafBatch& batch) {
  if (device.pending.empty()) {
    const double shown = device.recorded ? toolkit::secondsBetween(*device.recorded, stamp) : -1;
    if (shown >= 0 && shown * device.now.frequency < kCyclesAfter) {
      return;
    }
    // No record makes room for another one of the same batch.
    if (gaveUp_ || pending_ >= folder_.max()) {
      return;
    }
    good_ = make(device, fall, stamp);
    gaveUp_ = !good_;
    if (!good_) {
      return;
    }
  }
  toolkit::CCapturedRecord record = {"/waveforms/" + device.pending + ".cfg", stamp, {}};
  record.points.assign(kPhaseNames.begin(), kPhaseNames.end());
  announceRecord(batch, device.path, record);
}

bool SagRecorder::make(Device& device, const Fall& fall, timeval stamp) {
  const std::string name = limits_.text(device.name);
  const VoltageFall voltageFall = {name.empty() ? device.path : name,
                                   device.path,
                                   fall.phase,
                                   stamp,
                                   device.before,
                                   device.now,
                                   fall.message.empty() ? "Voltage too low" : fall.message,
                                   device.phases.at(fall.phase).node + "/Value"};
  const std::string record = folder_.nameOf(stamp, device.path);
  if (!folder_.write(record, recordOf(voltageFall))) {
    return false;
  }
  device.pending = record;
  device.recorded = stamp;
  ++pending_;
  return true;
}

void SagRecorder::adopt(Device& device) {
  device.before = device.now;
  for (Phase& phase : device.phases) {
    for (Limit& limit : phase.limits) {
      limit.low = limit.lowNow;
    }
  }
}

void SagRecorder::settle(bool taken) {
  gaveUp_ = false;
  for (Device& device : devices_) {
    if (taken) {
      adopt(device);
    }
    if (device.pending.empty() || (!taken && device.falls)) {
      continue;
    }
    if (!device.falls) {
      device.recorded.reset();
      good_ = folder_.remove(device.pending) && good_;
    }
    device.pending.clear();
    --pending_;
  }
}

}  // namespace sim
