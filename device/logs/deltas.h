// Notifies what changes at the devices, as events:
//
//   EVENT_DELTA     a number has left the deadband of its point, or is seen for the first time; the
//                   state of a Boolean or multistate point is another one
//   EVENT_QUALITY   the quality of a device is another one
//   EVENT_SYSTEM    there are other devices than before
//
// Looks once a second, by the stamps of the steps, and every ten seconds for which points there
// are. What the store refuses has not been notified: the next second tries again.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "toolkit/device_nodes.h"
#include "toolkit/event.h"
#include "value_reader.h"

namespace device {

// Whether a value is to be notified. NaN is outside every deadband but for one that was notified.
bool hasLeft(double notified, double value, double deadband);

class Deltas : public Watcher {
 public:
  // `cds` must outlive this object.
  explicit Deltas(toolkit::CCds& cds) : cds_(cds) {}

  bool refresh(timeval stamp, bool& changed) override;
  void plan(Plan& plan) override;

  // False when the store refused at the last look.
  bool step(const toolkit::CLeafReader& leaves, timeval stamp);
  // Somebody else has notified this value of a leaf.
  void noteNotified(const std::string& path, double value);

 private:
  struct Watch {
    toolkit::event_type_t type = toolkit::EVENT_DELTA;
    std::string path;        // of the leaf
    std::size_t device = 0;  // its index among the watches, which begin with the devices' qualities
    double deadband = 0;
    bool first = false;  // notified when first seen
    std::optional<double> notified;
    toolkit::CLeafReader::Handle leaf;
  };

  bool look(const toolkit::CLeafReader& leaves, timeval stamp);
  bool readWatches(std::vector<std::string>& devices, std::vector<Watch>& watches);
  bool addPoints(const std::vector<toolkit::DeviceNode>& nodes, std::vector<Watch>& watches) const;
  bool adopt(std::vector<Watch> watches);
  toolkit::CEvent eventOf(const toolkit::CLeafReader& leaves, std::size_t index,
                          timeval stamp) const;

  toolkit::CCds& cds_;
  std::vector<std::string> devices_;
  std::optional<std::vector<std::string>> notifiedDevices_;
  std::vector<Watch> watches_;
  std::size_t nodes_ = 0;  // that were looked at
  std::size_t next_ = 0;
  std::optional<timeval> lookedAt_;
  std::optional<timeval> readAt_;
  bool good_ = true;
};

}  // namespace device
