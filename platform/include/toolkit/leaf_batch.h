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

  void add(CPath path, CElement element, pcd_tribool_t persist = PCD_FALSE);

  // API_SUCCESS when everything is in the store; an empty batch asks nobody. API_BAD_PATH when bad
  // paths were left out; anything else when the store refused, and nothing is written.
  api_status_t write(CCds& cds, const std::string& source) const;

 private:
  timeval stamp_;
  std::vector<CPath> paths_;
  std::vector<CElement> elements_;
  std::vector<pcd_tribool_t> persist_;
};

}  // namespace toolkit
