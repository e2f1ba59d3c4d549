#include "toolkit/leaf_batch.h"

#include <algorithm>

#include "toolkit/time.h"

namespace toolkit {

CLeafBatch::CLeafBatch() : stamp_{} {
  qel_QELtoUNIXtime64(qel_UTCtime64(), &stamp_);
}

void CLeafBatch::add(CPath path, CElement element, pcd_tribool_t persist) {
  element.set_time(stamp_);
  paths_.push_back(std::move(path));
  elements_.push_back(std::move(element));
  persist_.push_back(persist);
}

bool CLeafBatch::write(CCds& cds, const std::string& source) const {
  std::vector<api_status_t> statuses;
  return cds.set_leaves(paths_, elements_, persist_, statuses, source) == 0 &&
         std::all_of(statuses.begin(), statuses.end(),
                     [](api_status_t status) { return status == API_SUCCESS; });
}

}  // namespace toolkit
