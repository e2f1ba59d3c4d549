#include "toolkit/cds.h"

#include "cds/attributes.h"
#include "cds/leaf_access.h"
#include "cds/node_path.h"
#include "store/layout.h"
#include "store/store.h"
#include "store/tree.h"

namespace toolkit {

namespace {

using Leaf = LeafContent;

Leaf automaticLeaf(store::Transaction& transaction, const CPath& path) {
  const std::string& node = path.getNodePath();
  if (!store::nodeExists(transaction, node)) {
    return {API_NOT_FOUND, {}, ELEMENT_NORMAL};
  }
  return {API_SUCCESS,
          CElement(path.getLeafName() == "Children" ? store::joinChildren(transaction, node)
                                                    : store::joinLeaves(transaction, node)),
          ELEMENT_AUTOMATIC};
}

Leaf storedLeaf(store::Transaction& transaction, const CPath& path) {
  const auto record =
      transaction.get(store::Table::kLeaf, store::leafKey(path.getNodePath(), path.getLeafName()));
  Leaf leaf;
  if (!record) {
    leaf.status = API_NOT_FOUND;
  } else if (store::decodeLeaf(*record, leaf.element, leaf.source)) {
    leaf.status = API_SUCCESS;
  }
  return leaf;
}

Leaf elementOfList(const Leaf& list, std::size_t index) {
  std::vector<std::string> texts;
  CElement::split_string(texts, list.element.to_string(), ';');
  if (index >= texts.size()) {
    return {API_NOT_FOUND, {}, ELEMENT_NORMAL};
  }
  Leaf leaf = {API_SUCCESS, CElement(texts[index]), list.source};
  leaf.element.set_time(list.element.time());
  return leaf;
}

Leaf readNormalized(store::Transaction& transaction, const CPath& path) {
  Leaf leaf = isAutomaticLeaf(path.getLeafName()) ? automaticLeaf(transaction, path)
                                                  : storedLeaf(transaction, path);
  return leaf.status == API_SUCCESS && path.isArrayElement()
             ? elementOfList(leaf, *path.arrayIndex())
             : leaf;
}

}  // namespace

LeafContent readLeaf(store::Transaction& transaction, const CPath& path) {
  if (path.is_normalized()) {
    return readNormalized(transaction, path);
  }
  CPath copy = path;
  return copy.normalize() == 0 ? readNormalized(transaction, copy)
                               : Leaf{API_BAD_PATH, {}, ELEMENT_NORMAL};
}

bool isStoredLeaf(const CPath& path) {
  return path.is_normalized() && !path.isArrayElement() && !isAutomaticLeaf(path.getLeafName());
}

CCds::CCds() {
  init();
}

CCds::~CCds() = default;

int CCds::init() {
  if (store_ != nullptr) {
    return 0;
  }
  store_ = store::Store::open(lastError_);
  initialized_ = initialized_ || store_ != nullptr;
  return store_ != nullptr ? 0 : 1;
}

void CCds::close() {
  store_.reset();
  found_ = {};
  lastError_ = "the client is closed";
}

int CCds::get_leaf(const CPath& path, api_status_t& status, CElement& element,
                   element_property_t& source) {
  Leaf leaf;
  int result = 1;
  if (store_ != nullptr) {
    store::ReadTransaction transaction(store_->live());
    leaf = readLeaf(transaction, path);
    result = transaction.status();
  }
  if (result != 0) {
    leaf = {};
    noteFailure(result);
  }
  status = leaf.status;
  element = std::move(leaf.element);
  source = leaf.source;
  return result == 0 ? 0 : 1;
}

std::optional<CElement> CCds::find_leaf(const CPath& path) {
  api_status_t status = API_NONE;
  element_property_t source = ELEMENT_NORMAL;
  std::optional<CElement> element(std::in_place);
  const int result = get_leaf(path, status, *element, source);
  return result == 0 && status == API_SUCCESS ? element : std::nullopt;
}

int CCds::get_leaves(const std::vector<CPath>& paths, std::vector<api_status_t>& statuses,
                     std::vector<CElement>& elements, std::vector<element_property_t>& sources) {
  statuses.assign(paths.size(), API_FAILED);
  elements.assign(paths.size(), CElement());
  sources.assign(paths.size(), ELEMENT_NORMAL);
  if (store_ == nullptr) {
    return 1;
  }
  store::ReadTransaction transaction(store_->live());
  found_ = {transaction.id(), {}};
  for (std::size_t i = 0; i < paths.size() && transaction.status() == 0; ++i) {
    Leaf leaf = readLeaf(transaction, paths[i]);
    if (leaf.status == API_SUCCESS && paths[i].is_normalized()) {
      found_.paths.insert(paths[i].getNodePath());
    }
    statuses[i] = leaf.status;
    elements[i] = std::move(leaf.element);
    sources[i] = leaf.source;
  }
  if (transaction.status() == 0) {
    return 0;
  }
  statuses.assign(paths.size(), API_FAILED);
  elements.assign(paths.size(), CElement());
  sources.assign(paths.size(), ELEMENT_NORMAL);
  noteFailure(transaction.status());
  return 1;
}

int CCds::get_writer(const CPath& path, api_status_t& status, std::string& writer) {
  status = API_FAILED;
  writer.clear();
  if (store_ == nullptr) {
    return 1;
  }
  CPath leaf = path;
  if (!leaf.is_normalized() && leaf.normalize() != 0) {
    status = API_BAD_PATH;
    return 0;
  }
  store::ReadTransaction transaction(store_->live());
  const auto record =
      transaction.get(store::Table::kLeaf, store::leafKey(leaf.getNodePath(), leaf.getLeafName()));
  if (transaction.status() != 0) {
    noteFailure(transaction.status());
    return 1;
  }
  if (!record) {
    status = API_NOT_FOUND;
  } else if (store::decodeWriter(*record, writer)) {
    status = API_SUCCESS;
  }
  return 0;
}

std::size_t CCds::state() {
  if (store_ == nullptr) {
    return 0;
  }
  const store::ReadTransaction transaction(store_->live());
  return transaction.status() == 0 ? transaction.id() : 0;
}

int CCds::test_node(const std::string& nodePath, api_status_t& status) {
  status = API_FAILED;
  if (store_ == nullptr) {
    return 1;
  }
  store::ReadTransaction transaction(store_->live());
  if (transaction.status() == 0 && transaction.id() == found_.state &&
      found_.paths.contains(nodePath)) {
    status = API_SUCCESS;
    return 0;
  }
  const auto node = asNodePath(nodePath);
  if (!node) {
    status = API_BAD_PATH;
    return 0;
  }
  const bool found = store::nodeExists(transaction, *node);
  if (transaction.status() != 0) {
    noteFailure(transaction.status());
    return 1;
  }
  status = found ? API_SUCCESS : API_NOT_FOUND;
  return 0;
}

bool CCds::node_exists(const std::string& nodePath) {
  api_status_t status = API_NONE;
  return test_node(nodePath, status) == 0 && status == API_SUCCESS;
}

void CCds::noteFailure(int code) {
  if (store_ != nullptr) {
    store_->statusOf(code);
    lastError_ = store_->lastError();
  }
}

}  // namespace toolkit
