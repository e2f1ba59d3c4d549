// The points of the store that have interval trends.
//
// A point of a device (see device_nodes.h) has trends when its `.TrendTraits` names what they keep,
// of "Min", "Max", "Avg" and "Actual", joined by ";". "PowerFactor" among them makes it a value of
// that type. Any case; other words do not count.
#pragma once

#include <string>
#include <vector>

#include "toolkit/cds.h"
#include "toolkit/trend.h"

namespace toolkit::trend {

struct CPoint {
  std::string device;
  CParamProperties param;  // without its index

  // It only counts on: there is nothing between its values.
  bool isCounter() const { return !param.hasMin && !param.hasMax && !param.hasAvg; }
  friend bool operator==(const CPoint& a, const CPoint& b);
};

// False for traits that keep nothing.
bool readTraits(const std::string& traits, CParamProperties& param);
// Device by device. False when the store cannot be read.
bool readPoints(CCds& cds, std::vector<CPoint>& points);

}  // namespace toolkit::trend
