// A three-phase installation as its meters see it: pure physics, no store, no clock.
//
// Grid is the supply, common to all devices. A Feeder is one metered point of it: its own load and
// what the feeders below it draw. Each step moves both by any number of seconds; the same seed and
// the same steps give the same readings. All quantities are in plain units: volts, amperes, watts,
// watt-hours, seconds.
#pragma once

#include <array>
#include <cstdint>
#include <random>

namespace sim {

using Phases = std::array<double, 3>;

// A value that wanders about 0 with the deviation `sigma` and forgets where it was within `tau`
// seconds.
class Drift {
 public:
  Drift(double sigma, double tau) : sigma_(sigma), tau_(tau) {}
  double step(double seconds, std::mt19937_64& random);
  double value() const { return value_; }

 private:
  double sigma_;
  double tau_;
  double value_ = 0;
};

// Voltage sags of the supply, from a generator of its own: without a sag, everything is as if there
// were none.
class Sags {
 public:
  explicit Sags(std::uint64_t seed);
  void step(double seconds);
  const Phases& left() const { return left_; }  // share of the voltage

 private:
  void turn();
  double between(double min, double max);
  double calm();

  std::mt19937_64 random_;
  bool sagging_ = false;
  double remaining_;  // seconds until that changes
  Phases left_ = {1, 1, 1};
};

class Grid {
 public:
  Grid(std::uint64_t seed, double nominalFrequency);
  void step(double seconds);

  const Phases& voltage() const { return voltage_; }  // share of the nominal one
  double frequency() const { return frequency_; }
  double timeOfDay() const { return timeOfDay_; }  // seconds; a run begins at 10 o'clock

 private:
  std::mt19937_64 random_;
  double nominalFrequency_;
  double frequency_;
  double timeOfDay_;
  Phases voltage_ = {1, 1, 1};
  Drift level_;
  Drift frequencyDrift_;
  std::array<Drift, 3> phaseDrift_;
  Sags sags_;
};

// Power drawn, a phase each.
struct Load {
  Phases active = {};
  Phases reactive = {};
};

struct Reading {
  Phases voltage = {};
  Phases lineVoltage = {};  // A to B, B to C, C to A
  Phases current = {};
  Load load;
  double neutralCurrent = 0;
  double activePower = 0;
  double reactivePower = 0;
  double apparentPower = 0;
  double powerFactor = 1;
  double frequency = 0;
  double unbalance = 0;    // percent
  double temperature = 0;  // degrees Celsius
  // These go on from what they are set to.
  double powerDemand = 0;  // active power, averaged over the demand interval
  double activeEnergy = 0;
  double reactiveEnergy = 0;
  double operatingTime = 0;
  double breakerOperations = 0;
};

// What a feeder is told from outside before a step.
struct Conditions {
  double nominalVoltage = 230;  // phase to neutral
  double ratedCurrent = 100;
  double demandInterval = 900;   // seconds
  double powerFactorTarget = 0;  // what the capacitor bank corrects to; 0: there is none
  double voltageDrop = 0;        // share lost on the way to this feeder
  bool live = true;              // voltage arrives
  bool closed = true;            // its own breaker, behind the meter
  Load downstream;               // what the feeders below draw
};

class Feeder {
 public:
  explicit Feeder(std::uint64_t seed);
  void step(double seconds, const Grid& grid, const Conditions& conditions);

  const Reading& reading() const { return reading_; }
  Reading& reading() { return reading_; }

 private:
  void measureVoltages(const Grid& grid, const Conditions& conditions);
  Load draw(double seconds, const Grid& grid, const Conditions& conditions);
  static void correctPowerFactor(Load& load, double target);
  void measureLoad(const Load& load);
  void warmUp(double seconds, const Conditions& conditions);
  void count(double seconds, const Conditions& conditions);

  std::mt19937_64 random_;
  Drift demand_;
  Drift powerFactor_;
  std::array<Drift, 3> balance_;
  bool wasClosed_ = true;
  bool started_ = false;
  double enclosure_ = 0;
  Reading reading_;
};

}  // namespace sim
