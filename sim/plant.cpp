#include "plant.h"

namespace sim {

namespace {

constexpr double kDropPerLevel = 0.004;

}  // namespace

// Voltage comes from above, load from below: the branches go first and add theirs to their
// parents'.
void Plant::step(double seconds) {
  grid_.step(seconds);
  for (PlantDevice& device : devices) {
    const Conditions* above = device.parent ? &devices[*device.parent].conditions : nullptr;
    device.conditions.live = above == nullptr || (above->live && above->closed);
    device.conditions.voltageDrop = kDropPerLevel * device.depth;
    device.conditions.downstream = {};
  }
  for (std::size_t index = devices.size(); index-- > 0;) {
    PlantDevice& device = devices[index];
    device.feeder.step(seconds, grid_, device.conditions);
    if (!device.parent) {
      continue;
    }
    Load& upstream = devices[*device.parent].conditions.downstream;
    const Load& own = device.feeder.reading().load;
    for (std::size_t i = 0; i < own.active.size(); ++i) {
      upstream.active[i] += own.active[i];
      upstream.reactive[i] += own.reactive[i];
    }
  }
}

}  // namespace sim
