// The samples of a snapshot as one blob: for each parameter minimum, maximum, average and actual
// value, each as a little-endian IEEE 754 double. NaN: absent.
#pragma once

#include <string>
#include <vector>

#include "toolkit/trend.h"

namespace toolkit::logs {

// Does not own the bytes.
class PackedSamples {
 public:
  PackedSamples(const char* bytes, std::size_t size) : bytes_(bytes), size_(size) {}
  // All values are absent beyond the end.
  trend::CSample at(std::size_t index) const;

 private:
  const char* bytes_;
  std::size_t size_;
};

std::string packed(const std::vector<trend::CSample>& samples);

}  // namespace toolkit::logs
