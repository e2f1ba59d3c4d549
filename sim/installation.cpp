#include "installation.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "toolkit/utils.h"
#include "units.h"

namespace sim {

namespace {

using toolkit::CElement;
using toolkit::CLeafReader;
using toolkit::CPath;

struct Quantity {
  const char* name;
  double& (*of)(Reading&);
  bool goesOn = false;  // from the store's value
};

const std::array kQuantities = {
    Quantity{"VoltageA", [](Reading& r) -> double& { return r.voltage[0]; }},
    Quantity{"VoltageB", [](Reading& r) -> double& { return r.voltage[1]; }},
    Quantity{"VoltageC", [](Reading& r) -> double& { return r.voltage[2]; }},
    Quantity{"VoltageAB", [](Reading& r) -> double& { return r.lineVoltage[0]; }},
    Quantity{"VoltageBC", [](Reading& r) -> double& { return r.lineVoltage[1]; }},
    Quantity{"VoltageCA", [](Reading& r) -> double& { return r.lineVoltage[2]; }},
    Quantity{"CurrentA", [](Reading& r) -> double& { return r.current[0]; }},
    Quantity{"CurrentB", [](Reading& r) -> double& { return r.current[1]; }},
    Quantity{"CurrentC", [](Reading& r) -> double& { return r.current[2]; }},
    Quantity{"CurrentN", [](Reading& r) -> double& { return r.neutralCurrent; }},
    Quantity{"PowerA", [](Reading& r) -> double& { return r.load.active[0]; }},
    Quantity{"PowerB", [](Reading& r) -> double& { return r.load.active[1]; }},
    Quantity{"PowerC", [](Reading& r) -> double& { return r.load.active[2]; }},
    Quantity{"PowerTotal", [](Reading& r) -> double& { return r.activePower; }},
    Quantity{"ReactivePowerTotal", [](Reading& r) -> double& { return r.reactivePower; }},
    Quantity{"ApparentPowerTotal", [](Reading& r) -> double& { return r.apparentPower; }},
    Quantity{"PowerFactor", [](Reading& r) -> double& { return r.powerFactor; }},
    Quantity{"Frequency", [](Reading& r) -> double& { return r.frequency; }},
    Quantity{"VoltageUnbalance", [](Reading& r) -> double& { return r.unbalance; }},
    Quantity{"EnclosureTemperature", [](Reading& r) -> double& { return r.temperature; }},
    Quantity{"PowerDemand", [](Reading& r) -> double& { return r.powerDemand; }, true},
    Quantity{"EnergyImported", [](Reading& r) -> double& { return r.activeEnergy; }, true},
    Quantity{"EnergyReactive", [](Reading& r) -> double& { return r.reactiveEnergy; }, true},
    Quantity{"OperatingTime", [](Reading& r) -> double& { return r.operatingTime; }, true},
    Quantity{"BreakerOperations", [](Reading& r) -> double& { return r.breakerOperations; }, true},
};

// Points that operators write and the simulation follows, where a device has them.
struct Setpoint {
  const char* name;
  double Conditions::*condition;
};

constexpr std::array kSetpoints = {
    Setpoint{"NominalVoltage", &Conditions::nominalVoltage},
    Setpoint{"RatedCurrent", &Conditions::ratedCurrent},
    Setpoint{"DemandInterval", &Conditions::demandInterval},
    Setpoint{"PowerFactorTarget", &Conditions::powerFactorTarget},
};

std::optional<CElement> fetch(toolkit::CCds& cds, const std::string& path) {
  CPath leaf(path);
  api_status_t status = API_NONE;
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
  if (leaf.normalize() != 0 || cds.get_leaf(leaf, status, element, source) != 0 ||
      status != API_SUCCESS) {
    return std::nullopt;
  }
  return element;
}

std::string textOf(toolkit::CCds& cds, const std::string& path) {
  const auto element = fetch(cds, path);
  return element ? element->to_string() : std::string();
}

// The breaker's number for "closed": its index among the labels, or 1.
std::int32_t closedState(toolkit::CCds& cds, const std::string& device) {
  std::vector<std::string> labels;
  CElement::split_string(labels, textOf(cds, device + "/Breaker:PossibleValues"), ';');
  const auto found = std::find(labels.begin(), labels.end(), "Closed");
  return found == labels.end() ? 1 : static_cast<std::int32_t>(found - labels.begin());
}

// 60 Hz where a device of the store says so before the simulation has moved it.
double nominalFrequency(toolkit::CCds& cds) {
  std::vector<std::string> devices;
  toolkit::CCds_Utils::GetDeviceList(cds, devices);
  for (const std::string& device : devices) {
    const auto frequency = fetch(cds, device + "/Frequency");
    if (frequency && frequency->to_double() > 0) {
      return frequency->to_double() > 55 ? 60 : 50;
    }
  }
  return 50;
}

}  // namespace

struct Installation::Point {
  const Quantity* quantity;
  CPath path;
  CLeafReader::Handle value;
  double scale;
  toolkit::trend::CPoint trend;
  bool hasTrends;
};

struct Installation::Setting {
  double Conditions::*condition;
  CLeafReader::Handle value;
  double scale;
  double min;
  double max;
};

struct Installation::Device {
  std::string path;
  std::vector<Point> points;
  std::vector<Setting> settings;
  CLeafReader::Handle breaker;
  std::int32_t closed = 1;
};

Installation::Installation(toolkit::CCds& cds, std::uint64_t seed)
    : cds_(cds), plant_(seed, nominalFrequency(cds)) {
  std::vector<std::string> paths;
  toolkit::CCds_Utils::GetDeviceList(cds, paths);
  for (const std::string& path : paths) {
    addDevice(path, ++seed);
  }
  linkParents();
}

void Installation::addDevice(const std::string& path, std::uint64_t seed) {
  auto device = std::make_shared<Device>();
  PlantDevice physics(seed);
  device->path = path;
  for (const Quantity& quantity : kQuantities) {
    const std::string point = path + "/" + quantity.name;
    const auto value = fetch(cds_, point);
    if (!value) {
      continue;
    }
    const double scale = scaleOf(textOf(cds_, point + ":Units"));
    if (quantity.goesOn) {
      quantity.of(physics.feeder.reading()) = value->to_double() * scale;
    }
    toolkit::trend::CPoint trend;
    trend.device = path;
    trend.param.path = point;
    const bool hasTrends =
        toolkit::trend::readTraits(textOf(cds_, point + ":.TrendTraits"), trend.param);
    CPath leaf(point);
    leaf.normalize();
    device->points.push_back({&quantity, leaf, leaves_.add(point), scale, trend, hasTrends});
  }
  if (device->points.empty()) {
    return;
  }
  for (const Setpoint& setpoint : kSetpoints) {
    const std::string point = path + "/" + setpoint.name;
    const auto min = fetch(cds_, point + ":Minimum");
    const auto max = fetch(cds_, point + ":Maximum");
    device->settings.push_back({setpoint.condition, leaves_.add(point),
                                scaleOf(textOf(cds_, point + ":Units")), min ? min->to_double() : 0,
                                max ? max->to_double() : kMaxSetpoint});
  }
  device->breaker = leaves_.add(path + "/Breaker");
  device->closed = closedState(cds_, path);
  devices_.push_back(std::move(device));
  plant_.devices.push_back(physics);
}

// The nearest device above feeds a device. Sorted paths have it before its branches.
void Installation::linkParents() {
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    PlantDevice& device = plant_.devices[i];
    for (std::size_t k = 0; k < i; ++k) {
      if (devices_[i]->path.starts_with(devices_[k]->path + "/")) {
        device.parent = k;
      }
    }
    if (device.parent) {
      device.depth = plant_.devices[*device.parent].depth + 1;
    }
  }
}

