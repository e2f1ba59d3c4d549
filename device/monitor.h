// Monitor: a device's own services together, for whatever process writes the values: which sources
// are silent, the alarms, the changes, and the logs of all that.
#pragma once

#include <optional>
#include <string>

#include "alarms/alarm_engine.h"
#include "logs/deltas.h"
#include "logs/recorder.h"
#include "logs/trend_recorder.h"
#include "quality/source_watch.h"
#include "toolkit/beat.h"
#include "value_reader.h"

namespace device {

class Monitor {
 public:
  // `rate`: steps a second. `cds` must outlive this object.
  Monitor(toolkit::CCds& cds, double rate);

  // Opens the logs of a folder, or makes them. Empty, or why not. Without it there are none. Where
  // the disk is full or read-only that is said, and tried again each second.
  std::string openLogs(const std::string& folder);

  // Does what is due. What fails is said on standard error and tried again.
  void step(timeval stamp);
  // Enters what was notified since the last step.
  void enterEvents();
  // To be called last.
  void release() { alarms_.release(); }

 private:
  struct Logs {
    Logs(toolkit::CCds& cds, PointList& points, double longestGap)
        : events(cds), trends(points, longestGap) {}

    Recorder events;
    TrendRecorder trends;
  };

  std::string tryLogs();
  void serve(timeval stamp);

  toolkit::CCds& cds_;
  double seconds_;  // a step
  PointList points_;
  SourceWatch sources_;
  AlarmEngine alarms_;
  Deltas deltas_;
  std::string folder_;  // of the logs; empty: there shall be none
  std::optional<timeval> triedAt_;
  std::optional<Logs> logs_;
  std::optional<ValueReader> values_;
  toolkit::CComplaint reads_;
  toolkit::CComplaint qualities_;
  toolkit::CComplaint changes_;
  toolkit::CComplaint numbers_;
  toolkit::CComplaint notices_;
  toolkit::CComplaint entries_;
  toolkit::CComplaint snapshots_;
};

}  // namespace device
