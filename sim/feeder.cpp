#include "feeder.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace sim {

namespace {

constexpr double kHour = 3600;
constexpr double kDay = 24 * kHour;
// Between two sags, and before the first one; on average, and at least.
constexpr double kMeanCalm = 900;
constexpr double kMinCalm = 300;

double noise(std::mt19937_64& random, double sigma) {
  return std::normal_distribution<double>(0, sigma)(random);
}

double sum(const Phases& phases) {
  return std::accumulate(phases.begin(), phases.end(), 0.0);
}

// Share of the rated current that a works with one shift draws at a time of day.
double loadCurve(double timeOfDay) {
  const double hour = timeOfDay / kHour;
  const double shift = std::exp(-std::pow((hour - 11.5) / 4.5, 4));
  const double evening = std::exp(-std::pow((hour - 19.0) / 2.0, 2));
  return 0.18 + 0.37 * shift + 0.10 * evening;
}

// Length of the difference of two phasors that are a third of a turn apart.
double lineToLine(double a, double b) {
  return std::sqrt(a * a + b * b + a * b);
}

double neutral(const Phases& i) {
  const double square =
      i[0] * i[0] + i[1] * i[1] + i[2] * i[2] - i[0] * i[1] - i[1] * i[2] - i[2] * i[0];
  return std::sqrt(std::max(0.0, square));
}

double unbalance(const Phases& voltage) {
  const double mean = sum(voltage) / 3;
  if (mean <= 0) {
    return 0;
  }
  double worst = 0;
  for (const double v : voltage) {
    worst = std::max(worst, std::fabs(v - mean));
  }
  return 100 * worst / mean;
}

}  // namespace

double Drift::step(double seconds, std::mt19937_64& random) {
  const double keep = std::exp(-seconds / tau_);
  value_ = value_ * keep + noise(random, sigma_) * std::sqrt(1 - keep * keep);
  return value_;
}

Sags::Sags(std::uint64_t seed) : random_(~seed), remaining_(calm()) {}

// A long step may pass over a sag, or over many.
void Sags::step(double seconds) {
  remaining_ -= seconds;
  while (remaining_ <= 0) {
    turn();
  }
}

void Sags::turn() {
  sagging_ = !sagging_;
  left_ = {1, 1, 1};
  if (!sagging_) {
    remaining_ += calm();
    return;
  }
  remaining_ += between(4, 12);
  const double share = between(0.40, 0.88);
  const std::uint64_t first = random_() % 3;
  const std::uint64_t phases = 1 + random_() % 3;
  for (std::uint64_t i = 0; i < phases; ++i) {
    left_.at((first + i) % 3) = share;
  }
}

double Sags::between(double min, double max) {
  return std::uniform_real_distribution<double>(min, max)(random_);
}

double Sags::calm() {
  return kMinCalm + std::exponential_distribution<double>(1 / (kMeanCalm - kMinCalm))(random_);
}

Grid::Grid(std::uint64_t seed, double nominalFrequency)
    : random_(seed),
      nominalFrequency_(nominalFrequency),
      frequency_(nominalFrequency),
      timeOfDay_(10 * kHour),
      level_(0.012, 900),
      frequencyDrift_(0.015, 120),
      phaseDrift_{Drift(0.003, 400), Drift(0.003, 400), Drift(0.003, 400)},
      sags_(seed) {}

void Grid::step(double seconds) {
  timeOfDay_ = std::fmod(timeOfDay_ + seconds, kDay);
  frequency_ = nominalFrequency_ + frequencyDrift_.step(seconds, random_) + noise(random_, 0.001);
  const double level = level_.step(seconds, random_);
  sags_.step(seconds);
  for (std::size_t i = 0; i < voltage_.size(); ++i) {
    voltage_[i] = (1 + level + phaseDrift_[i].step(seconds, random_) + noise(random_, 0.0004)) *
                  sags_.left()[i];
  }
}

Feeder::Feeder(std::uint64_t seed)
    : random_(seed),
      demand_(0.06, 240),
      powerFactor_(0.015, 400),
      balance_{Drift(0.04, 500), Drift(0.04, 500), Drift(0.04, 500)} {}

