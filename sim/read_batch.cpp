#include "read_batch.h"

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

bool childrenOf(toolkit::CCds& cds, const std::string& node, std::vector<std::string>& children) {
  CPath path(node);
  if (path.normalize() == 0 && path.getChildPaths(cds, children) == 0) return true;
  children.clear();
  api_status_t status = API_NONE;
  return cds.test_node(node, status) == 0 && status != API_SUCCESS;
}

}  // namespace sim
