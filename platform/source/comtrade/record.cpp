#include "comtrade/record.h"

#include <algorithm>
#include <cmath>

#include "cds/number_text.h"
#include "comtrade/samples.h"
#include "comtrade/text.h"

namespace toolkit::comtrade {

namespace {

// The value of a line "Key: value", if that is what it is.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view key) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || !equalsIgnoringCase(trim(line.substr(0, colon)), key)) {
    return {};
  }
  return trim(line.substr(colon + 1));
}

Header parseHeader(std::string text) {
  Header header;
  std::optional<std::string_view> description;
  std::optional<std::string_view> channel;
  std::optional<std::string_view> sample;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view line = takeLine(rest);
    description = description ? description : valueOf(line, "Event Description");
    channel = channel ? channel : valueOf(line, "Trigger Channel");
    sample = sample ? sample : valueOf(line, "Trigger Sample");
  }
  header.eventDescription = description.value_or("");
  header.triggerChannel = channel.value_or("");
  header.triggerSample = sample ? integerOf(*sample) : std::nullopt;
  header.text = std::move(text);
  return header;
}

// The index of the sample that is so many seconds after the first one.
double indexAt(double seconds, const std::vector<CWaveRate>& rates) {
  double begin = 0;  // of the section: the last sample before it, and that sample's time
  double beginTime = 0;
  double index = 0;
  for (const CWaveRate& rate : rates) {
    index = begin + (seconds - beginTime) * rate.hertz;
    const auto last = static_cast<double>(rate.end) - 1;
    if (index <= last) {
      break;
    }
    beginTime += std::max(0.0, last - begin) / rate.hertz;
    begin = std::max(begin, last);
  }
  return index;
}

// Goes through the stamps: the rate that they tell, and the one nearest to a time.
struct StampStatistics {
  double wanted = 0;
  std::size_t nearest = 0;
  std::size_t firstIndex = 0;
  std::size_t lastIndex = 0;
  double first = 0;
  double last = 0;
  bool isEmpty = true;

  void take(std::size_t index, double stamp) {
    if (isEmpty) {
      firstIndex = index;
      first = stamp;
    }
    if (isEmpty || std::abs(stamp - wanted) < distance_) {
      nearest = index;
      distance_ = std::abs(stamp - wanted);
    }
    lastIndex = index;
    last = stamp;
    isEmpty = false;
  }

  // Samples a stamp's unit; 0: the stamps do not ascend.
  double rate() const {
    return last > first ? static_cast<double>(lastIndex - firstIndex) / (last - first) : 0;
  }

  // Of the sample nearest to the wanted time: beyond the last one, where that is not the nearest.
  double index() const {
    const double beyond = (wanted - last) * rate();
    return beyond > 0 ? static_cast<double>(lastIndex) + beyond : static_cast<double>(nearest);
  }

 private:
  double distance_ = 0;
};

}  // namespace

int Record::report(const Failure& failure) {
  error = failure.text;
  return failure.result;
}

Failure Record::load(const std::string& path) {
  files = RecordFiles();
  configured_ = false;
  header.reset();
  Failure failure = openRecord(path, files);
  if (failure) {
    files = RecordFiles();
  }
  return failure;
}

Failure Record::readHeader() {
  if (header) {
    return {};
  }
  if (!files.header) {
    return files.headerFailure;
  }
  std::string text;
  if (Failure failure = readText(files.header, text)) {
    return failure;
  }
  header = parseHeader(std::move(text));
  return {};
}

Failure Record::settleCount() {
  CWaveConfigData& data = configuration.data;
  std::size_t samplesInFile = 0;
  if (Failure failure = Samples(files.data, configuration).count(samplesInFile)) {
    return failure;
  }
  data.nDeclared = configuration.declaredSamples.value_or(samplesInFile);
  data.nSamples = std::min(data.nDeclared, samplesInFile);
  return {};
}

Failure Record::settleTimes() {
  CWaveConfigData& data = configuration.data;
  const double wanted = static_cast<double>(configuration.trigger - configuration.start) / 1e9;
  if (configuration.isTimedByStamps()) {
    StampStatistics stamps;
    stamps.wanted = wanted / configuration.stampUnit;
    Failure failure = Samples(files.data, configuration)
                          .readStamps(data.nSamples, [&](std::size_t at, double stamp) {
                            stamps.take(at, stamp);
                          });
    if (failure) {
      return failure;
    }
    data.samplingRate = stamps.rate() / configuration.stampUnit;
    triggerIndex_ = stamps.index();
  } else {
    data.samplingRate = data.rates.front().hertz;
    triggerIndex_ = indexAt(wanted, data.rates);
  }
  return {};
}

// A recorder in a hurry leaves the last sample out, or its end: its record is whole.
void Record::settleTrigger() {
  CWaveConfigData& data = configuration.data;
  const auto lastOf = [](std::size_t count) { return count == 0 ? 0 : count - 1; };
  const bool isCut = data.nDeclared > data.nSamples + 1;
  const std::size_t lastDeclared = lastOf(isCut ? data.nDeclared : data.nSamples);
  auto index = static_cast<std::size_t>(
      std::lround(std::clamp(triggerIndex_, 0.0, static_cast<double>(lastDeclared))));
  if (!readHeader() && header->triggerSample && *header->triggerSample >= 0 &&
      static_cast<std::size_t>(*header->triggerSample) <= lastDeclared) {
    index = static_cast<std::size_t>(*header->triggerSample);
  }
  endsBeforeTrigger = isCut && index >= data.nSamples;
  data.triggerIndex = static_cast<std::int32_t>(std::min(index, lastOf(data.nSamples)));
}

Failure Record::configure() {
  if (configured_) {
    return {};
  }
  if (!files.configuration) {
    return {WAVE_MISSING, "no record is open"};
  }
  configuration = Configuration();
  std::string text;
  if (Failure failure = readText(files.configuration, text)) {
    return failure;
  }
  if (Failure failure = parseConfiguration(files.configuration.path(), text, configuration)) {
    return failure;
  }
  if (Failure failure = settleCount()) {
    return failure;
  }
  if (Failure failure = settleTimes()) {
    return failure;
  }
  settleTrigger();
  configured_ = true;
  return {};
}

}  // namespace toolkit::comtrade