void Feeder::step(double seconds, const Grid& grid, const Conditions& conditions) {
  measureVoltages(grid, conditions);
  Load load = draw(seconds, grid, conditions);
  correctPowerFactor(load, conditions.powerFactorTarget);
  measureLoad(load);
  warmUp(seconds, conditions);
  count(seconds, conditions);
  started_ = true;
}

void Feeder::measureVoltages(const Grid& grid, const Conditions& conditions) {
  const double nominal = conditions.live ? conditions.nominalVoltage : 0;
  for (std::size_t i = 0; i < 3; ++i) {
    reading_.voltage[i] = nominal * (1 - conditions.voltageDrop) * grid.voltage()[i];
  }
  for (std::size_t i = 0; i < 3; ++i) {
    reading_.lineVoltage[i] = lineToLine(reading_.voltage[i], reading_.voltage[(i + 1) % 3]);
  }
  reading_.frequency = conditions.live ? grid.frequency() : 0;
  reading_.unbalance = unbalance(reading_.voltage);
}

// The load lives on while the breaker is open, and comes back as it would have been.
Load Feeder::draw(double seconds, const Grid& grid, const Conditions& conditions) {
  const double demand =
      std::max(0.02, loadCurve(grid.timeOfDay()) * (1 + demand_.step(seconds, random_)));
  const double factor = std::clamp(0.93 + powerFactor_.step(seconds, random_), 0.75, 0.995);
  const bool flows = conditions.live && conditions.closed;
  Load load;
  for (std::size_t i = 0; i < 3; ++i) {
    const double share = 1 + balance_[i].step(seconds, random_) + noise(random_, 0.004);
    const double apparent =
        reading_.voltage[i] * conditions.ratedCurrent * demand * std::max(0.0, share);
    if (!flows) {
      continue;
    }
    load.active[i] = apparent * factor + conditions.downstream.active[i];
    load.reactive[i] =
        apparent * std::sqrt(1 - factor * factor) + conditions.downstream.reactive[i];
  }
  return load;
}

// The bank takes reactive power away, down to what the target leaves.
void Feeder::correctPowerFactor(Load& load, double target) {
  if (target <= 0 || target > 1) {
    return;
  }
  const double share = std::sqrt(1 - target * target) / target;
  for (std::size_t i = 0; i < 3; ++i) {
    load.reactive[i] = std::min(load.reactive[i], load.active[i] * share);
  }
}

void Feeder::measureLoad(const Load& load) {
  reading_.load = load;
  for (std::size_t i = 0; i < 3; ++i) {
    const double apparent = std::hypot(load.active[i], load.reactive[i]);
    reading_.current[i] = reading_.voltage[i] > 0 ? apparent / reading_.voltage[i] : 0;
  }
  reading_.neutralCurrent = neutral(reading_.current);
  reading_.activePower = sum(load.active);
  reading_.reactivePower = sum(load.reactive);
  reading_.apparentPower = std::hypot(reading_.activePower, reading_.reactivePower);
  reading_.powerFactor =
      reading_.apparentPower > 0 ? reading_.activePower / reading_.apparentPower : 1;
}

void Feeder::warmUp(double seconds, const Conditions& conditions) {
  const double share = sum(reading_.current) / (3 * conditions.ratedCurrent);
  const double target = 24 + 30 * share * share;
  const double keep = started_ ? std::exp(-seconds / 1200) : 0;
  enclosure_ = target + (enclosure_ - target) * keep;
  reading_.temperature = enclosure_ + noise(random_, 0.02);
}

void Feeder::count(double seconds, const Conditions& conditions) {
  const double keep = std::exp(-seconds / conditions.demandInterval);
  reading_.powerDemand =
      reading_.activePower + (reading_.powerDemand - reading_.activePower) * keep;
  reading_.activeEnergy += reading_.activePower * seconds / kHour;
  reading_.reactiveEnergy += reading_.reactivePower * seconds / kHour;
  if (conditions.live) {
    reading_.operatingTime += seconds;
  }
  if (started_ && wasClosed_ && !conditions.closed) {
    ++reading_.breakerOperations;
  }
  wasClosed_ = conditions.closed;
}

}  // namespace sim
