#include "toolkit/leaf_reader.h"

namespace toolkit {

CLeafReader::Handle CLeafReader::add(const std::string& path) {
  paths_.emplace_back(path).normalize();
  return Handle(paths_.size() - 1);
}

bool CLeafReader::read(CCds& cds) {
  return cds.get_leaves(paths_, statuses_, elements_, sources_) == 0;
}

api_status_t CLeafReader::status(Handle leaf) const {
  return leaf.index_ < statuses_.size() ? statuses_[leaf.index_] : API_NONE;
}

element_property_t CLeafReader::source(Handle leaf) const {
  return leaf.index_ < sources_.size() ? sources_[leaf.index_] : ELEMENT_NORMAL;
}

const CElement* CLeafReader::element(Handle leaf) const {
  return status(leaf) == API_SUCCESS ? &elements_[leaf.index_] : nullptr;
}

std::optional<double> CLeafReader::number(Handle leaf) const {
  const CElement* found = element(leaf);
  if (found == nullptr) {
    return std::nullopt;
  }
  switch (found->type()) {
    case DATA_BOOLEAN:
    case DATA_ENUMERATED:
    case DATA_INTEGER:
    case DATA_REAL:
    case DATA_INTEGER64:
      return found->to_double();
    default:
      return std::nullopt;
  }
}

std::string CLeafReader::text(Handle leaf) const {
  const CElement* found = element(leaf);
  return found == nullptr ? std::string() : found->to_string();
}

bool CLeafReader::flag(Handle leaf, bool otherwise) const {
  const CElement* found = element(leaf);
  return found == nullptr ? otherwise : found->to_bool();
}

bool readChildren(CCds& cds, const std::string& node, std::vector<std::string>& children) {
  CPath path(node);
  if (path.normalize() == 0 && path.getChildPaths(cds, children) == 0) {
    return true;
  }
  children.clear();
  api_status_t status = API_NONE;
  return cds.test_node(node, status) == 0 && status != API_SUCCESS;
}

}  // namespace toolkit
