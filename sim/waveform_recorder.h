// WaveformRecorder: makes a waveform record of a device whose voltage has fallen, for the alarms
// that tell of it.
//
// The alarms of one fall share one record. A step that the store refused is tried again: its
// records wait for that, and go when the store has taken a step without these alarms.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "alarms/alarm.h"
#include "plant.h"
#include "toolkit/cds.h"
#include "waveform_folder.h"

namespace sim {

class WaveformRecorder {
 public:
  // A low voltage as it begins.
  struct Fall {
    std::size_t device = 0;
    std::size_t phase = 0;
    timeval time = {};
    Moment before;
  };

  // `cds` must outlive this object, and `folder` be open. The devices' paths are as in the plant.
  WaveformRecorder(toolkit::CCds& cds, WaveformFolder folder,
                   const std::vector<std::string>& devices);

  // What the store now says.
  void measure(const Plant& plant);

  // The voltage at a node begins to be low. None where it is not one of a device's phases.
  std::optional<Fall> fallOf(const std::string& node, timeval time) const;
  // The URLs of the record of a fall that raises an alarm now. None when it could not be made.
  std::vector<std::string> record(const Fall& fall, const Alarm& alarm, timeval now);
  // The step has ended, and the store has taken it or refused.
  void settle(bool taken);

  // Of the last record that was to be made.
  bool good() const { return good_; }
  const std::string& lastError() const { return folder_.lastError(); }

 private:
  struct Record {
    std::string name;
    timeval fall = {};
    timeval made = {};
    bool wanted = true;  // by an alarm of this step
  };
  struct Device {
    std::string path;
    Moment before;  // when the store last took a step
    Moment now;
    std::optional<Record> last;
    std::optional<Record> pending;
  };

  bool make(const Fall& fall, const Alarm& alarm, timeval now);

  toolkit::CCds& cds_;
  WaveformFolder folder_;
  std::vector<Device> devices_;
  std::map<std::string, std::pair<std::size_t, std::size_t>> phases_;  // by node
  bool measured_ = false;
  std::size_t pending_ = 0;
  bool gaveUp_ = false;  // in this step
  bool good_ = true;
};

}  // namespace sim
