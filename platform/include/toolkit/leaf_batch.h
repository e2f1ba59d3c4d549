// CLeafBatch: leaves that are written together, in one transaction and with one time stamp, and the
// events that tell of them.
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

  void notify(CEvent event) { events_.push_back(std::move(event)); }

  // API_SUCCESS when everything is in the store; an empty batch asks nobody. API_BAD_PATH when bad
  // paths were left out; anything else when the store refused, and nothing is written.
  api_status_t write(CCds& cds, const std::string& source) const;
  // The same by CCds::set_own_leaves: without persistence and events.
  api_status_t writeOwn(CCds& cds, const std::string& source) const;

 private:
  timeval stamp_;
  std::vector<CPath> paths_;
  std::vector<CElement> elements_;
  std::vector<pcd_tribool_t> persist_;
  std::vector<CEvent> events_;
};

}  // namespace toolkit
