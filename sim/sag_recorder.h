// SagRecorder: makes a waveform record of a device when a phase voltage falls below an alarm's low
// limit, and announces it in the batch that has the low values.
//
// What falls within one record has it in common. A batch that the store refuses is made anew: its
// records wait for that, and go when the voltage is back by then.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "plant.h"
#include "toolkit/cds.h"
#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/waveform_folder.h"
#include "waveform.h"

namespace sim {

class SagRecorder {
 public:
  // `cds` must outlive this object, and `folder` be open. The devices' paths are as in the plant.
  SagRecorder(toolkit::CCds& cds, toolkit::CWaveformFolder folder,
              const std::vector<std::string>& devices);

  // What the batch's values say, and will have been measured at `stamp`.
  void measure(const Plant& plant, timeval stamp, toolkit::CLeafBatch& batch);
  // The store has taken the batch or refused.
  void settle(bool taken);

  // Of the last record that was to be made.
  bool good() const { return good_; }
  const std::string& lastError() const { return folder_.lastError(); }

 private:
  // A low limit of a phase.
  struct Limit {
    toolkit::CLeafReader::Handle limit;
    toolkit::CLeafReader::Handle message;
    bool low = false;     // as the store knows
    bool lowNow = false;  // as the batch says
  };
  struct Phase {
    std::string node;
    toolkit::CLeafReader::Handle enabled;
    toolkit::CLeafReader::Handle hysteresis;
    toolkit::CLeafReader::Handle units;
    std::array<Limit, 2> limits;
  };
  struct Fall {
    std::size_t phase = 0;
    std::string message;
  };
  struct Device {
    std::string path;
    toolkit::CLeafReader::Handle name;
    toolkit::CLeafReader::Handle enabled;
    std::array<Phase, 3> phases;
    Moment before;  // when the store last took a batch
    Moment now;
    std::optional<timeval> recorded;  // begin of the last record's fall
    std::string pending;              // record that no batch has announced yet
    bool falls = false;               // in this batch
  };

  void planReads(Device& device);
  bool readLimits(timeval stamp);
  std::optional<Fall> fallOf(Device& device);
  bool isLow(const Device& device, const Phase& phase, const Limit& limit, double voltage) const;
  void record(Device& device, const Fall& fall, timeval stamp, toolkit::CLeafBatch& batch);
  static void adopt(Device& device);
  bool make(Device& device, const Fall& fall, timeval stamp);

  toolkit::CCds& cds_;
  toolkit::CWaveformFolder folder_;
  std::vector<Device> devices_;
  toolkit::CLeafReader limits_;
  std::optional<timeval> readAt_;
  bool measured_ = false;
  std::size_t pending_ = 0;
  bool gaveUp_ = false;  // in this batch
  bool good_ = true;
};

}  // namespace sim
