#include "waveform.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <numbers>
#include <utility>
#include <vector>

#include "toolkit/element.h"
#include "toolkit/time.h"

namespace sim {

namespace {

constexpr std::size_t kSamples = WaveformRecord::kSamples;
constexpr std::size_t kTrigger = WaveformRecord::kTrigger;
constexpr const char* kPhaseNames = "ABC";
constexpr double kMaxCounts = 32767;  // -32768 says that a sample is missing
constexpr std::size_t kMaxFieldLength = 64;
// Order and share of what the rectifiers among the loads add to the current, and of what that
// leaves on the voltage.
using Harmonics = std::array<std::pair<int, double>, 2>;
constexpr Harmonics kCurrentHarmonics = {{{5, 0.04}, {7, 0.02}}};
constexpr Harmonics kVoltageHarmonics = {{{5, 0.012}, {7, 0.006}}};

using Samples = std::vector<double>;

struct Channel {
  std::string name;
  std::size_t phase;
  const char* unit;
  Samples samples;
  double factor;  // of one count
};

const Moment& momentAt(const VoltageFall& fall, std::size_t sample) {
  return sample < kTrigger ? fall.before : fall.after;
}

// Of the phase's voltage.
double angleAt(std::size_t sample, std::size_t phase) {
  constexpr double kTurn = 2 * std::numbers::pi;
  return kTurn * (static_cast<double>(sample) / WaveformRecord::kSamplesACycle -
                  static_cast<double>(phase) / 3);
}

// Of an effective value of 1: the harmonics are part of what was measured.
double waveAt(double angle, const Harmonics& harmonics) {
  double wave = std::sin(angle);
  double square = 1;
  for (const auto& [order, share] : harmonics) {
    wave += share * std::sin(order * angle);
    square += share * share;
  }
  return std::numbers::sqrt2 * wave / std::sqrt(square);
}

double voltageAt(const Moment& moment, std::size_t phase, std::size_t sample) {
  return moment.voltage[phase] * waveAt(angleAt(sample, phase), kVoltageHarmonics);
}

double currentAt(const Moment& moment, std::size_t phase, std::size_t sample) {
  const double lag = std::acos(std::clamp(moment.powerFactor, 0.0, 1.0));
  return moment.current[phase] * waveAt(angleAt(sample, phase) - lag, kCurrentHarmonics);
}

Samples voltages(const VoltageFall& fall, std::size_t phase) {
  Samples samples(kSamples);
  for (std::size_t i = 0; i < kSamples; ++i) {
    samples[i] = voltageAt(momentAt(fall, i), phase, i);
  }
  return samples;
}

Samples currents(const VoltageFall& fall, std::size_t phase) {
  Samples samples(kSamples);
  for (std::size_t i = 0; i < kSamples; ++i) {
    samples[i] = currentAt(momentAt(fall, i), phase, i);
  }
  return samples;
}

Channel channelOf(char quantity, std::size_t phase, const char* unit, Samples samples) {
  double peak = 0;
  for (const double sample : samples) {
    if (std::isfinite(sample)) {
      peak = std::max(peak, std::fabs(sample));
    }
  }
  return {{quantity, kPhaseNames[phase]},
          phase,
          unit,
          std::move(samples),
          peak > 0 ? peak / kMaxCounts : 1};
}

std::array<Channel, 6> channelsOf(const VoltageFall& fall) {
  return {channelOf('V', 0, "V", voltages(fall, 0)), channelOf('V', 1, "V", voltages(fall, 1)),
          channelOf('V', 2, "V", voltages(fall, 2)), channelOf('I', 0, "A", currents(fall, 0)),
          channelOf('I', 1, "A", currents(fall, 1)), channelOf('I', 2, "A", currents(fall, 2))};
}

double samplesASecond(const VoltageFall& fall) {
  return fall.before.frequency * WaveformRecord::kSamplesACycle;
}

std::int64_t microseconds(const VoltageFall& fall, std::size_t samples) {
  return std::llround(1e6 * static_cast<double>(samples) / samplesASecond(fall));
}

std::string text(double number, int digits = 9) {
  return toolkit::CElement(number).to_string(digits);
}

// One line, and no more.
std::string lineOf(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
      c = ' ';
    }
  }
  return text;
}

std::string fieldOf(const std::string& text) {
  std::string field = lineOf(text);
  std::replace(field.begin(), field.end(), ',', ' ');
  if (field.size() <= kMaxFieldLength) {
    return field;
  }
  std::size_t end = kMaxFieldLength;
  // Not in the middle of a character.
  while (end > 0 && (static_cast<unsigned char>(field[end]) & 0xC0) == 0x80) {
    --end;
  }
  return field.substr(0, end);
}

