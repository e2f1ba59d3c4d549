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

// The place of the sample that is so many seconds behind the first one.
double placeAt(double seconds, const std::vector<CWaveRate>& rates) {
  double begin = 0;  // of the section: the last sample before it, and that sample's time
  double beginTime = 0;
  double place = 0;
  for (const CWaveRate& rate : rates) {
    place = begin + (seconds - beginTime) * rate.hertz;
    const auto last = static_cast<double>(rate.end) - 1;
    if (place <= last) {
      break;
    }
    beginTime += std::max(0.0, last - begin) / rate.hertz;
    begin = std::max(begin, last);
  }
  return place;
}

// Goes through the stamps: the rate that they tell, and the one nearest to a time.
struct StampStatistics {
  double wanted = 0;
  std::size_t nearest = 0;
  std::size_t firstPlace = 0;
  std::size_t lastPlace = 0;
  double first = 0;
  double last = 0;
  bool isEmpty = true;

  void take(std::size_t place, double stamp) {
    if (isEmpty) {
      firstPlace = place;
      first = stamp;
    }
    if (isEmpty || std::abs(stamp - wanted) < distance_) {
      nearest = place;
      distance_ = std::abs(stamp - wanted);
    }
    lastPlace = place;
    last = stamp;
    isEmpty = false;
  }

  // Samples a stamp's unit; 0: the stamps do not ascend.
  double rate() const {
    return last > first ? static_cast<double>(lastPlace - firstPlace) / (last - first) : 0;
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

// One sample may be cut short or missing at the end, of a recorder that was in a hurry. Where more
// are missing the record is not what its configuration says, which only matters to who reads them.
Failure Record::settleCount() {
  if (Failure failure = Samples(files.data, configuration).count(samplesInFile)) {
    return failure;
  }
  const std::size_t declared = configuration.declaredSamples.value_or(samplesInFile);
  const bool isLastMissing = declared == samplesInFile + 1;
  configuration.data.nSamples = isLastMissing ? samplesInFile : declared;
  return {};
}

Failure Record::settleTimes() {
  CWaveConfigData& data = configuration.data;
  const double wanted = static_cast<double>(configuration.trigger - configuration.start) / 1e9;
  const std::size_t samples = std::min(data.nSamples, samplesInFile);
  double place = 0;
  if (configuration.isTimedByStamps()) {
    StampStatistics stamps;
    stamps.wanted = wanted / configuration.stampUnit;
    Failure failure =
        Samples(files.data, configuration).readStamps(samples, [&](std::size_t at, double stamp) {
          stamps.take(at, stamp);
        });
    if (failure) {
      return failure;
    }
    data.samplingRate = stamps.rate() / configuration.stampUnit;
    place = static_cast<double>(stamps.nearest);
  } else {
    data.samplingRate = data.rates.front().hertz;
    place = placeAt(wanted, data.rates);
  }
  const double last = data.nSamples == 0 ? 0 : static_cast<double>(data.nSamples - 1);
  data.triggerIndex = static_cast<std::int32_t>(std::lround(std::clamp(place, 0.0, last)));
  return {};
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
  if (!readHeader() && header->triggerSample && *header->triggerSample >= 0 &&
      static_cast<std::size_t>(*header->triggerSample) < configuration.data.nSamples) {
    configuration.data.triggerIndex = static_cast<std::int32_t>(*header->triggerSample);
  }
  configured_ = true;
  return {};
}

}  // namespace toolkit::comtrade
