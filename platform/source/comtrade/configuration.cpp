#include "comtrade/configuration.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <limits>

#include "cds/number_text.h"
#include "comtrade/channel_names.h"
#include "comtrade/text.h"

namespace toolkit::comtrade {

namespace {

constexpr int kFirstEdition = 1991;
constexpr int kSecondEdition = 1999;
constexpr int kThirdEdition = 2013;
constexpr std::int64_t kMaxSamples = std::numeric_limits<std::int32_t>::max();

// The edition of a year that may be anybody's: "", "1997", "IEEE 2001", "99". Only 1991 itself and
// no year at all are the first one, which alone writes the month first.
int editionOf(std::string_view field) {
  constexpr std::string_view kDigits = "0123456789";
  const std::size_t last = field.find_last_of(kDigits);
  if (last == std::string_view::npos) {
    return field.empty() ? kFirstEdition : kSecondEdition;
  }
  const std::size_t before = field.find_last_not_of(kDigits, last);
  const std::size_t first = before == std::string_view::npos ? 0 : before + 1;
  constexpr std::int64_t kPivot = 91;
  std::int64_t year = integerOf(field.substr(first, last - first + 1)).value_or(kSecondEdition);
  if (year < 100) {
    year += year < kPivot ? 2000 : 1900;
  }
  if (year == kFirstEdition) {
    return kFirstEdition;
  }
  return year < kThirdEdition ? kSecondEdition : kThirdEdition;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kShown = 40;
  return "\"" + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

char upper(char c) {
  return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

// Goes on to the end after a mistake, which costs little, and keeps the first one.
class Parser {
 public:
  Parser(std::string_view text, Configuration& result)
      : text_(text), result_(result), data_(result.data) {}

  // What is wrong, with the number of its line before it; empty: nothing.
  std::string parse() {
    parseStation();
    parseChannels();
    data_.lineFrequency = realField(trim(line("the line frequency")), "the line frequency", 0);
    parseRates();
    const ParsedMoment start = moment("the start time");
    const ParsedMoment trigger = moment("the trigger time");
    result_.start = start.moment;
    result_.trigger = trigger.moment;
    parseDataType();
    parseStampUnit(start.toNanoseconds || trigger.toNanoseconds);
    parseTimeCodes();
    return mistake_;
  }

 private:
  void note(const std::string& what) {
    if (mistake_.empty()) {
      mistake_ = std::to_string(number_) + ": " + what;
    }
  }

  // The next line, which tells `what`.
  std::string_view line(const char* what) {
    if (text_.empty()) {
      note(std::string("ends before ") + what);
      return {};
    }
    ++number_;
    return takeLine(text_);
  }

  // A number of a field that may be blank.
  double realField(std::string_view field, const char* name, double whenBlank) {
    const std::optional<double> number = numberOf(field);
    if (!number && !field.empty()) {
      note(std::string(name) + " is " + quoted(field) + ", which is no number");
    }
    return number.value_or(whenBlank);
  }

  std::size_t countField(std::string_view field, const char* name, char suffix = 0) {
    const std::string_view whole = field;
    if (suffix != 0 && !field.empty() && upper(field.back()) == suffix) {
      field = trim(field.substr(0, field.size() - 1));
    }
    const std::optional<std::int64_t> count = integerOf(field);
    if (!count || *count < 0 || *count > kMaxSamples) {
      note(std::string(name) + " is " + quoted(whole) + ", which is no such number");
      return 0;
    }
    return static_cast<std::size_t>(*count);
  }

  void parseStation() {
    std::string_view rest = line("the station");
    data_.stationName = takeField(rest);
    data_.deviceId = takeField(rest);
    data_.revision = editionOf(takeField(rest));
  }

  void parseChannels() {
    std::string_view rest = line("the numbers of channels");
    takeField(rest);  // their sum
    const std::size_t analog = countField(takeField(rest), "the number of analog channels", 'A');
    const std::size_t digital = countField(takeField(rest), "the number of digital channels", 'D');
    // No room is made for what is only declared: each channel takes a line.
    while (mistake_.empty() && data_.analogChannels.size() < analog) {
      parseAnalogChannel();
    }
    makeNamesUnique(data_.analogChannels);
    while (mistake_.empty() && data_.digitalChannels.size() < digital) {
      parseDigitalChannel();
    }
  }

  std::string_view channelLine(const char* what, std::ptrdiff_t fields) {
    const std::string_view text = line(what);
    if (std::count(text.begin(), text.end(), ',') + 1 < fields) {
      note("a channel has not even " + std::to_string(fields) + " fields");
    }
    return text;
  }

  void parseAnalogChannel() {
    std::string_view rest = channelLine("the analog channels do", 7);
    takeField(rest);  // number
    CWaveAnalogChannelConfig channel;
    channel.name = takeField(rest);
    channel.phase = takeField(rest);
    channel.circuit = takeField(rest);
    channel.unit = takeField(rest);
    channel.a = realField(takeField(rest), "the channel's factor a", 1);
    channel.b = realField(takeField(rest), "the channel's offset b", 0);
    channel.skew = realField(takeField(rest), "the channel's skew", 0);
    channel.minimum = realField(takeField(rest), "the channel's minimum", 0);
    channel.maximum = realField(takeField(rest), "the channel's maximum", 0);
    channel.primary = realField(takeField(rest), "the channel's primary factor", 1);
    channel.secondary = realField(takeField(rest), "the channel's secondary factor", 1);
    const std::string_view side = takeField(rest);
    channel.side = side.empty() ? '\0' : upper(side.front());
    data_.analogChannels.push_back(std::move(channel));
  }

  void parseDigitalChannel() {
    std::string_view rest = channelLine("the digital channels do", 2);
    // Number, name and state in 1991; since 1999 a phase and a circuit stand before the state.
    const bool isShort = std::count(rest.begin(), rest.end(), ',') < 3;
    takeField(rest);
    CWaveDigitalChannelConfig channel;
    channel.name = takeField(rest);
    if (!isShort) {
      channel.phase = takeField(rest);
      channel.circuit = takeField(rest);
    }
    channel.normal = takeField(rest) == "1";
    data_.digitalChannels.push_back(std::move(channel));
  }

  bool isNextDate() const {
    std::string_view rest = text_;
    return takeLine(rest).find('/') != std::string_view::npos;
  }

  void parseRates() {
    const std::size_t sections =
        countField(trim(line("the number of sampling rates")), "the number of sampling rates");
    if (sections == 0 && isNextDate()) {
      return;  // the number of samples is what the data has
    }
    while (mistake_.empty() && data_.rates.size() < std::max<std::size_t>(1, sections)) {
      std::string_view rest = line("the sampling rates do");
      CWaveRate rate;
      rate.hertz = realField(takeField(rest), "the sampling rate", 0);
      rate.end = countField(takeField(rest), "the last sample of a sampling rate");
      if (rate.hertz < 0 || (!data_.rates.empty() && rate.end < data_.rates.back().end)) {
        note("the sampling rates do not ascend from sample to sample");
      }
      data_.rates.push_back(rate);
    }
    if (!mistake_.empty()) {
      return;
    }
    if (std::any_of(data_.rates.begin(), data_.rates.end(),
                    [](const CWaveRate& rate) { return rate.hertz == 0; })) {
      data_.rates.front().hertz = 0;  // then none of them tells the time
    }
    result_.declaredSamples = data_.rates.back().end;
  }

  ParsedMoment moment(const char* what) {
    const std::string_view text = trim(line(what));
    const auto parsed = parseMoment(text, data_.revision == kFirstEdition);
    if (!parsed) {
      note(std::string(what) + " is " + quoted(text));
    }
    return parsed.value_or(ParsedMoment{});
  }

  void parseDataType() {
    struct Name {
      std::string_view text;
      DataType type;
    };
    constexpr std::array<Name, 4> kNames = {{{"ASCII", DataType::kAscii},
                                             {"BINARY", DataType::kBinary},
                                             {"BINARY32", DataType::kBinary32},
                                             {"FLOAT32", DataType::kFloat32}}};
    const std::string_view text = trim(line("the type of the data"));
    const auto found = std::find_if(kNames.begin(), kNames.end(), [&](const Name& name) {
      return equalsIgnoringCase(name.text, text);
    });
    if (found == kNames.end()) {
      return note("the type of the data is " + quoted(text));
    }
    result_.dataType = found->type;
  }

  // The lines from here on are of later editions, and are often left out.
  std::string_view optionalLine() { return text_.empty() ? std::string_view() : line(""); }

  void parseStampUnit(bool toNanoseconds) {
    const double factor = realField(trim(optionalLine()), "the factor of the time stamps", 1);
    const bool inNanoseconds = toNanoseconds && data_.revision >= kThirdEdition;
    result_.stampUnit = factor * (inNanoseconds ? 1e-9 : 1e-6);
    if (factor <= 0 || !std::isnormal(result_.stampUnit)) {
      note("the factor of the time stamps is not above 0");
    }
  }

  void parseTimeCodes() {
    std::string_view rest = optionalLine();
    const std::string_view code = takeField(rest);
    const std::optional<Moment> ahead =
        data_.revision < kThirdEdition ? Moment{0} : parseTimeCode(code);
    if (!ahead) {
      return note("the time code is " + quoted(code));
    }
    data_.startTime = toTimeval(result_.start - *ahead);
    data_.triggerTime = toTimeval(result_.trigger - *ahead);
  }

  std::string_view text_;
  std::size_t number_ = 0;  // of the line
  std::string mistake_;
  Configuration& result_;
  CWaveConfigData& data_;
};

}  // namespace

Failure parseConfiguration(const std::string& path, std::string_view text, Configuration& result) {
  const std::string mistake = Parser(text, result).parse();
  return mistake.empty() ? Failure() : Failure(WAVE_DAMAGED, path + ":" + mistake);
}

}  // namespace toolkit::comtrade
