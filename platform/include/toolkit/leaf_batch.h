// CLeafBatch: leaves that are written together, in one transaction and with one time stamp.
#pragma once

#include <sys/time.h>

#include <string>
#include <vector>

#include "toolkit/cds.h"

namespace toolkit {

class CLeafBatch {
 public:
  // Stamped with the present time.
  CLeafBatch();
  explicit CLeafBatch(timeval stamp) : stamp_(stamp) {}

  bool empty() const { return paths_.empty(); }
  void add(CPath path, CElement element, pcd_tribool_t persist = PCD_FALSE);

  // Writes everything. True when all of it is in the store; else a path was bad and the others are
  // written, or the store refused and nothing is. See CCds::set_leaves.
  bool write(CCds& cds, const std::string& source) const;

 private:
  timeval stamp_;
  std::vector<CPath> paths_;
  std::vector<CElement> elements_;
  std::vector<pcd_tribool_t> persist_;
};

}  // namespace toolkit
