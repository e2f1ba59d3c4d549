#include <algorithm>
#include <numeric>

#include "comtrade/record.h"
#include "comtrade/samples.h"
#include "comtrade/text.h"

namespace toolkit {

using comtrade::Failure;

namespace {

int hexDigit(char c) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto digit = kDigits.find(static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c));
  return digit == std::string_view::npos ? -1 : static_cast<int>(digit);
}

// False for a "%" without two digits after it.
bool decodePercent(std::string_view text, std::string& decoded) {
  constexpr std::size_t kEscape = 3;
  decoded.clear();
  while (!text.empty()) {
    if (text.front() != '%') {
      decoded += text.front();
      text.remove_prefix(1);
      continue;
    }
    const int high = text.size() < kEscape ? -1 : hexDigit(text[1]);
    const int low = text.size() < kEscape ? -1 : hexDigit(text[2]);
    if (high < 0 || low < 0) {
      return false;
    }
    decoded += static_cast<char>(high << 4 | low);
    text.remove_prefix(kEscape);
  }
  return true;
}

bool isFileName(const std::string& name) {
  const bool hasControls = std::any_of(name.begin(), name.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == '/' || c == '\\';
  });
  // What begins with a dot is ".", ".." or a file that is not finished.
  return !name.empty() && name.front() != '.' && !hasControls;
}

}  // namespace

CComtradeView::CComtradeView() : record_(std::make_unique<comtrade::Record>()) {}

CComtradeView::~CComtradeView() = default;

int CComtradeView::parseUrlToFilepath(const std::string& url, const std::string& waveFolder,
                                      std::string& filePath) {
  filePath.clear();
  std::string_view path = std::string_view(url).substr(0, url.find_first_of("?#"));
  const std::size_t slash = path.rfind('/');
  path.remove_prefix(slash == std::string_view::npos ? 0 : slash + 1);
  std::string name;
  if (waveFolder.empty() || !decodePercent(path, name) || !isFileName(name)) {
    return WAVE_BAD_URL;
  }
  filePath = waveFolder + (waveFolder.ends_with('/') ? "" : "/") + name;
  return WAVE_OK;
}

int CComtradeView::initialize(const std::string& filePath) {
  return record_->report(record_->load(filePath));
}

int CComtradeView::getConfigurationData(CWaveConfigData& data) {
  const Failure failure = record_->configure();
  data = failure ? CWaveConfigData() : record_->configuration.data;
  return record_->report(failure);
}

bool CComtradeView::hasHeader() const {
  return static_cast<bool>(record_->files.header);
}

int CComtradeView::getInformationText(std::string& text) {
  text.clear();
  if (!record_->files.information) {
    return record_->report(record_->files.informationFailure);
  }
  return record_->report(readText(record_->files.information, text));
}

const std::string& CComtradeView::last_error() const {
  return record_->error;
}

int CWaveHeaderData::fillData(CComtradeView& view) {
  *this = CWaveHeaderData();
  if (const Failure failure = view.record_->readHeader()) {
    return view.record_->report(failure);
  }
  const comtrade::Header& header = *view.record_->header;
  text = header.text;
  eventDescription = header.eventDescription;
  triggerChannel = header.triggerChannel;
  if (!view.record_->configure()) {
    triggerIndex = view.record_->configuration.data.triggerIndex;
  }
  return WAVE_OK;
}

namespace {

// The indices of the channels that are wanted.
std::vector<std::size_t> wantedChannels(const std::vector<CWaveAnalogChannelConfig>& channels,
                                        const std::string* wanted) {
  std::vector<std::size_t> indices;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (wanted == nullptr || channels[i].name == *wanted) {
      indices.push_back(i);
    }
  }
  return indices;
}

Failure checkSize(const comtrade::Record& record, std::size_t channels) {
  const std::size_t samples = record.configuration.data.nSamples;
  if (samples > CComtradeView::kMaxSamples) {
    return {WAVE_TOO_LARGE, record.files.configuration.path() + ": " + std::to_string(samples) +
                                " samples, more than the " +
                                std::to_string(CComtradeView::kMaxSamples) + " allowed"};
  }
  if (record.endsBeforeTrigger) {
    return {WAVE_DAMAGED, record.files.data.path() + ": has " + std::to_string(samples) +
                              " samples and not " +
                              std::to_string(record.configuration.data.nDeclared) +
                              ", and ends before the trigger"};
  }
  if (channels > 0 && samples > CComtradeView::kMaxValues / channels) {
    return {WAVE_TOO_LARGE, record.files.data.path() + ": " + std::to_string(samples) +
                                " samples of " + std::to_string(channels) +
                                " channels, more than the " +
                                std::to_string(CComtradeView::kMaxValues) + " values allowed"};
  }
  return {};
}

}  // namespace

int CWaveSampleData::fillData(CComtradeView& view, int values, const std::string* channel) {
  channels.clear();
  comtrade::Record& record = *view.record_;
  if (const Failure failure = record.configure()) {
    return record.report(failure);
  }
  const CWaveConfigData& data = record.configuration.data;
  const std::vector<std::size_t> wanted = wantedChannels(data.analogChannels, channel);
  if (const Failure failure = checkSize(record, wanted.size())) {
    return record.report(failure);
  }
  std::vector<std::vector<float>> columns;
  const comtrade::Samples samples(record.files.data, record.configuration);
  if (const Failure failure =
          samples.readColumns(data.nSamples, wanted, columns, values != WAVE_RAW)) {
    return record.report(failure);
  }
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    channels[data.analogChannels[wanted[i]].name] = std::move(columns[i]);
  }
  return WAVE_OK;
}

}  // namespace toolkit
