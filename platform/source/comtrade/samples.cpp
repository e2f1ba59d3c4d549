#include "comtrade/samples.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "comtrade/line_reader.h"
#include "comtrade/text.h"

namespace toolkit::comtrade {

namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

constexpr std::size_t kStampOffset = 4;     // after the number of the sample
constexpr std::size_t kChannelsOffset = 8;  // and after the stamp
constexpr std::uint32_t kMissingStamp = 0xFFFFFFFF;

template <class Unsigned>
Unsigned littleEndian(const char* bytes) {
  Unsigned number = 0;
  for (std::size_t i = sizeof number; i-- > 0;) {
    number = static_cast<Unsigned>(number << 8 | static_cast<unsigned char>(bytes[i]));
  }
  return number;
}

struct Binary {
  using Raw = std::uint16_t;
  static double value(Raw raw) {
    constexpr Raw kNone = 0x8000;
    return raw == kNone ? kMissing : static_cast<std::int16_t>(raw);
  }
};

struct Binary32 {
  using Raw = std::uint32_t;
  static double value(Raw raw) {
    constexpr Raw kNone = 0x80000000;
    return raw == kNone ? kMissing : static_cast<std::int32_t>(raw);
  }
};

struct Float32 {
  using Raw = std::uint32_t;
  static double value(Raw raw) {
    const auto number = std::bit_cast<float>(raw);
    return std::isfinite(number) ? number : kMissing;
  }
};

// One channel of a block of rows. `at` is the channel's value in the first row.
template <class Form>
void takeColumn(const char* at, std::size_t rowSize, Scale scale, float* out, float* end) {
  for (; out != end; ++out, at += rowSize) {
    *out = scale(Form::value(littleEndian<typename Form::Raw>(at)));
  }
}

using TakeColumn = void (*)(const char*, std::size_t, Scale, float*, float*);

TakeColumn columnTaker(DataType type) {
  switch (type) {
    case DataType::kBinary32:
      return takeColumn<Binary32>;
    case DataType::kFloat32:
      return takeColumn<Float32>;
    case DataType::kAscii:
    case DataType::kBinary:
      break;
  }
  return takeColumn<Binary>;
}

std::size_t valueSize(DataType type) {
  return type == DataType::kBinary ? sizeof(std::int16_t) : sizeof(std::int32_t);
}

// What stands for "missing" in texts is a value all the same where the channel goes beyond it.
bool isMissingCode(double value, int revision, double maximum) {
  constexpr double kOfFirstEdition = 999999;
  constexpr double kSince1999 = 99999;
  return (value == kOfFirstEdition && maximum <= kOfFirstEdition) ||
         (value == kSince1999 && maximum <= kSince1999 && revision >= 1999);
}

std::string_view fieldAt(std::string_view line, std::size_t index) {
  for (; index > 0; --index) {
    const std::size_t comma = line.find(',');
    if (comma == std::string_view::npos) {
      return {};
    }
    line.remove_prefix(comma + 1);
  }
  return takeField(line);
}

}  // namespace

std::size_t Samples::rowSize() const {
  constexpr std::size_t kStatesInWord = 16;
  const CWaveConfigData& data = configuration_.data;
  const std::size_t words = (data.digitalChannels.size() + kStatesInWord - 1) / kStatesInWord;
  return kChannelsOffset + data.analogChannels.size() * valueSize(configuration_.dataType) +
         words * sizeof(std::uint16_t);
}

// Calls take(bytes, index of its first row, number of rows) for block after block.
template <class TakeRow>
Failure Samples::forEachBlock(std::size_t samples, TakeRow take) const {
  constexpr std::size_t kBlock = 128 << 10;
  const std::size_t size = rowSize();
  const std::size_t maxRows = std::max<std::size_t>(1, kBlock / size);
  std::string block(std::min(maxRows, samples) * size, '\0');
  for (std::size_t index = 0; index < samples; index += maxRows) {
    const std::size_t rows = std::min(maxRows, samples - index);
    if (Failure failure = file_.read(index * size, block.data(), rows * size)) {
      return failure;
    }
    take(block.data(), index, rows);
  }
  return {};
}

// Calls take(line, index), which may fail, for sample after sample.
template <class TakeRow>
Failure Samples::forEachLine(std::size_t samples, TakeRow take) const {
  LineReader lines(file_);
  std::string_view line;
  std::size_t index = 0;
  while (index < samples && lines.next(line)) {
    const std::size_t mark = line.find(kEndMark);
    line = trim(line.substr(0, mark));
    if (!line.empty()) {
      if (Failure failure = take(line, index)) {
        return {failure.result,
                file_.path() + ": sample " + std::to_string(index + 1) + " " + failure.text};
      }
      ++index;
    }
    if (mark != std::string_view::npos) {
      break;
    }
  }
  return lines.failure();
}

