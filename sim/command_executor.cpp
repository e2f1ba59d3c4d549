#include "command_executor.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "toolkit/leaf_reader.h"
#include "toolkit/multistate.h"
#include "toolkit/time.h"
#include "units.h"
#include "waveform.h"

namespace sim {

using toolkit::CElement;
using toolkit::CLeafReader;
using toolkit::CPath;
using Execution = CommandExecutor::Execution;

struct CommandExecutor::Job {
  std::size_t device;
  std::string path;
  int handle;
  const Command& command;
  timeval stamp;
  toolkit::CLeafBatch& batch;
};

namespace {

constexpr int kOrders = 15;

struct SetpointCommand {
  const char* name;  // of the command and of the point
  const char* param;
  const char* unit;
};
constexpr std::array kSetpointCommands = {SetpointCommand{"NominalVoltage", "Volts", "V"},
                                          SetpointCommand{"RatedCurrent", "Amperes", "A"}};

struct WaveformPoint {
  const char* name;
  std::vector<double> (*cycle)(const Moment&, std::size_t phase);
  std::size_t phase;
};
constexpr std::array kWaveformPoints = {
    WaveformPoint{"VoltageA", voltageCycle, 0}, WaveformPoint{"VoltageB", voltageCycle, 1},
    WaveformPoint{"VoltageC", voltageCycle, 2}, WaveformPoint{"CurrentA", currentCycle, 0},
    WaveformPoint{"CurrentB", currentCycle, 1}, WaveformPoint{"CurrentC", currentCycle, 2}};

Execution success(std::string text) {
  return {{CommandStatus::kSuccess, std::move(text), {}}};
}
Execution failure(CommandStatus status, std::string text) {
  return {{status, std::move(text), {}}};
}
Execution gone(const std::string& point) {
  return failure(CommandStatus::kUnable, point + " cannot be read");
}

void notify(toolkit::CLeafBatch& batch, const std::string& device, const std::string& what,
            int handle, timeval stamp) {
  const std::string message = what + " by command #" + std::to_string(handle);
  toolkit::CEvent event;
  event.type = toolkit::EVENT_SYSTEM;
  event.path = device;
  event.severity = toolkit::SEVERITY_INFORMATION;
  event.time = stamp;
  event.message = message;
  event.source = kSource;
  batch.notify(std::move(event));
}

CElement elementLike(const CElement& present, double value) {
  CElement element(value);
  element.convert_type(present.type());
  return element;
}

// A command may be named by anybody, at any length.
std::string shortened(const std::string& text) {
  constexpr std::size_t kMaxShown = 60;
  return text.size() <= kMaxShown ? text : text.substr(0, kMaxShown) + "...";
}

}  // namespace

// All that there are, each with the point that a device must have as a number for it.
std::vector<std::pair<CommandExecutor::Offer, std::string>> CommandExecutor::allOffers() {
  constexpr auto kBasic = Command::Kind::kBasic;
  std::vector<std::pair<Offer, std::string>> all;
  all.reserve(kEnergyCounters.size() + 2 + kSetpointCommands.size() + kWaveformPoints.size());
  for (const char* counter : kEnergyCounters) {
    all.push_back({{kBasic, "ResetEnergy", "All", "Sets the energy counters to zero",
                    &CommandExecutor::resetEnergy},
                   counter});
  }
  for (const char* param : {"Open", "Close"}) {
    all.push_back({{kBasic, "Relay", param, param + std::string("s the circuit breaker"),
                    &CommandExecutor::operateRelay},
                   "Breaker"});
  }
  for (const auto& [name, param, unit] : kSetpointCommands) {
    all.push_back({{Command::Kind::kValue, name, param, std::string("Sets ") + name,
                    &CommandExecutor::setpoint},
                   name});
  }
  for (const WaveformPoint& point : kWaveformPoints) {
    all.push_back(
        {{kBasic, "Harmonics", point.name, std::string("Measures the harmonics of ") + point.name,
          &CommandExecutor::measureHarmonics},
         point.name});
  }
  return all;
}

std::optional<std::vector<CommandExecutor::Offer>> CommandExecutor::offers(
    std::size_t device) const {
  const auto all = allOffers();
  CLeafReader leaves;
  std::vector<CLeafReader::Handle> points;
  points.reserve(all.size());
  for (const auto& [offer, point] : all) {
    points.push_back(leaves.add(paths_[device] + "/" + point));
  }
  if (!leaves.read(cds_)) {
    return std::nullopt;
  }
  std::vector<Offer> offers;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Offer& offer = all[i].first;
    const bool isListed =
        !offers.empty() && offers.back().name == offer.name && offers.back().param == offer.param;
    if (leaves.number(points[i]) && !isListed) {
      offers.push_back(offer);
    }
  }
  return offers;
}

std::optional<Execution> CommandExecutor::execute(std::size_t device, int handle,
                                                  const Command& command, timeval stamp,
                                                  toolkit::CLeafBatch& batch) const {
  const auto known = offers(device);
  if (!known) {
    return std::nullopt;
  }
  for (const Offer& offer : *known) {
    if (offer.isFor(command)) {
      return (this->*offer.run)({device, paths_[device], handle, command, stamp, batch});
    }
  }
  std::string what = shortened(command.name);
  if (command.kind != Command::Kind::kLine) {
    what += " " + shortened(command.param);
  }
  return failure(CommandStatus::kInvalid, "The device has no command " + what);
}

void CommandExecutor::settle(std::size_t device, const Execution& execution) {
  if (execution.resetsEnergy) {
    installation_.resetEnergy(device);
  }
}

