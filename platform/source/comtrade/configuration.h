// The configuration (.cfg) of a record.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "comtrade/failure.h"
#include "comtrade/moment.h"
#include "toolkit/comtrade.h"

namespace toolkit::comtrade {

enum class DataType { kAscii, kBinary, kBinary32, kFloat32 };

struct Configuration {
  CWaveConfigData data;  // without what only the samples and the header tell
  std::optional<std::size_t> declaredSamples;
  DataType dataType = DataType::kAscii;
  Moment start = 0;  // by the record's own clock
  Moment trigger = 0;
  double stampUnit = 1e-6;  // seconds that a time stamp counts

  // No rate is told: a sample's time is its stamp.
  bool isTimedByStamps() const { return data.rates.empty() || data.rates.front().hertz == 0; }
};

// `path` is for the sentence of a failure.
Failure parseConfiguration(const std::string& path, std::string_view text, Configuration& result);

}  // namespace toolkit::comtrade
