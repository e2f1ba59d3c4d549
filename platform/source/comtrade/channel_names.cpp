#include "comtrade/channel_names.h"

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "cds/number_text.h"

namespace toolkit::comtrade {

namespace {

constexpr char kMark = '#';

std::string numberName(std::size_t number) {
  return kMark + std::to_string(number);
}

std::string freeName(const std::set<std::string>& taken, const std::string& name, std::size_t count,
                     std::size_t number) {
  std::string candidate = name.empty() ? numberName(number) : name + numberName(count);
  if (taken.contains(candidate) && !taken.contains(numberName(number))) {
    return numberName(number);
  }
  while (taken.contains(candidate)) {
    candidate += kMark;
  }
  return candidate;
}

}  // namespace

void makeNamesUnique(std::vector<CWaveAnalogChannelConfig>& channels) {
  std::set<std::string> taken;
  for (const CWaveAnalogChannelConfig& channel : channels) {
    taken.insert(channel.name);
  }
  std::map<std::string, std::size_t> counts;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const std::size_t count = ++counts[channels[i].name];
    if (count > 1) {
      channels[i].name = freeName(taken, channels[i].name, count, i + 1);
      taken.insert(channels[i].name);
    }
  }
}

}  // namespace toolkit::comtrade

namespace toolkit {

const CWaveAnalogChannelConfig* CWaveConfigData::analogChannel(std::string_view name) const {
  for (const CWaveAnalogChannelConfig& channel : analogChannels) {
    if (channel.name == name) {
      return &channel;
    }
  }
  constexpr std::string_view kDigits = "0123456789";
  if (name.size() < 2 || name.front() != comtrade::kMark ||
      name.find_first_not_of(kDigits, 1) != std::string_view::npos) {
    return nullptr;
  }
  const auto number = static_cast<std::size_t>(integerOf(name.substr(1)).value_or(0));
  return number >= 1 && number <= analogChannels.size() ? &analogChannels[number - 1] : nullptr;
}

}  // namespace toolkit
