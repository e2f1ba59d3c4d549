// The reader of waveform records: COMTRADE, IEEE C37.111-1991, -1999 and -2013.
//
// A record is a configuration (.cfg) with its data (.dat: ASCII, BINARY, BINARY32 or FLOAT32) and,
// where there are any, a header (.hdr) and information (.inf); or all of these in one .cff.
// Extensions are in lower or upper case. Any file may be hostile: what it declares is checked
// against its size first, and nothing outside the record's folder is opened.
//
// Calls return 0 (WAVE_OK) or the wave_result_t that tells why not; last_error() then has a
// sentence that names the file and the line. Outputs of a failed call are empty. One thread at a
// time per object; nothing here throws but std::bad_alloc.
//
// Texts are UTF-8: those of a file that is not are taken as GB2312 where they are so beyond doubt,
// as Windows-1251 where they look Cyrillic, else as Latin-1.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace toolkit {

// The numbers are logged: they never change.
enum wave_result_t {
  WAVE_OK = 0,
  WAVE_FAILED = 1,     // the system refused: rights, input/output
  WAVE_BAD_URL = 2,    // names no record
  WAVE_MISSING = 3,    // no such file
  WAVE_DAMAGED = 4,    // not what the standard describes
  WAVE_TOO_LARGE = 5,  // beyond the limits below
};

struct CWaveAnalogChannelConfig {
  std::string name;  // its own: the second channel that the file names "VA" is "VA#2"
  std::string phase;
  std::string circuit;  // component that is monitored
  std::string unit;
  double a = 1;  // value = a * sample + b
  double b = 0;
  double skew = 0;  // microseconds
  double minimum = 0;
  double maximum = 0;
  double primary = 1;
  double secondary = 1;
  char side = 0;  // of the transformer, for the values: 'P', 'S'; 0: not told
};

struct CWaveDigitalChannelConfig {
  std::string name;
  std::string phase;
  std::string circuit;
  bool normal = false;  // state in normal operation
};

struct CWaveRate {
  double hertz = 0;
  std::size_t end = 0;  // number of samples up to the end of this section
};

struct CWaveConfigData {
  std::string stationName;
  std::string deviceId;
  int revision = 1991;       // 1991, 1999 or 2013, the one before the file's
  double lineFrequency = 0;  // hertz; 0: not told
  // Hertz, of the first section; of the time stamps when none is told, and 0 without these.
  double samplingRate = 0;
  std::vector<CWaveRate> rates;
  std::size_t nSamples = 0;  // those of the declared ones that are whole in the data
  std::size_t nDeclared = 0;
  timeval startTime{};  // of the first sample; UTC, which a record without a time code is in
  timeval triggerTime{};
  // Of the sample at the trigger, from 0: the header's, else the one nearest to triggerTime; the
  // last one where the data ends before the trigger.
  std::int32_t triggerIndex = 0;
  std::vector<CWaveAnalogChannelConfig> analogChannels;
  std::vector<CWaveDigitalChannelConfig> digitalChannels;

  // The channel of a name, else the one with the number "#1", "#2", ... among them; null: none.
  const CWaveAnalogChannelConfig* analogChannel(std::string_view name) const;
};

namespace comtrade {
class Record;
}

// An open record. The files stay open with it, so that one that is replaced meanwhile is read as it
// was; one that shrinks makes the call fail.
class CComtradeView {
 public:
  static constexpr std::size_t kMaxText = 1 << 20;       // bytes of a .cfg, .hdr or .inf
  static constexpr std::size_t kMaxData = 64 << 20;      // bytes of a .dat or a .cff
  static constexpr std::size_t kMaxSamples = 1'000'000;  // of a channel
  static constexpr std::size_t kMaxValues = 4'000'000;   // of one CWaveSampleData

  CComtradeView();
  ~CComtradeView();
  CComtradeView(const CComtradeView&) = delete;
  CComtradeView& operator=(const CComtradeView&) = delete;

  // The path of the record that a URL, or a part of one, names by the last part of its path:
  // "http://meter/waveforms/sag%207.cfg?x=1" is "sag 7.cfg" in `waveFolder`. %-escapes are decoded
  // once. The extension may be missing. Whether there is such a record is not looked at.
  static int parseUrlToFilepath(const std::string& url, const std::string& waveFolder,
                                std::string& filePath);

  // Opens the files of a record, any of which `filePath` may name, with extension or without. A
  // .cff goes before a .cfg only when it is named. Symbolic links are not followed.
  int initialize(const std::string& filePath);

  int getConfigurationData(CWaveConfigData& data);
  bool hasHeader() const;
  int getInformationText(std::string& text);

  const std::string& last_error() const;

 private:
  friend class CWaveHeaderData;
  friend class CWaveSampleData;

  std::unique_ptr<comtrade::Record> record_;
};

// The header is free text. Lines that begin with "Event Description:", "Trigger Channel:" and
// "Trigger Sample:", in any case, are picked out of it.
class CWaveHeaderData {
 public:
  std::string text;
  std::string eventDescription;
  std::string triggerChannel;
  // CWaveConfigData::triggerIndex; 0 where there is no readable configuration.
  std::int32_t triggerIndex = 0;

  // WAVE_MISSING when the record has no header.
  int fillData(CComtradeView& view);
};

enum wave_values_t {
  WAVE_RAW = 0,     // as in the file
  WAVE_SCALED = 1,  // in the channel's unit
};

class CWaveSampleData {
 public:
  // Per analog channel name, in file order; NaN where a sample is missing.
  std::map<std::string, std::vector<float>> channels;

  // With `channel` only that channel is read. WAVE_DAMAGED also when the data ends before the
  // trigger; each channel has CWaveConfigData::nSamples samples.
  int fillData(CComtradeView& view, int values, const std::string* channel = nullptr);
};

}  // namespace toolkit