std::string timeText(std::int64_t time, const char* format) {
  timeval parts{};
  qel_QELtoUNIXtime64(time, &parts);
  std::tm utc{};
  gmtime_r(&parts.tv_sec, &utc);
  std::array<char, 40> text{};
  std::strftime(text.data(), text.size(), format, &utc);
  const std::string fraction = std::to_string(1000000 + parts.tv_usec);
  return text.data() + ("." + fraction.substr(1));
}

std::string configurationOf(const VoltageFall& fall, const std::array<Channel, 6>& channels) {
  constexpr const char* kFormat = "%d/%m/%Y,%H:%M:%S";
  constexpr const char* kEnd = "\r\n";
  const std::int64_t time = qel_UNIXtoQELtime64(&fall.time);
  std::string cfg = fieldOf(fall.station) + "," + fieldOf(fall.device) + ",1999" + kEnd;
  cfg += std::string("8,6A,2D") + kEnd;
  int number = 0;
  for (const Channel& channel : channels) {
    cfg += std::to_string(++number) + "," + channel.name + "," + kPhaseNames[channel.phase] + ",," +
           channel.unit + "," + text(channel.factor) + ",0,0,-32767,32767,1,1,P" + kEnd;
  }
  cfg += std::string("1,Breaker closed,,,1") + kEnd + "2,Sag,,,0" + kEnd;
  cfg += text(fall.before.frequency) + kEnd + "1" + kEnd;
  cfg += text(samplesASecond(fall)) + "," + std::to_string(kSamples) + kEnd;
  cfg += timeText(time - microseconds(fall, kTrigger), kFormat) + kEnd;
  cfg += timeText(time, kFormat) + kEnd + "BINARY" + kEnd + "1" + kEnd;
  return cfg;
}

void append(std::string& out, std::uint64_t number, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    out.push_back(static_cast<char>(number >> (8 * i) & 0xFF));
  }
}

std::uint64_t countsOf(double sample, double factor) {
  const double counts = std::isfinite(sample) ? std::round(sample / factor) : 0;
  return static_cast<std::uint64_t>(
      static_cast<std::int64_t>(std::clamp(counts, -kMaxCounts, kMaxCounts)));
}

std::string dataOf(const VoltageFall& fall, const std::array<Channel, 6>& channels) {
  std::string dat;
  for (std::size_t i = 0; i < kSamples; ++i) {
    append(dat, i + 1, 4);
    append(dat, static_cast<std::uint64_t>(microseconds(fall, i)), 4);
    for (const Channel& channel : channels) {
      append(dat, countsOf(channel.samples[i], channel.factor), 2);
    }
    append(dat, (momentAt(fall, i).closed ? 1U : 0U) | (i < kTrigger ? 0U : 2U), 2);
  }
  return dat;
}

std::string headerOf(const VoltageFall& fall) {
  const double before = fall.before.voltage.at(fall.phase);
  const double after = fall.after.voltage.at(fall.phase);
  const std::array<std::string, 8> lines = {
      "Event Description: " + fall.message + " " + fall.source,
      std::string("Trigger Channel: V") + kPhaseNames[fall.phase],
      "Trigger Sample: " + std::to_string(kTrigger),
      "Device: " + fall.station + " (" + fall.device + ")",
      "Time: " + timeText(qel_UNIXtoQELtime64(&fall.time), "%Y-%m-%d %H:%M:%S") + " UTC",
      "Voltage Before: " + text(before, 5) + " V",
      "Residual Voltage: " + text(before > 0 ? 100 * after / before : 0, 4) + " %",
      "Frequency: " + text(fall.before.frequency, 5) + " Hz"};
  std::string hdr;
  for (const std::string& line : lines) {
    hdr += lineOf(line) + "\r\n";
  }
  return hdr;
}

}  // namespace

// A device without voltage measures no frequency, its supply has one.
Moment momentOf(const Plant& plant, std::size_t device) {
  const Reading& reading = plant.devices[device].feeder.reading();
  return {reading.voltage, reading.current, reading.powerFactor, plant.grid().frequency(),
          plant.devices[device].conditions.closed};
}

WaveformRecord recordOf(const VoltageFall& fall) {
  const std::array<Channel, 6> channels = channelsOf(fall);
  return {configurationOf(fall, channels), dataOf(fall, channels), headerOf(fall)};
}

std::vector<double> voltageCycle(const Moment& moment, std::size_t phase) {
  Samples samples(WaveformRecord::kSamplesACycle);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = voltageAt(moment, phase, i);
  }
  return samples;
}

std::vector<double> currentCycle(const Moment& moment, std::size_t phase) {
  Samples samples(WaveformRecord::kSamplesACycle);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = currentAt(moment, phase, i);
  }
  return samples;
}

}  // namespace sim
