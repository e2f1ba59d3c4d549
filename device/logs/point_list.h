// PointList: the points that are measured, those with trends, as the store has them now.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "toolkit/trend_points.h"

namespace device {

class PointList {
 public:
  // `cds` must outlive this object.
  explicit PointList(toolkit::CCds& cds) : cds_(cds) {}

  // Reads them when that is due. False when the store cannot be read.
  bool refresh(timeval stamp);
  // Device by device.
  const std::vector<toolkit::trend::CPoint>& points() const { return points_; }
  // Another number with each change; 0 before the first one.
  std::uint64_t version() const { return version_; }

 private:
  toolkit::CCds& cds_;
  std::vector<toolkit::trend::CPoint> points_;
  std::uint64_t version_ = 0;
  std::optional<timeval> readAt_;
};

}  // namespace device
