#include "harmonics.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace sim {

namespace {

constexpr double kRounding = 1e-9;

Harmonic harmonicOf(const std::vector<double>& samples, std::size_t cycles, int order) {
  const std::size_t turns = cycles * static_cast<std::size_t>(order);
  const double step = 2 * std::numbers::pi / static_cast<double>(samples.size());
  std::complex<double> sum;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    // Whole turns are taken away while they are exact.
    sum += std::polar(samples[i], -step * static_cast<double>(i * turns % samples.size()));
  }
  const double magnitude =
      std::numbers::sqrt2 * std::abs(sum) / static_cast<double>(samples.size());
  // A sine begins a quarter of a turn after the cosine.
  const double phase = std::arg(sum) * 180 / std::numbers::pi + 90;
  return {order, magnitude, phase > 180 ? phase - 360 : phase};
}

}  // namespace

std::vector<Harmonic> harmonicsOf(const std::vector<double>& samples, std::size_t cycles,
                                  int maxOrder) {
  std::vector<Harmonic> harmonics;
  double largest = 0;
  for (int order = 1; order <= maxOrder && !samples.empty(); ++order) {
    harmonics.push_back(harmonicOf(samples, cycles, order));
    largest = std::max(largest, harmonics.back().magnitude);
  }
  for (Harmonic& harmonic : harmonics) {
    if (harmonic.magnitude <= kRounding * largest) {
      harmonic = {harmonic.order, 0, 0};
    }
  }
  return harmonics;
}

}  // namespace sim
