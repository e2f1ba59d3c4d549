// One record: its files, and what was found out about it.
#pragma once

#include <optional>
#include <string>

#include "comtrade/configuration.h"
#include "comtrade/record_files.h"

namespace toolkit::comtrade {

// What the header says, for whom it does.
struct Header {
  std::string text;
  std::string eventDescription;
  std::string triggerChannel;
  std::optional<std::int64_t> triggerSample;
};

class Record {
 public:
  // Keeps the sentence of a failure for last_error().
  int report(const Failure& failure);

  Failure load(const std::string& path);
  // The configuration with all that takes a look at the samples and the header; read once.
  Failure configure();
  // The header; read once.
  Failure readHeader();

  RecordFiles files;
  Configuration configuration;     // valid after configure()
  std::optional<Header> header;    // there after readHeader()
  bool endsBeforeTrigger = false;  // of the samples that the configuration declares
  std::string error;

 private:
  Failure settleCount();
  Failure settleTimes();
  void settleTrigger();

  bool configured_ = false;
  double triggerIndex_ = 0;  // among the samples, by the times
};

}  // namespace toolkit::comtrade
