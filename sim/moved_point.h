// A point that the simulation moves.
#pragma once

#include <string>

namespace sim {

enum class PointKind { kMeasurement, kPowerFactor, kCounter };

struct MovedPoint {
  std::string device;
  std::string path;
  PointKind kind = PointKind::kMeasurement;
};

}  // namespace sim
