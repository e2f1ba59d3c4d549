// Tells what changes at the devices, as events:
//
//   EVENT_DELTA     a number has left the deadband of its point, or is seen for the first time; the
//                   state of a Boolean or multistate point is another one
//   EVENT_QUALITY   the quality of a device is another one
//   EVENT_SYSTEM    there are other devices than before
//
// Looks once a second, by the stamps of the steps, and every ten seconds for which points there
// are. What the store refuses has not been told: the next second tries again.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "read_batch.h"
#include "toolkit/event.h"

namespace sim {

// Whether a value is to be told. NaN is outside every deadband but for one that was told.
bool hasLeft(double told, double value, double deadband);

class Deltas {
 public:
  // `cds` must outlive this object.
  explicit Deltas(toolkit::CCds& cds) : cds_(cds) {}

  // False when the store refused at the last look.
  bool step(timeval stamp);

 private:
  struct Watch {
    toolkit::event_type_t type = toolkit::EVENT_DELTA;
    std::string path;        // of the leaf
    std::size_t device = 0;  // its place among the watches, which begin with the devices' qualities
    double deadband = 0;
    bool first = false;  // told when first seen
    std::optional<double> told;
  };

  bool look(timeval stamp);
  bool refreshWhenDue(timeval stamp);
  bool readWatches(std::vector<std::string>& devices, std::vector<Watch>& watches);
  void adopt(std::vector<Watch> watches);
  std::uint16_t qualityOf(std::size_t device) const;
  toolkit::CEvent eventOf(std::size_t place, timeval stamp) const;

  toolkit::CCds& cds_;
  std::vector<std::string> devices_;
  std::optional<std::vector<std::string>> toldDevices_;
  std::vector<Watch> watches_;
  ReadBatch leaves_;  // one a watch
  std::size_t next_ = 0;
  std::optional<timeval> lookedAt_;
  std::optional<timeval> readAt_;
  bool good_ = true;
};

}  // namespace sim
