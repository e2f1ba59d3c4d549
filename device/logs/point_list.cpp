#include "logs/point_list.h"

#include "toolkit/time.h"
#include "value_reader.h"

namespace device {

namespace {

constexpr double kRefreshSeconds = 10;
constexpr double kSecondsPerThousand = 10;

}  // namespace

bool PointList::refresh(timeval stamp) {
  const double seconds = refreshSeconds(kRefreshSeconds, kSecondsPerThousand, points_.size());
  if (!toolkit::isDue(readAt_, stamp, seconds)) {
    return true;
  }
  std::vector<toolkit::trend::CPoint> points;
  if (!toolkit::trend::readPoints(cds_, points)) {
    return false;
  }
  if (version_ == 0 || !(points == points_)) {
    points_ = std::move(points);
    ++version_;
  }
  readAt_ = stamp;
  return true;
}

}  // namespace device