std::optional<Execution> CommandExecutor::resetEnergy(const Job& job) const {
  CLeafReader leaves;
  std::vector<CLeafReader::Handle> counters;
  counters.reserve(kEnergyCounters.size());
  for (const char* counter : kEnergyCounters) {
    counters.push_back(leaves.add(job.path + "/" + counter));
  }
  if (!leaves.read(cds_)) {
    return std::nullopt;
  }
  std::string names;
  for (std::size_t i = 0; i < kEnergyCounters.size(); ++i) {
    if (!leaves.number(counters[i])) {
      continue;
    }
    job.batch.add(CPath(job.path + "/" + kEnergyCounters.at(i)),
                  elementLike(*leaves.element(counters[i]), 0));
    names += (names.empty() ? "" : ", ") + std::string(kEnergyCounters.at(i));
  }
  notify(job.batch, job.path, "Energy counters reset", job.handle, job.stamp);
  Execution execution = success("Set to zero: " + names);
  execution.resetsEnergy = true;
  return execution;
}

std::optional<Execution> CommandExecutor::operateRelay(const Job& job) const {
  const std::string node = job.path + "/Breaker";
  CLeafReader leaves;
  const auto state = leaves.add(node);
  const auto labels = leaves.add(node + ":PossibleValues");
  const auto isRemote = leaves.add(job.path + "/ControlSource");
  if (!leaves.read(cds_)) {
    return std::nullopt;
  }
  if (!leaves.number(state)) {
    return gone(node);
  }
  int closed = 1;
  toolkit::CCds_Multistate::GetEnumValue(leaves.text(labels), "Closed", closed);
  int open = closed == 0 ? 1 : 0;
  toolkit::CCds_Multistate::GetEnumValue(leaves.text(labels), "Open", open);
  const bool opens = job.command.param == "Open";
  const int wanted = opens ? open : closed;
  const int present = leaves.element(state)->to_int();
  if (present == wanted) {
    return success(opens ? "The relay is open already" : "The relay is closed already");
  }
  if (!leaves.flag(isRemote, true)) {
    return failure(CommandStatus::kUnable, "The relay is under local control");
  }
  if (present != open && present != closed && !opens) {
    std::string label;
    toolkit::CCds_Multistate::GetStringValue(leaves.text(labels), present, label);
    return failure(CommandStatus::kUnable,
                   "The relay is in the state " + label + " and must be opened first");
  }
  const std::string what = opens ? "Relay opened" : "Relay closed";
  // A relay stays where it is when the device restarts.
  job.batch.add(CPath(node), elementLike(*leaves.element(state), wanted), PCD_TRUE);
  notify(job.batch, job.path, what, job.handle, job.stamp);
  return success(what);
}

std::optional<Execution> CommandExecutor::setpoint(const Job& job) const {
  const std::string node = job.path + "/" + job.command.name;
  CLeafReader leaves;
  const auto present = leaves.add(node);
  const auto minimum = leaves.add(node + ":Minimum");
  const auto maximum = leaves.add(node + ":Maximum");
  const auto units = leaves.add(node + ":Units");
  if (!leaves.read(cds_)) {
    return std::nullopt;
  }
  if (!leaves.number(present)) {
    return gone(node);
  }
  const double scale = scaleOf(leaves.text(units));
  // In whole plain units, as the command's value.
  const double lowest = std::max(1.0, std::ceil(leaves.number(minimum).value_or(0) * scale));
  const double highest = std::floor(leaves.number(maximum).value_or(kMaxSetpoint) * scale);
  const auto* known = std::find_if(
      kSetpointCommands.begin(), kSetpointCommands.end(),
      [&](const SetpointCommand& setpoint) { return setpoint.name == job.command.name; });
  const std::string unit = std::string(" ") + known->unit;
  const double value = job.command.value;
  if (!(value >= lowest && value <= highest)) {
    return failure(CommandStatus::kInvalid, job.command.name + " takes " +
                                                CElement(lowest).to_string(10) + " to " +
                                                CElement(highest).to_string(10) + unit);
  }
  job.batch.add(CPath(node), elementLike(*leaves.element(present), value / scale), PCD_TRUE);
  return success(job.command.name + " is " + CElement(value).to_string(10) + unit);
}

std::optional<Execution> CommandExecutor::measureHarmonics(const Job& job) const {
  const std::string node = job.path + "/" + job.command.param;
  CLeafReader leaves;
  const auto units = leaves.add(node + ":Units");
  const auto displayName = leaves.add(node + ":DisplayName");
  if (!leaves.read(cds_)) {
    return std::nullopt;
  }
  const Moment moment = momentOf(installation_.plant(), job.device);
  if (*std::max_element(moment.voltage.begin(), moment.voltage.end()) <= 0) {
    return failure(CommandStatus::kUnable, "There is no voltage to measure by");
  }
  const auto* point = std::find_if(
      kWaveformPoints.begin(), kWaveformPoints.end(),
      [&](const WaveformPoint& waveform) { return waveform.name == job.command.param; });
  // The cycle that ends now.
  HarmonicsReading reading = {
      node, leaves.text(displayName),
      qel_UNIXtoQELtime64(&job.stamp) - std::llround(1e6 / moment.frequency), moment.frequency,
      harmonicsOf(point->cycle(moment, point->phase), 1, kOrders)};
  const double scale = scaleOf(leaves.text(units));
  for (Harmonic& harmonic : reading.harmonics) {
    harmonic.magnitude /= scale;
  }
  Execution execution = success("Harmonics of one cycle");
  execution.result.harmonics = std::move(reading);
  return execution;
}

}  // namespace sim
