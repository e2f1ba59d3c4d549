// SourceWatch: notices a device whose source does not write any more.
//
// When none of the measured points of a device, those with trends, has had a new time stamp for the
// smallest ValueAge of the device's node and of these points, in seconds, or where there is none
// for ten periods of its source and at least five seconds, the device's `.Quality` becomes 0. With
// the next write it becomes what it was before, unless somebody else has written it meanwhile. Both
// are notified as EVENT_QUALITY in the transaction that writes.
//
// What it was is kept in the store, below kSilentPath, so that a restart of this program or of the
// source changes nothing.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "logs/point_list.h"
#include "value_reader.h"

namespace device {

class SourceWatch : public Watcher {
 public:
  static constexpr const char* kSilentPath = "/Software/Silent Devices";
  static constexpr double kMinSeconds = 5;
  static constexpr double kPeriods = 10;
  static constexpr int kBadQuality = 0;

  // The path of a quality, and its new value.
  using Change = std::pair<std::string, int>;

  // `cds` and `points` must outlive this object.
  SourceWatch(toolkit::CCds& cds, PointList& points) : cds_(cds), list_(points) {}

  bool refresh(timeval stamp, bool& changed) override;
  void plan(Plan& plan) override;

  // So many seconds have passed. False when the store refused: the next step tries again.
  bool step(const toolkit::CLeafReader& leaves, double seconds, timeval stamp);
  // What the last step has notified.
  const std::vector<Change>& changes() const { return changes_; }

 private:
  struct Device {
    std::string path;
    std::size_t first = 0;  // point
    std::size_t end = 0;
    toolkit::CLeafReader::Handle quality;
    toolkit::CLeafReader::Handle before;  // the quality that it had
    std::optional<double> valueAge;
    timeval newest = {};   // time stamp
    bool seen = false;     // it has been looked at
    bool written = false;  // and what follows of that is not done
    double silent = 0;     // seconds
    double period = 0;     // of the source, seconds
    bool ended = false;    // this program has written the bad quality
  };

  bool readValueAges(std::vector<Device>& devices);
  void adopt(std::vector<Device> devices);
  static bool isOverdue(const Device& device);
  void follow(Device& device, const toolkit::CLeafReader& leaves, double seconds);
  bool end(Device& device, const toolkit::CLeafReader& leaves, timeval stamp);
  bool resume(Device& device, const toolkit::CLeafReader& leaves, timeval stamp);
  bool isOwn(const std::string& leaf, bool& own);

  toolkit::CCds& cds_;
  PointList& list_;
  std::uint64_t version_ = 0;  // of the list
  std::optional<timeval> readAt_;
  std::vector<Device> devices_;
  std::vector<toolkit::CLeafReader::Handle> values_;
  std::vector<Change> changes_;
};

}  // namespace device
