#include "installation.h"

#include <algorithm>
#include <array>
#include <optional>

#include "toolkit/utils.h"

namespace sim {

namespace {

using toolkit::CElement;
using toolkit::CPath;

constexpr const char* kSource = "devsim";
constexpr double kDropPerLevel = 0.004;

struct Quantity {
  const char* name;
  double& (*of)(Reading&);
  bool counts = false;  // goes on from the store's value
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
constexpr double kLargestSetpoint = 1e6;

// How many plain units one unit of the store is: "kilowatts" are 1000 watts.
double scaleOf(const std::string& units) {
  if (units.starts_with("kilo")) return 1e3;
  if (units.starts_with("mega")) return 1e6;
  if (units.starts_with("milli")) return 1e-3;
  return units == "minutes" ? 60 : units == "hours" ? 3600 : 1;
}

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

// The breaker's number for "closed": its place among the labels, or 1.
std::int32_t closedState(toolkit::CCds& cds, const std::string& device) {
  std::vector<std::string> labels;
  CElement::split_string(labels, textOf(cds, device + "/Breaker:PossibleValues"), ';');
  const auto found = std::find(labels.begin(), labels.end(), "Closed");
  return found == labels.end() ? 1 : static_cast<std::int32_t>(found - labels.begin());
}

// 60 Hz where a device of the store says so before the simulation has moved it.
double nominalFrequency(toolkit::CCds& cds, const std::vector<std::string>& devices) {
  for (const std::string& device : devices) {
    const auto frequency = fetch(cds, device + "/Frequency");
    if (frequency && frequency->to_double() > 0) return frequency->to_double() > 55 ? 60 : 50;
  }
  return 50;
}

}  // namespace

struct Installation::Point {
  const Quantity* quantity;
  std::size_t index;  // in the batch
  double scale;
};

struct Installation::Setting {
  double Conditions::*condition;
  std::size_t index;  // in the batch
  double scale;
  double least;
  double most;
};

struct Installation::Device {
  explicit Device(std::uint64_t seed) : feeder(seed) {}

  std::string path;
  Device* parent = nullptr;
  int depth = 0;
  Feeder feeder;
  Conditions conditions;
  std::vector<Point> points;
  std::vector<Setting> settings;
  std::size_t breaker = 0;  // batch place
  std::int32_t closed = 1;
};

Installation::Installation(toolkit::CCds& cds, std::uint64_t seed) : cds_(cds) {
  std::vector<std::string> paths;
  toolkit::CCds_Utils::GetDeviceList(cds, paths);
  grid_ = std::make_unique<Grid>(seed, nominalFrequency(cds, paths));
  for (const std::string& path : paths) addDevice(path, ++seed);
  linkParents();
}

void Installation::addDevice(const std::string& path, std::uint64_t seed) {
  auto device = std::make_shared<Device>(seed);
  device->path = path;
  const auto addPath = [this](const std::string& text) {
    paths_.emplace_back(text).normalize();
    return paths_.size() - 1;
  };
  for (const Quantity& quantity : kQuantities) {
    const std::string point = path + "/" + quantity.name;
    const auto value = fetch(cds_, point);
    if (!value) continue;
    const double scale = scaleOf(textOf(cds_, point + ":Units"));
    if (quantity.counts) quantity.of(device->feeder.reading()) = value->to_double() * scale;
    device->points.push_back({&quantity, addPath(point), scale});
  }
  if (device->points.empty()) return;
  for (const Setpoint& setpoint : kSetpoints) {
    const std::string point = path + "/" + setpoint.name;
    const auto least = fetch(cds_, point + ":Minimum");
    const auto most = fetch(cds_, point + ":Maximum");
    device->settings.push_back(
        {setpoint.condition, addPath(point), scaleOf(textOf(cds_, point + ":Units")),
         least ? least->to_double() : 0, most ? most->to_double() : kLargestSetpoint});
  }
  device->breaker = addPath(path + "/Breaker");
  device->closed = closedState(cds_, path);
  devices_.push_back(std::move(device));
}

// The nearest device above feeds a device. Sorted paths have it before its branches.
void Installation::linkParents() {
  for (const auto& device : devices_) {
    for (const auto& other : devices_) {
      if (device->path.starts_with(other->path + "/")) device->parent = other.get();
    }
    device->depth = device->parent != nullptr ? device->parent->depth + 1 : 0;
  }
}

bool Installation::readStore() {
  return cds_.get_leaves(paths_, statuses_, elements_, sources_) == 0;
}

// A setpoint outside its range, or that cannot be read, leaves things as they are.
void Installation::readConditions(Device& device) {
  Conditions& conditions = device.conditions;
  for (const Setting& setting : device.settings) {
    const double value = elements_[setting.index].to_double();
    if (statuses_[setting.index] == API_SUCCESS && value > 0 && value >= setting.least &&
        value <= setting.most) {
      conditions.*setting.condition = value * setting.scale;
    }
  }
  if (statuses_[device.breaker] == API_SUCCESS) {
    conditions.closed = elements_[device.breaker].to_int() == device.closed;
  }
  const Device* parent = device.parent;
  conditions.live = parent == nullptr || (parent->conditions.live && parent->conditions.closed);
  conditions.voltageDrop = kDropPerLevel * device.depth;
  conditions.downstream = {};
}

// Voltage comes from above, load from below: the branches go first and add theirs to their
// parents'.
void Installation::simulate(double seconds) {
  grid_->step(seconds);
  std::for_each(devices_.rbegin(), devices_.rend(),
                [&](const auto& device) { simulate(*device, seconds); });
}

void Installation::simulate(Device& device, double seconds) {
  device.feeder.step(seconds, *grid_, device.conditions);
  if (device.parent == nullptr) return;
  Load& upstream = device.parent->conditions.downstream;
  const Load& own = device.feeder.reading().load;
  for (std::size_t i = 0; i < 3; ++i) {
    upstream.active[i] += own.active[i];
    upstream.reactive[i] += own.reactive[i];
  }
}

bool Installation::writeStore(timeval stamp) {
  std::vector<CPath> paths;
  std::vector<CElement> elements;
  for (const auto& device : devices_) {
    for (const Point& point : device->points) {
      if (statuses_[point.index] != API_SUCCESS) continue;
      CElement element(point.quantity->of(device->feeder.reading()) / point.scale);
      element.convert_type(elements_[point.index].type());
      element.set_time(stamp);
      paths.push_back(paths_[point.index]);
      elements.push_back(std::move(element));
    }
  }
  if (paths.empty()) return true;
  const std::vector<pcd_tribool_t> persist(paths.size(), PCD_FALSE);
  std::vector<api_status_t> statuses;
  return cds_.set_leaves(paths, elements, persist, statuses, kSource) == 0 &&
         std::find(statuses.begin(), statuses.end(), API_STORE_FULL) == statuses.end();
}

bool Installation::step(double seconds, timeval stamp) {
  if (!readStore()) return false;
  for (const auto& device : devices_) readConditions(*device);
  simulate(seconds);
  return writeStore(stamp);
}

}  // namespace sim
