// The devices of the data store, moved by the simulation.
//
// Every device of the store that has at least one point of a known name (VoltageA, PowerTotal,
// Breaker and so on, see installation.cpp) becomes a feeder; a device below another one is a branch
// of it and part of its load. A step reads what an operator may have changed (breaker, nominal
// voltage, rated current), moves the physics and writes all values that exist in one batch, in the
// units and types that the store has for them. A point that is missing is left alone, and never
// made.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plant.h"
#include "toolkit/cds.h"
#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/trend_points.h"

namespace sim {

// Who writes, as the store keeps it.
inline constexpr const char* kSource = "devsim";
// Its system events.
inline constexpr const char* kStarted = "Simulated meter started";
inline constexpr const char* kStopped = "Simulated meter stopped";
// Of a setpoint without a Maximum.
inline constexpr double kMaxSetpoint = 1e6;
// Points of a device, those that it has, that resetEnergy() sets to zero.
inline constexpr std::array kEnergyCounters = {"EnergyImported", "EnergyReactive"};

class Installation {
 public:
  // `cds` must be open and outlive this object. Counters go on from what the store holds.
  Installation(toolkit::CCds& cds, std::uint64_t seed);

  std::size_t devices() const { return devices_.size(); }
  // Of the devices, as in the plant.
  std::vector<std::string> devicePaths() const;
  const Plant& plant() const { return plant_; }

  // Moves everything by so many seconds. False when the store cannot be read, and nothing moves.
  bool advance(double seconds);
  // Writes the values with what the batch has already. False when the store refused.
  bool write(toolkit::CLeafBatch& batch) const;
  // Both, with this time stamp.
  bool step(double seconds, timeval stamp);

  // The device's energy counters go on from zero; the store has it after the next step.
  void resetEnergy(std::size_t device);

  // What it moves and the model keeps trends of, device by device.
  std::vector<toolkit::trend::CPoint> points() const;
  // The readings of a plant at these points, in their units and types; NaN for a point that the
  // store did not have when it was last read.
  std::vector<double> values(const Plant& plant) const;
  std::vector<double> values() const { return values(plant_); }
  // A copy of the physics as the store's setpoints have it, all breakers closed. None when the
  // store cannot be read.
  std::optional<Plant> copyPlant();

 private:
  struct Device;
  struct Point;
  struct Setting;

  void addDevice(const std::string& path, std::uint64_t seed);
  void linkParents();
  void readConditions(Plant& plant) const;
  void readConditions(const Device& device, Conditions& conditions) const;
  // None where the store had no such point when it was last read.
  std::optional<toolkit::CElement> elementOf(const Point& point, Reading& reading) const;

  toolkit::CCds& cds_;
  Plant plant_;
  // As in the plant. Sorted by path: parents before their branches.
  std::vector<std::shared_ptr<Device>> devices_;

  toolkit::CLeafReader leaves_;  // of all devices
};

}  // namespace sim
