// Costs of numbers on the wire: a number's text, against the format that the engine brings along,
// and a number as an element of a reply.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <vector>

#include "reply.h"

namespace {

constexpr std::size_t kNumbers = 20000;

std::vector<double> measurements() {
  std::mt19937_64 random(1);
  std::normal_distribution<double> voltage(230, 5);
  std::vector<double> numbers(kNumbers);
  for (double& number : numbers) {
    number = voltage(random);
  }
  return numbers;
}

template <class Format>
void formatNumbers(benchmark::State& state, Format format) {
  const std::vector<double> numbers = measurements();
  for ([[maybe_unused]] auto _ : state) {
    for (const double number : numbers) {
      benchmark::DoNotOptimize(format(number));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(numbers.size()));
}

void numberText(benchmark::State& state) {
  const SoapContext ctx = newContext();
  formatNumbers(state, [&ctx](double number) { return soap_double2s(ctx.get(), number); });
}
BENCHMARK(numberText);

void engineFormat(benchmark::State& state) {
  char text[64];
  formatNumbers(
      state, [&text](double number) { return std::snprintf(text, sizeof text, "%.17lG", number); });
}
BENCHMARK(engineFormat);

void numberElements(benchmark::State& state) {
  const SoapContext ctx = newContext();
  nsvk__getWaveDataResponse reply;
  reply.data = measurements();
  for ([[maybe_unused]] auto _ : state) {
    encode(ctx.get(), reply, "nsvk:getWaveDataResponse");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(reply.data.size()));
}
BENCHMARK(numberElements);

// An item is a double; each comes with the Boolean that says whether it counts.
void sampleElements(benchmark::State& state) {
  constexpr std::size_t kValues = 4;
  const std::vector<double> numbers = measurements();
  const SoapContext ctx = newContext();
  nsvk__getTrendDataResponse reply;
  std::vector<stSample>& samples = reply.data.samples.emplace_back().data;
  samples.resize(kNumbers / kValues);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    stSample& sample = samples[i];
    sample.min = numbers[kValues * i];
    sample.max = numbers[kValues * i + 1];
    sample.avg = numbers[kValues * i + 2];
    sample.actual = numbers[kValues * i + 3];
    sample.minValid = sample.maxValid = sample.avgValid = sample.actualValid = true;
  }
  for ([[maybe_unused]] auto _ : state) {
    encode(ctx.get(), reply, "nsvk:getTrendDataResponse");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kNumbers));
}
BENCHMARK(sampleElements);

}  // namespace

BENCHMARK_MAIN();
