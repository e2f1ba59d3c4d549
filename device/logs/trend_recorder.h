// TrendRecorder: enters the interval trends of the store's points in their file, whoever writes the
// values.
//
// While the quality of a device is not good nothing is measured there: that lowers the percentage
// of its intervals. A file that does not take what is due loses the oldest snapshots when it takes
// nothing for long.
#pragma once

#include <string>
#include <vector>

#include "logs/point_list.h"
#include "toolkit/trend_file.h"
#include "value_reader.h"

namespace device {

class TrendRecorder : public Watcher {
 public:
  static constexpr std::size_t kMaxPending = 1000;

  // `points` must outlive this object. Steps that are further apart than `longestGap` seconds leave
  // a gap.
  TrendRecorder(PointList& points, double longestGap) : list_(points), longestGap_(longestGap) {}

  // Opens the file or makes it. This and step() return false with the reason in lastError().
  bool open(const std::string& path) { return file_.open(path); }
  const std::string& lastError() const { return file_.lastError(); }

  bool refresh(timeval stamp, bool& changed) override;
  void plan(Plan& plan) override;

  // The values as they are now. False when the file did not take what is due: it is kept in memory,
  // the newest kMaxPending snapshots of it, and tried again.
  bool step(const toolkit::CLeafReader& leaves, timeval stamp);

 private:
  struct Device {
    std::string path;
    std::size_t first = 0;  // value
    std::size_t count = 0;
    toolkit::CLeafReader::Handle quality;
    std::vector<toolkit::trend::CIntervals> intervals;  // one a period
  };

  void adopt();
  void follow(std::size_t device, const toolkit::CLeafReader& leaves, timeval stamp);
  bool enter();

  PointList& list_;
  double longestGap_;
  toolkit::trend::CPointFile file_;
  std::uint64_t version_ = 0;  // of the list
  bool accepted_ = true;       // the file has the points of that version
  std::vector<toolkit::trend::CPoint> points_;
  std::vector<toolkit::CLeafReader::Handle> values_;
  std::vector<Device> devices_;
  toolkit::trend::CPointFile::Entries pending_;
};

}  // namespace device