void Installation::resetEnergy(std::size_t device) {
  Reading& reading = plant_.devices[device].feeder.reading();
  reading.activeEnergy = 0;
  reading.reactiveEnergy = 0;
}

std::vector<std::string> Installation::devicePaths() const {
  std::vector<std::string> paths;
  for (const auto& device : devices_) {
    paths.push_back(device->path);
  }
  return paths;
}

void Installation::readConditions(Plant& plant) const {
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    readConditions(*devices_[i], plant.devices[i].conditions);
  }
}

// A setpoint outside its range, or that cannot be read, leaves things as they are.
void Installation::readConditions(const Device& device, Conditions& conditions) const {
  for (const Setting& setting : device.settings) {
    const CElement* const element = leaves_.element(setting.value);
    const double value = element != nullptr ? element->to_double() : 0;
    if (value > 0 && value >= setting.min && value <= setting.max) {
      conditions.*setting.condition = value * setting.scale;
    }
  }
  if (const CElement* const breaker = leaves_.element(device.breaker)) {
    conditions.closed = breaker->to_int() == device.closed;
  }
}

std::optional<CElement> Installation::elementOf(const Point& point, Reading& reading) const {
  const CElement* const stored = leaves_.element(point.value);
  if (stored == nullptr) {
    return std::nullopt;
  }
  CElement element(point.quantity->of(reading) / point.scale);
  element.convert_type(stored->type());
  return element;
}

bool Installation::write(toolkit::CLeafBatch& batch) const {
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    Reading reading = plant_.devices[i].feeder.reading();
    for (const Point& point : devices_[i]->points) {
      if (auto element = elementOf(point, reading)) {
        batch.add(point.path, std::move(*element));
      }
    }
  }
  const api_status_t status = batch.write(cds_, kSource);
  return status == API_SUCCESS || status == API_BAD_PATH;
}

bool Installation::advance(double seconds) {
  if (!leaves_.read(cds_)) {
    return false;
  }
  readConditions(plant_);
  plant_.step(seconds);
  return true;
}

bool Installation::step(double seconds, timeval stamp) {
  toolkit::CLeafBatch batch(stamp);
  return advance(seconds) && write(batch);
}

std::vector<toolkit::trend::CPoint> Installation::points() const {
  std::vector<toolkit::trend::CPoint> points;
  for (const auto& device : devices_) {
    for (const Point& point : device->points) {
      if (point.hasTrends) {
        points.push_back(point.trend);
      }
    }
  }
  return points;
}

std::vector<double> Installation::values(const Plant& plant) const {
  std::vector<double> values;
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    Reading reading = plant.devices[i].feeder.reading();
    for (const Point& point : devices_[i]->points) {
      if (!point.hasTrends) {
        continue;
      }
      const auto element = elementOf(point, reading);
      values.push_back(element ? element->to_double() : std::numeric_limits<double>::quiet_NaN());
    }
  }
  return values;
}

std::optional<Plant> Installation::copyPlant() {
  if (!leaves_.read(cds_)) {
    return std::nullopt;
  }
  Plant copy = plant_;
  readConditions(copy);
  for (PlantDevice& device : copy.devices) {
    device.conditions.closed = true;
  }
  return copy;
}

}  // namespace sim
