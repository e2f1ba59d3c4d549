// The harmonics of a periodic signal.
#pragma once

#include <cstddef>
#include <vector>

namespace sim {

struct Harmonic {
  int order = 1;
  double magnitude = 0;  // RMS
  double phase = 0;      // degrees of a sine at the first sample, above -180 and up to 180
};

// The orders 1 to `maxOrder`, by a discrete Fourier transform of samples that span so many whole
// cycles of the fundamental. A harmonic that is lost in the rounding of the others has magnitude
// and phase 0.
std::vector<Harmonic> harmonicsOf(const std::vector<double>& samples, std::size_t cycles,
                                  int maxOrder);

}  // namespace sim
