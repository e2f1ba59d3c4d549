#include "toolkit/leaf_batch.h"

#include "toolkit/time.h"

namespace toolkit {

CLeafBatch::CLeafBatch() : stamp_(qel_now()) {}

void CLeafBatch::add(CPath path, CElement element, pcd_tribool_t persist) {
  element.set_time(stamp_);
  paths_.push_back(std::move(path));
  elements_.push_back(std::move(element));
  persist_.push_back(persist);
}

namespace {

api_status_t worstOf(const std::vector<api_status_t>& statuses) {
  api_status_t worst = API_SUCCESS;
  for (const api_status_t status : statuses) {
    if (status != API_SUCCESS && (worst == API_SUCCESS || worst == API_BAD_PATH)) {
      worst = status;
    }
  }
  return worst;
}

}  // namespace

api_status_t CLeafBatch::write(CCds& cds, const std::string& source) const {
  std::vector<api_status_t> statuses;
  if (!paths_.empty()) {
    cds.set_leaves(paths_, elements_, persist_, statuses, source, events_);
  } else if (!events_.empty()) {
    cds.events_send(events_, statuses);
  }
  return worstOf(statuses);
}

api_status_t CLeafBatch::writeOwn(CCds& cds, const std::string& source) const {
  std::vector<api_status_t> statuses;
  cds.set_own_leaves(paths_, elements_, statuses, source);
  return worstOf(statuses);
}

}  // namespace toolkit
