#include "toolkit/leaf_reader.h"

#include <algorithm>
#include <numeric>

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
  state_ = 0;
  byHash_.clear();
  computed_.clear();
  return Handle(paths_.size() - 1);
}

bool CLeafReader::read(CCds& cds) {
  const int result = cds.handle() == nullptr ? 1 : readFrom(cds.handle());
  // The client knows what to say of a failure.
  return result == 0 || cds.get_leaves(paths_, statuses_, elements_, sources_) == 0;
}

int CLeafReader::readFrom(const std::shared_ptr<store::Store>& store) {
  if (store_.lock() != store) {
    store_ = store;
    state_ = 0;
  }
  store::ChangeRing& changes = store->live().changes();
  const std::uint64_t end = changes.end();
  store::ReadTransaction transaction(store->live());
  if (!readChanged(changes, transaction)) {
    readAll(transaction);
    position_ = end;
    if (transaction.status() == 0) {
      changes.skip(position_, transaction.id());
    }
  }
  state_ = transaction.status() == 0 ? transaction.id() : 0;
  return transaction.status();
}

bool CLeafReader::readChanged(const store::ChangeRing& changes,
                              store::ReadTransaction& transaction) {
  std::vector<std::uint64_t> hashes;
  if (transaction.status() != 0 || state_ == 0 ||
      !changes.collect(position_, state_, transaction.id(), hashes) ||
      hashes.size() > paths_.size()) {
    return false;
  }
  if (byHash_.empty() && computed_.empty()) {
    index();
  }
  std::vector<std::size_t> indices = computed_;
  for (const std::uint64_t hash : hashes) {
    auto found = std::lower_bound(byHash_.begin(), byHash_.end(), std::pair(hash, std::size_t{0}));
    for (; found != byHash_.end() && found->first == hash; ++found) {
      indices.push_back(found->second);
    }
  }
  std::sort(indices.begin(), indices.end());
  indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
  readLeaves(transaction, indices);
  return true;
}

void CLeafReader::index() {
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    if (keys_[i].empty()) {
      computed_.push_back(i);
    } else {
      byHash_.emplace_back(store::leafHash(keys_[i]), i);
    }
  }
  std::sort(byHash_.begin(), byHash_.end());
}

void CLeafReader::readAll(store::ReadTransaction& transaction) {
  statuses_.assign(paths_.size(), API_FAILED);
  elements_.resize(paths_.size());
  sources_.assign(paths_.size(), ELEMENT_NORMAL);
  std::vector<std::size_t> indices(paths_.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  readLeaves(transaction, indices);
}

void CLeafReader::readLeaves(store::ReadTransaction& transaction,
                             const std::vector<std::size_t>& indices) {
  store::Lookup lookup(transaction, store::Table::kLeaf);
  for (const std::size_t i : indices) {
    if (transaction.status() != 0) {
      return;
    }
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
    } else {
      statuses_[i] =
          store::decodeLeaf(*record, elements_[i], sources_[i]) ? API_SUCCESS : API_FAILED;
    }
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
    case DATA_NONE:
    case DATA_TIMEVAL:
    case DATA_STRING:
    case DATA_SAME_AS_VALUE:
      break;
  }
  return std::nullopt;
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
