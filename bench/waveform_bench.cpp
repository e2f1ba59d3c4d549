// Costs of waveform records: the handlers on a BINARY record of 20,000 samples and 55 channels,
// against reading the record's bytes and copying one channel out of them.
//
// The record is in $TMPDIR.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "front/global_data.h"
#include "reply.h"
#include "scratch.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSamples = 20'000;
constexpr std::size_t kChannels = 55;
constexpr std::size_t kRow = 8 + 2 * kChannels;
constexpr std::size_t kWanted = 27;

void append(std::string& bytes, std::uint32_t number, std::size_t size) {
  for (; size > 0; --size, number >>= 8) {
    bytes += static_cast<char>(number);
  }
}

// The record, in a folder that goes with the program.
class Site {
 public:
  static Site& get() {
    static Site site;
    return site;
  }
  ~Site() { __psyslog = nullptr; }
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  std::string file(const char* extension) const { return folder_.path() / "record" += extension; }
  _global_data_t& global() { return global_; }

 private:
  Site() {
    __psyslog = &log_;
    global_.waveFolder = folder_.path();
    std::string config = "Bench,B1,1999\r\n55,55A,0D\r\n";
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
      const std::string number = std::to_string(channel);
      config.append(number).append(",C").append(number);
      config.append(",A,,V,0.01,0.5,0,-32767,32767,1,1,P\r\n");
    }
    config += "50\r\n1\r\n12800," + std::to_string(kSamples) +
              "\r\n01/02/2026,00:00:00.000000\r\n01/02/2026,00:00:00.500000\r\nBINARY\r\n1\r\n";
    std::string data;
    for (std::size_t sample = 0; sample < kSamples; ++sample) {
      append(data, static_cast<std::uint32_t>(sample + 1), 4);
      append(data, static_cast<std::uint32_t>(sample * 78), 4);
      for (std::size_t channel = 0; channel < kChannels; ++channel) {
        append(data, static_cast<std::uint32_t>(sample * channel % 30'000), 2);
      }
    }
    std::ofstream(file(".cfg"), std::ios::binary) << config;
    std::ofstream(file(".dat"), std::ios::binary) << data;
    std::ofstream(file(".hdr"), std::ios::binary) << "Event Description: bench\r\n";
  }

  toolkit::CSysLog log_{"waveform_bench", -1, false, false, false};
  ScratchFolder folder_{"waveform-bench"};
  _global_data_t global_;
};

std::string contentsOf(const std::string& file) {
  std::string bytes(fs::file_size(file), '\0');
  std::ifstream(file, std::ios::binary).read(bytes.data(), static_cast<long>(bytes.size()));
  return bytes;
}

void readAndCopy(benchmark::State& state) {
  const Site& site = Site::get();
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(contentsOf(site.file(".cfg")));
    benchmark::DoNotOptimize(contentsOf(site.file(".hdr")));
    const std::string data = contentsOf(site.file(".dat"));
    std::vector<double> channel(kSamples);
    for (std::size_t sample = 0; sample < kSamples; ++sample) {
      std::int16_t value = 0;
      std::memcpy(&value, data.data() + sample * kRow + 8 + 2 * kWanted, sizeof value);
      channel[sample] = value;
    }
    benchmark::DoNotOptimize(channel);
  }
}
BENCHMARK(readAndCopy)->Unit(benchmark::kMicrosecond);

SoapContext newContextOfSite() {
  SoapContext ctx = newContext();
  ctx->user = &Site::get().global();
  return ctx;
}

void configHandler(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  std::string url = "/waveforms/record.cfg";
  for ([[maybe_unused]] auto _ : state) {
    nsvk__getWaveConfigResponse response;
    nsvk__getWaveformConfig(ctx.get(), nullptr, &url, response);
    check(response.analogChannelNames.size() == kChannels, response.result);
  }
}
BENCHMARK(configHandler)->Unit(benchmark::kMicrosecond);

void askData(struct soap* ctx, nsvk__getWaveDataResponse& response) {
  nsvk__getWaveDataRequest request;
  request.url = "/waveforms/record.cfg";
  request.channel = "C" + std::to_string(kWanted);
  nsvk__getWaveformData(ctx, &request, response);
  check(response.data.size() == kSamples, response.result);
}

void dataHandler(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  for ([[maybe_unused]] auto _ : state) {
    nsvk__getWaveDataResponse response;
    askData(ctx.get(), response);
  }
}
BENCHMARK(dataHandler)->Unit(benchmark::kMicrosecond);

void dataEncoding(benchmark::State& state) {
  const SoapContext ctx = newContextOfSite();
  nsvk__getWaveDataResponse response;
  askData(ctx.get(), response);
  for ([[maybe_unused]] auto _ : state) {
    encode(ctx.get(), response, "nsvk:getWaveDataResponse");
  }
}
BENCHMARK(dataEncoding)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
