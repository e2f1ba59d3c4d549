#include "logs/samples.h"

#include <array>
#include <bit>
#include <cstring>

namespace toolkit::logs {

namespace {

using trend::COptVal;

constexpr std::size_t kValues = 4;
constexpr std::size_t kSampleBytes = kValues * sizeof(double);

std::uint64_t littleEndian(std::uint64_t bits) {
  if constexpr (std::endian::native == std::endian::little) {
    return bits;
  }
  return __builtin_bswap64(bits);
}

}  // namespace

trend::CSample PackedSamples::at(std::size_t index) const {
  if (index >= size_ / kSampleBytes) {
    return {};
  }
  std::array<std::uint64_t, kValues> bits{};
  std::memcpy(bits.data(), bytes_ + index * kSampleBytes, kSampleBytes);
  const auto value = [&](std::size_t i) {
    return COptVal(std::bit_cast<double>(littleEndian(bits.at(i))));
  };
  return {value(0), value(1), value(2), value(3)};
}

std::string packed(const std::vector<trend::CSample>& samples) {
  std::string bytes;
  bytes.reserve(samples.size() * kSampleBytes);
  for (const trend::CSample& sample : samples) {
    for (const COptVal& value : {sample.min, sample.max, sample.avg, sample.actual}) {
      const std::uint64_t bits = littleEndian(std::bit_cast<std::uint64_t>(*value));
      bytes.append(reinterpret_cast<const char*>(&bits), sizeof bits);
    }
  }
  return bytes;
}

}  // namespace toolkit::logs