bool Samples::isWhole(std::string_view line) const {
  const CWaveConfigData& data = configuration_.data;
  const auto commas = static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
  return commas >= 1 + data.analogChannels.size() + data.digitalChannels.size();
}

Failure Samples::countLines(std::size_t& samples) const {
  const std::size_t declared = configuration_.declaredSamples.value_or(CComtradeView::kMaxSamples);
  const std::size_t enough = 1 + std::min(declared, CComtradeView::kMaxSamples);
  bool isLastWhole = true;
  std::size_t lines = 0;
  Failure failure = forEachLine(enough, [&](std::string_view line, std::size_t index) {
    lines = index + 1;
    isLastWhole = lines == enough || isWhole(line);
    return Failure();
  });
  samples = isLastWhole ? lines : lines - 1;
  return failure;
}

Failure Samples::count(std::size_t& samples) const {
  if (configuration_.dataType == DataType::kAscii) {
    return countLines(samples);
  }
  samples = file_.size() / rowSize();
  return {};
}

Failure Samples::readColumns(std::size_t samples, const std::vector<std::size_t>& channels,
                             std::vector<std::vector<float>>& columns, bool scaled) const {
  columns.assign(channels.size(), std::vector<float>(samples));
  std::vector<Scale> scales;
  for (const std::size_t channel : channels) {
    const CWaveAnalogChannelConfig& configured = configuration_.data.analogChannels[channel];
    scales.push_back(scaled ? Scale{configured.a, configured.b} : Scale());
  }
  return configuration_.dataType == DataType::kAscii
             ? readLines(samples, channels, scales, columns)
             : readBlocks(samples, channels, scales, columns);
}

Failure Samples::readBlocks(std::size_t samples, const std::vector<std::size_t>& channels,
                            const std::vector<Scale>& scales,
                            std::vector<std::vector<float>>& columns) const {
  const TakeColumn take = columnTaker(configuration_.dataType);
  return forEachBlock(samples, [&](const char* bytes, std::size_t index, std::size_t rows) {
    for (std::size_t i = 0; i < channels.size(); ++i) {
      float* out = columns[i].data() + index;
      take(bytes + kChannelsOffset + channels[i] * valueSize(configuration_.dataType), rowSize(),
           scales[i], out, out + rows);
    }
  });
}

Failure Samples::readLines(std::size_t samples, const std::vector<std::size_t>& channels,
                           const std::vector<Scale>& scales,
                           std::vector<std::vector<float>>& columns) const {
  std::size_t lines = 0;
  Failure failure = forEachLine(samples, [&](std::string_view line, std::size_t index) -> Failure {
    ++lines;
    if (!isWhole(line)) {
      return {WAVE_DAMAGED, "has not as many fields as there are channels"};
    }
    for (std::size_t i = 0; i < channels.size(); ++i) {
      const CWaveAnalogChannelConfig& channel = configuration_.data.analogChannels[channels[i]];
      const std::string_view field = fieldAt(line, 2 + channels[i]);
      const std::optional<double> value = field.empty() ? kMissing : numberOf(field);
      if (!value) {
        return {WAVE_DAMAGED, "of channel " + channel.name + " is no number"};
      }
      const bool isMissing = isMissingCode(*value, configuration_.data.revision, channel.maximum);
      columns[i][index] = scales[i](isMissing ? kMissing : *value);
    }
    return {};
  });
  if (!failure && lines != samples) {
    return {WAVE_DAMAGED, file_.path() + ": became shorter while it was read"};
  }
  return failure;
}

Failure Samples::readStamps(std::size_t samples, const TakeStamp& take) const {
  if (configuration_.dataType == DataType::kAscii) {
    return forEachLine(samples, [&](std::string_view line, std::size_t index) {
      if (const std::optional<double> stamp = numberOf(fieldAt(line, 1))) {
        take(index, *stamp);
      }
      return Failure();
    });
  }
  return forEachBlock(samples, [&](const char* bytes, std::size_t index, std::size_t rows) {
    for (std::size_t row = 0; row < rows; ++row) {
      const auto stamp = littleEndian<std::uint32_t>(bytes + row * rowSize() + kStampOffset);
      if (stamp != kMissingStamp) {
        take(index + row, stamp);
      }
    }
  });
}

}  // namespace toolkit::comtrade
