// The alarms of the device: raised when a value crosses a limit, kept under /Alarms until they are
// closed, told as events.
//
// A step reads all values in one batch, takes the acknowledgements that wait, and writes what has
// changed in one transaction. What the store refuses has not happened: the next step tries again.
// Its events go with the write; acknowledgements are removed after it, so that a kill loses none.
//
// Alarms that a former run has left are taken over. Limits are read anew once a second, by the
// stamps of the steps. An alarm whose limit is gone is closed, and one whose node somebody removed
// is forgotten. Besides, a breaker that moves is told as an event.
//
// An alarm of a phase voltage that is too low has a waveform record, made before the write so that
// the event can name it.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "alarms/alarm.h"
#include "toolkit/event_stream.h"
#include "waveform_recorder.h"

namespace sim {

class AlarmEngine {
 public:
  static constexpr int kKeepClosedSeconds = 60;
  static constexpr std::size_t kMaxClosed = 100;

  // `cds` must outlive this object, and so must `waveforms` unless it is null: then there are none.
  explicit AlarmEngine(toolkit::CCds& cds, WaveformRecorder* waveforms = nullptr)
      : cds_(cds),
        acknowledgements_(cds, toolkit::CEventStream::kAcknowledgements),
        waveforms_(waveforms) {}

  // So many simulated seconds have passed, and it is now `stamp`. False when the store refused.
  bool step(double seconds, timeval stamp);

 private:
  struct WatchState {
    Condition condition;
    std::uint64_t alarm = 0;                     // that is not closed; 0: none
    bool muted = false;                          // its alarm was closed while the condition stands
    std::optional<WaveformRecorder::Fall> fall;  // with which the condition began
  };
  // What a step changes.
  struct State {
    std::vector<WatchState> watches;            // as in the configuration
    std::vector<std::optional<bool>> breakers;  // closed, a device each
    std::map<std::uint64_t, Alarm> alarms;      // by number
    std::uint64_t last = 0;                     // number given
  };
  struct Tick;

  bool refreshWhenDue(timeval stamp);
  bool readTable();
  void adopt(AlarmConfiguration configuration);
  void linkAlarms();
  void takeOver();
  void planReads();
  void countOn();

  void acknowledge(Tick& tick, const toolkit::CEvent& acknowledgement) const;
  void closeOrphans(Tick& tick) const;
  void follow(Tick& tick, std::size_t place) const;
  void raise(Tick& tick, std::size_t place) const;
  void noteFall(WatchState& state, const AlarmWatch& watch, timeval stamp) const;
  void tellCause(Alarm& alarm, const WatchState& state, const toolkit::CElement& value,
                 timeval stamp) const;
  void noteBreaker(Tick& tick, std::size_t device) const;
  void change(Tick& tick, Alarm& alarm, const AlarmPoint* point, const std::string& source) const;

  bool write(const Tick& tick);
  void writeCounters(toolkit::CLeafBatch& batch, const State& next) const;
  void writeInAlarm(toolkit::CLeafBatch& batch, const State& next) const;
  bool removeOldest(timeval stamp);

  // Places in leaves_.
  static constexpr std::size_t kCount = 0;
  static constexpr std::size_t kTotal = 1;
  static constexpr std::size_t kDevices = 2;
  static std::size_t enabledPlace(std::size_t device) { return kDevices + 2 * device; }
  static std::size_t breakerPlace(std::size_t device) { return kDevices + 2 * device + 1; }
  std::size_t valuePlace(std::size_t point) const {
    return kDevices + 2 * (configuration_.devices.size() + point);
  }
  std::size_t inAlarmPlace(std::size_t point) const { return valuePlace(point) + 1; }

  toolkit::CCds& cds_;
  toolkit::CEventStream acknowledgements_;
  WaveformRecorder* waveforms_;
  AlarmConfiguration configuration_;
  std::optional<timeval> readAt_;
  ReadBatch leaves_;
  State state_;
  std::vector<std::uint64_t> orphans_;  // alarms without a limit
};

}  // namespace sim
