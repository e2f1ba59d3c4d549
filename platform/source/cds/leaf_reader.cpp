#include "toolkit/leaf_reader.h"

#include "cds/leaf_access.h"
#include "store/layout.h"
#include "store/store.h"

namespace toolkit {

CLeafReader::Handle CLeafReader::add(const std::string& path) {
  CPath& leaf = paths_.emplace_back(path);
  leaf.normalize();
  keys_.emplace_back();
  if (isStoredLeaf(leaf)) {
    keys_.back() = store::leafKey(leaf.getNodePath(), leaf.getLeafName());
  }
  return Handle(paths_.size() - 1);
}

bool CLeafReader::read(CCds& cds) {
  statuses_.assign(paths_.size(), API_FAILED);
  elements_.resize(paths_.size());
  sources_.assign(paths_.size(), ELEMENT_NORMAL);
  int result = 1;
  if (cds.handle() != nullptr) {
    readAll(*cds.handle(), result);
  }
  // The client knows what to say of a failure.
  return result == 0 || cds.get_leaves(paths_, statuses_, elements_, sources_) == 0;
}

void CLeafReader::readAll(store::Store& store, int& result) {
  store::ReadTransaction transaction(store.live());
  store::Lookup lookup(transaction, store::Table::kLeaf);
  for (std::size_t i = 0; i < paths_.size() && transaction.status() == 0; ++i) {
    if (keys_[i].empty()) {
      LeafContent leaf = readLeaf(transaction, paths_[i]);
      statuses_[i] = leaf.status;
      elements_[i] = std::move(leaf.element);
      sources_[i] = leaf.source;
      continue;
    }
    const auto record = lookup.get(keys_[i]);
    if (!record) {
      statuses_[i] = API_NOT_FOUND;
    } else if (store::decodeLeaf(*record, elements_[i], sources_[i])) {
      statuses_[i] = API_SUCCESS;
    }
  }
  result = transaction.status();
  if (result != 0) {
    statuses_.assign(paths_.size(), API_FAILED);
  }
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
