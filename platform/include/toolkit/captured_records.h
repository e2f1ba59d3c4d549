// How a source announces a waveform record that it has captured, so that the alarms of what it
// shows name it. docs/waveforms.md tells the rules.
//
//   /Software/Waveforms/<device>   the device's latest record, its dotted name as that of commands
//       Value     URL of the record
//       Time      when what it shows began
//       Points    names of the device's points that it shows, joined by ";"; empty: all of them
#pragma once

#include <string>
#include <vector>

#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"

namespace toolkit {

inline constexpr const char* kWaveformsPath = "/Software/Waveforms";

struct CCapturedRecord {
  std::string url;
  timeval time = {};
  std::vector<std::string> points;
};

// Adds a record to the batch that has the values of that time: whoever sees the one sees the other.
// The record can be fetched by then.
void announceRecord(CLeafBatch& batch, const std::string& device, const CCapturedRecord& record);

// What is announced of one device, in a reader that has other leaves, too.
class CRecordReader {
 public:
  CRecordReader(CLeafReader& reader, const std::string& device);

  // None where nothing is announced.
  std::optional<CCapturedRecord> record(const CLeafReader& reader) const;

 private:
  CLeafReader::Handle url_;
  CLeafReader::Handle time_;
  CLeafReader::Handle points_;
};

}  // namespace toolkit
