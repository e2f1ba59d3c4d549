#include "toolkit/admin.h"

#include <algorithm>
#include <cstdint>

#include "cds/attributes.h"
#include "cds/node_path.h"
#include "cds/watchdog.h"
#include "store/layout.h"
#include "store/rights.h"
#include "store/store.h"
#include "store/tree.h"
#include "toolkit/cds.h"

namespace toolkit::admin {

namespace {

constexpr const char* kSource = "import";

// What a model writes, checked and encoded before any lock is taken.
struct Image {
  struct Leaf {
    const ModelLeaf* leaf;
    std::string record;
  };
  struct Row {
    const Right* right;
    std::uint8_t bits;
  };
  std::vector<Leaf> leaves;
  std::vector<Row> rights;
};

std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string addRight(const Right& right, Image& image) {
  std::uint8_t bits = 0;
  const std::string which = "right of " + quoted(right.user) + " at " + quoted(right.path);
  if (!asNodePath(right.path)) {
    return which + ": the path is not a node path";
  }
  if (right.user.empty() || right.user.find('\0') != std::string::npos ||
      right.path.size() + 1 + right.user.size() > store::kMaxKey) {
    return which + ": the user's name is empty or too long";
  }
  if (!store::parseRights(right.allow, bits)) {
    return which + ": " + quoted(right.allow) + " has letters other than r, w, d, x";
  }
  image.rights.push_back({&right, bits});
  return {};
}

std::string addLeaf(const ModelLeaf& leaf, Image& image) {
  CPath path(leaf.node + ":" + leaf.name);
  const bool isLeaf = path.normalize() == 0 && path.getNodePath() == leaf.node &&
                      path.getLeafName() == leaf.name && path.getSubAttribute().empty() &&
                      !path.isArrayElement();
  if (!isLeaf) {
    return quoted(path.str()) + " is not a leaf path";
  }
  if (isAutomaticLeaf(leaf.name)) {
    return quoted(path.str()) + " is made by the store and cannot be written";
  }
  image.leaves.push_back({&leaf, store::encodeLeaf(leaf.element, leaf.source, kSource)});
  return {};
}

std::string buildImage(const Model& model, Image& image) {
  for (const std::string& node : model.nodes) {
    if (!asNodePath(node)) {
      return quoted(node) + " is not a node path";
    }
  }
  std::string error;
  for (auto right = model.rights.begin(); right != model.rights.end() && error.empty(); ++right) {
    error = addRight(*right, image);
  }
  for (auto leaf = model.leaves.begin(); leaf != model.leaves.end() && error.empty(); ++leaf) {
    error = addLeaf(*leaf, image);
  }
  return error;
}

void write(const Model& model, const Image& image, bool replace,
           store::WriteTransaction& transaction) {
  if (replace) {
    for (const auto table :
         {store::Table::kLeaf, store::Table::kNode, store::Table::kDevice, store::Table::kRight}) {
      transaction.clear(table);
    }
  }
  for (const std::string& node : model.nodes) {
    store::addNode(transaction, node);
  }
  for (const auto& [leaf, record] : image.leaves) {
    store::putLeaf(transaction, leaf->node, leaf->name, leaf->element, record);
  }
  for (const auto& [right, bits] : image.rights) {
    store::putRight(transaction, right->path, right->user, bits);
  }
}

std::string exportLeaves(store::ReadTransaction& transaction, const std::string& node,
                         Model& model) {
  const store::Key prefix = store::leafKey(node, {});
  store::Range leaves(transaction, store::Table::kLeaf, prefix);
  while (leaves.next()) {
    ModelLeaf leaf;
    leaf.node = node;
    leaf.name = leaves.suffix();
    if (!store::decodeLeaf(leaves.value(), leaf.element, leaf.source)) {
      return quoted(store::join(node, leaf.name)) + " is damaged";
    }
    model.leaves.push_back(std::move(leaf));
  }
  return {};
}

// Depth first, each node before its children.
std::string exportTree(store::ReadTransaction& transaction, const std::string& top, Model& model) {
  std::vector<std::string> open = {top};
  while (!open.empty()) {
    const std::string node = std::move(open.back());
    open.pop_back();
    const std::size_t before = model.leaves.size();
    if (std::string error = exportLeaves(transaction, node, model); !error.empty()) {
      return error;
    }
    // The root is always there: it is worth a word only for its leaves.
    if (node != "/" || model.leaves.size() > before) {
      model.nodes.push_back(node);
    }
    const std::size_t first = open.size();
    const store::Key prefix = store::childPrefix(node);
    store::Range children(transaction, store::Table::kNode, prefix);
    while (children.next()) {
      open.push_back(store::join(node, children.suffix()));
    }
    std::reverse(open.begin() + static_cast<std::ptrdiff_t>(first), open.end());
  }
  return {};
}

void exportRights(store::ReadTransaction& transaction, Model& model) {
  store::Range rows(transaction, store::Table::kRight, {});
  while (rows.next()) {
    const std::size_t end = rows.key().find('\0');
    if (end != std::string_view::npos && !rows.value().empty()) {
      model.rights.push_back(
          {std::string(rows.key().substr(0, end)), std::string(rows.key().substr(end + 1)),
           store::formatRights(static_cast<std::uint8_t>(rows.value().front()))});
    }
  }
}

std::string outcome(store::Store& store, api_status_t status) {
  return status == API_SUCCESS ? "" : store.lastError();
}

}  // namespace

std::string importModel(const Model& model, bool replace) {
  Image image;
  if (std::string error = buildImage(model, image); !error.empty()) {
    return error;
  }
  std::string error;
  const auto store = store::Store::openOrCreate(error);
  if (store == nullptr) {
    return error;
  }
  return outcome(*store, store->write([&](store::Change& change) {
    write(model, image, replace, change.live());
    write(model, image, replace, change.persistent());
    store::noteRightsChanged(change.live());
  }));
}

std::string exportModel(const std::string& nodePath, Model& model) {
  model = {};
  std::string error;
  const auto store = store::Store::open(error);
  if (store == nullptr) {
    return error;
  }
  if (!asNodePath(nodePath)) {
    return quoted(nodePath) + " is not a node path";
  }
  store::ReadTransaction transaction(store->live());
  if (!store::nodeExists(transaction, nodePath) && transaction.status() == 0) {
    return "there is no node " + quoted(nodePath);
  }
  error = exportTree(transaction, nodePath, model);
  if (nodePath == "/") {
    exportRights(transaction, model);
  }
  return error.empty() ? outcome(*store, store->statusOf(transaction.status())) : error;
}

std::string makeEmpty() {
  std::string error;
  return store::Store::openOrCreate(error) == nullptr ? error : "";
}

std::string boot() {
  std::string error;
  const auto store = store::Store::open(error);
  return store == nullptr ? error : outcome(*store, store->rebuildLive());
}

std::string watchdogs(std::vector<Watchdog>& out) {
  out.clear();
  std::string error;
  const auto store = store::Store::open(error);
  if (store == nullptr) {
    return error;
  }
  store::ReadTransaction transaction(store->live());
  store::Range rows(transaction, store::Table::kWatchdog, {});
  while (rows.next()) {
    if (const auto record = store::decodeWatchdog(rows.value())) {
      const std::int64_t silent = std::max<std::int64_t>(watchdogSeconds() - record->lastPing, 0);
      out.push_back({std::string(rows.key()), record->periodSeconds,
                     static_cast<int>(std::min<std::int64_t>(silent, INT32_MAX))});
    }
  }
  return outcome(*store, store->statusOf(transaction.status()));
}

std::string usage(std::vector<Usage>& out) {
  out.clear();
  std::string error;
  const auto store = store::Store::open(error);
  if (store == nullptr) {
    return error;
  }
  for (store::Environment* half : {&store->live(), &store->persistent()}) {
    store::ReadTransaction transaction(*half);
    const std::size_t pages = transaction.pages();
    if (transaction.status() != 0) {
      out.clear();
      return half->describe(transaction.status());
    }
    const store::Environment::Sizes sizes = half->sizes();
    out.push_back({half == &store->live() ? "live" : "persistent", pages * sizes.pageBytes,
                   sizes.maxBytes, sizes.clientBytes, sizes.readers, sizes.maxReaders});
  }
  return {};
}

}  // namespace toolkit::admin
