#include "leaf_batch.h"

#include <algorithm>

namespace sim {

using toolkit::CElement;
using toolkit::CPath;

std::size_t ReadBatch::add(const std::string& path) {
  paths_.emplace_back(path).normalize();
  return paths_.size() - 1;
}

bool ReadBatch::read(toolkit::CCds& cds) {
  return cds.get_leaves(paths_, statuses_, elements_, sources_) == 0;
}

const CElement* ReadBatch::at(std::size_t place) const {
  return place < statuses_.size() && statuses_[place] == API_SUCCESS ? &elements_[place] : nullptr;
}

std::optional<double> ReadBatch::number(std::size_t place) const {
  const CElement* element = at(place);
  if (element == nullptr) return std::nullopt;
  switch (element->type()) {
    case DATA_BOOLEAN:
    case DATA_ENUMERATED:
    case DATA_INTEGER:
    case DATA_REAL:
    case DATA_INTEGER64:
      return element->to_double();
    default:
      return std::nullopt;
  }
}

std::string ReadBatch::text(std::size_t place) const {
  const CElement* element = at(place);
  return element == nullptr ? std::string() : element->to_string();
}

bool ReadBatch::flag(std::size_t place, bool otherwise) const {
  const CElement* element = at(place);
  return element == nullptr ? otherwise : element->to_bool();
}

void WriteBatch::add(const std::string& path, CElement element, pcd_tribool_t persist) {
  element.set_time(stamp_);
  paths_.emplace_back(path);
  elements_.push_back(std::move(element));
  persist_.push_back(persist);
}

bool WriteBatch::write(toolkit::CCds& cds, const std::string& source) const {
  if (paths_.empty()) return true;
  std::vector<api_status_t> statuses;
  return cds.set_leaves(paths_, elements_, persist_, statuses, source) == 0 &&
         std::find(statuses.begin(), statuses.end(), API_READ_ONLY) == statuses.end();
}

bool childrenOf(toolkit::CCds& cds, const std::string& node, std::vector<std::string>& children) {
  CPath path(node);
  if (path.normalize() == 0 && path.getChildPaths(cds, children) == 0) return true;
  children.clear();
  api_status_t status = API_NONE;
  return cds.test_node(node, status) == 0 && status != API_SUCCESS;
}

}  // namespace sim
