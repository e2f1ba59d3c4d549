// The physics of all devices together: the supply, the feeders, and which of them feeds which. No
// store, no clock; a copy goes its own way.
#pragma once

#include <optional>
#include <vector>

#include "feeder.h"

namespace sim {

struct PlantDevice {
  explicit PlantDevice(std::uint64_t seed) : feeder(seed) {}

  Feeder feeder;
  Conditions conditions;              // the setpoints and the breaker; a step makes the others
  std::optional<std::size_t> parent;  // index of the device that feeds this one, before its own
  int depth = 0;
};

class Plant {
 public:
  Plant(std::uint64_t seed, double nominalFrequency) : grid_(seed, nominalFrequency) {}

  void step(double seconds);
  const Grid& grid() const { return grid_; }

  std::vector<PlantDevice> devices;

 private:
  Grid grid_;
};

}  // namespace sim
