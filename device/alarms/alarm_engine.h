// The alarms of the device: raised when a value crosses a limit, kept under /Alarms until they are
// closed, notified as events.
//
// A step takes the values that were read, and the acknowledgements that wait, and writes what has
// changed in one transaction. What the store refuses has not happened: the next step tries again.
// Its events go with the write; acknowledgements are removed after it, so that a kill loses none.
//
// No alarm waits for the flash. Numbers are reserved there some ahead, so that none comes twice
// whatever restarts: the persistent half holds the last one that may have been given, the live half
// the last one that was. When none is left and the flash refuses more, numbers are the time in
// milliseconds, which no reservation reaches.
//
// Alarms that a former run has left are taken over. Limits are read anew once a second, or every
// three seconds for each thousand nodes. An alarm whose limit is gone is closed, and one whose node
// somebody removed is forgotten. Values of a device whose quality is not good change no condition.
// Besides, a breaker that moves is notified as an event.
//
// An alarm of a value that is too low names the waveform record that a source has announced since
// the value began to be low, see toolkit/captured_records.h.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "alarms/alarm.h"
#include "toolkit/captured_records.h"
#include "toolkit/event_stream.h"
#include "value_reader.h"

namespace device {

class AlarmEngine : public Watcher {
 public:
  static constexpr int kKeepClosedSeconds = 60;
  static constexpr std::size_t kMaxClosed = 100;
  static constexpr std::uint64_t kReserved = 100;  // numbers ahead
  // A record that began so many seconds before a fall was seen is still its record.
  static constexpr double kRecordSlackSeconds = 2;

  // `cds` must outlive this object.
  explicit AlarmEngine(toolkit::CCds& cds)
      : cds_(cds), acknowledgements_(cds, toolkit::CEventStream::kAcknowledgements) {}

  bool refresh(timeval stamp, bool& changed) override;
  void plan(Plan& plan) override;

  // So many seconds have passed, and it is now `stamp`. False when the store refused.
  bool step(const toolkit::CLeafReader& leaves, double seconds, timeval stamp);
  // Why numbers cannot be reserved; empty when they can.
  const std::string& reservationError() const { return reservationError_; }
  // Gives back the numbers that were reserved. To be called last.
  void release();

 private:
  struct WatchState {
    Condition condition;
    std::uint64_t alarm = 0;  // that is not closed; 0: none
    bool muted = false;       // its alarm was closed while the condition stands
  };
  // A value that is too low.
  struct Fall {
    timeval begin = {};
    std::string record;  // URL; empty: none yet
  };
  // What a step changes.
  struct State {
    std::vector<WatchState> watches;            // as in the configuration
    std::map<std::size_t, Fall> falls;          // by watch
    std::vector<std::optional<bool>> breakers;  // closed, a device each
    std::map<std::uint64_t, Alarm> alarms;      // by number
    std::uint64_t last = 0;                     // number given
  };
  struct DeviceLeaves {
    toolkit::CLeafReader::Handle enabled;
    toolkit::CLeafReader::Handle breaker;
    toolkit::CLeafReader::Handle quality;
    toolkit::CRecordReader record;
  };
  struct Tick;

  bool readTable();
  void adopt(AlarmConfiguration configuration);
  void linkAlarms();
  void takeOver();
  void countOn(const toolkit::CLeafReader& leaves);
  void reserve(std::uint64_t upTo, timeval stamp);

  void acknowledge(Tick& tick, const toolkit::CEvent& acknowledgement) const;
  void closeOrphans(Tick& tick) const;
  void followDevices(Tick& tick) const;
  void follow(Tick& tick, std::size_t index) const;
  void raise(Tick& tick, std::size_t index) const;
  void noteFall(Tick& tick, std::size_t index) const;
  static void noteCause(const Tick& tick, Alarm& alarm, std::size_t index,
                        const toolkit::CElement& value);
  void noteBreaker(Tick& tick, std::size_t device) const;
  static void change(Tick& tick, Alarm& alarm, const AlarmPoint* point, const std::string& source);

  bool write(Tick& tick);
  void writeCounters(toolkit::CLeafBatch& batch, const Tick& tick) const;
  void writeInAlarm(toolkit::CLeafBatch& batch, Tick& tick) const;
  bool removeOldest(timeval stamp);

  toolkit::CCds& cds_;
  toolkit::CEventStream acknowledgements_;
  AlarmConfiguration configuration_;
  std::optional<timeval> readAt_;
  toolkit::CLeafReader::Handle count_;
  toolkit::CLeafReader::Handle total_;
  std::vector<DeviceLeaves> deviceLeaves_;                 // as in the configuration
  std::vector<toolkit::CLeafReader::Handle> pointLeaves_;  // the values, as there
  State state_;
  std::uint64_t reserved_ = 0;  // the last number that may be given
  std::optional<timeval> reservedAt_;
  std::string reservationError_;
  std::vector<std::uint64_t> orphans_;  // alarms without a limit
};

}  // namespace device
