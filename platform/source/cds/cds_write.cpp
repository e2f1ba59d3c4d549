#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "cds/attributes.h"
#include "cds/event_queue.h"
#include "cds/node_path.h"
#include "store/layout.h"
#include "store/store.h"
#include "store/tree.h"
#include "toolkit/cds.h"
#include "toolkit/time.h"

namespace toolkit {

namespace {

// Nodes that other programs of the device count on.
constexpr std::array<std::string_view, 5> kProtectedNodes = {
    "/", "/Software", "/Alarms", "/Software/Data Servers", "/Software/Commands"};

// A path that may be written to, normalised.
std::optional<CPath> asWritable(const CPath& path) {
  CPath copy = path;
  if ((!copy.is_normalized() && copy.normalize() != 0) || !copy.getSubAttribute().empty() ||
      copy.isArrayElement() || copy.getLeafName().empty() || isAutomaticLeaf(copy.getLeafName())) {
    return std::nullopt;
  }
  return copy;
}

struct Entry {
  std::string node;
  std::string leaf;
  const CElement* element = nullptr;
  bool persistent = false;
  std::string record;
};

// The entries of the paths that may be written to; `statuses` tells of each path.
std::vector<Entry> entriesOf(const std::vector<CPath>& paths, const std::vector<CElement>& elements,
                             const std::vector<pcd_tribool_t>& persist, const std::string& source,
                             std::vector<api_status_t>& statuses) {
  std::vector<Entry> entries;
  entries.reserve(paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const auto path = asWritable(paths[i]);
    statuses[i] = path ? API_SUCCESS : API_BAD_PATH;
    if (path) {
      const bool persistent = persist[i] == PCD_TRUE;
      entries.push_back(
          {path->getNodePath(), path->getLeafName(), &elements[i], persistent,
           store::encodeLeaf(elements[i], persistent ? ELEMENT_PERSISTENT : ELEMENT_NORMAL,
                             source)});
    }
  }
  return entries;
}

void writeAll(store::Change& change, const std::vector<Entry>& entries) {
  for (const Entry& entry : entries) {
    store::putLeaf(change.live(), entry.node, entry.leaf, *entry.element, entry.record);
    if (entry.persistent) {
      store::putLeaf(change.persistent(), entry.node, entry.leaf, *entry.element, entry.record);
    }
  }
}

}  // namespace

int CCds::set_leaf(const CPath& path, const CElement& element, api_status_t& status,
                   pcd_tribool_t persist, const std::string& source) {
  std::vector<api_status_t> statuses;
  const int result = set_leaves({path}, {element}, {persist}, statuses, source);
  status = statuses.front();
  return result;
}

int CCds::set_own_leaf(const CPath& path, const CElement& element, api_status_t& status,
                       const std::string& source) {
  std::vector<api_status_t> statuses;
  const int result = set_own_leaves({path}, {element}, statuses, source);
  status = statuses.front();
  return result;
}

int CCds::set_own_leaves(const std::vector<CPath>& paths, const std::vector<CElement>& elements,
                         std::vector<api_status_t>& statuses, const std::string& source) {
  const bool readOnly = std::exchange(readOnly_, false);
  const bool forClients = std::exchange(forClients_, false);
  const std::vector<pcd_tribool_t> persist(paths.size(), PCD_FALSE);
  const int result = set_leaves(paths, elements, persist, statuses, source);
  readOnly_ = readOnly;
  forClients_ = forClients;
  return result;
}

int CCds::set_leaves(const std::vector<CPath>& paths, const std::vector<CElement>& elements,
                     const std::vector<pcd_tribool_t>& persist, std::vector<api_status_t>& statuses,
                     const std::string& source, const std::vector<CEvent>& events) {
  statuses.assign(paths.size(), API_FAILED);
  if (store_ == nullptr || elements.size() != paths.size() || persist.size() != paths.size()) {
    return 1;
  }
  if (readOnly_) {
    statuses.assign(paths.size(), API_READ_ONLY);
    return 0;
  }
  const std::vector<Entry> entries = entriesOf(paths, elements, persist, source, statuses);
  if (entries.empty() && events.empty()) {
    return 0;
  }
  const api_status_t written = write([&](store::Change& change) {
    writeAll(change, entries);
    for (const CEvent& event : events) {
      enqueueEvent(change.live(), event);
    }
  });
  std::replace(statuses.begin(), statuses.end(), API_SUCCESS, written);
  return written == API_SUCCESS ? 0 : 1;
}

int CCds::add_to_leaf(const CPath& path, int delta, int* sum, api_status_t& status,
                      const std::string& source, pcd_tribool_t persist) {
  const auto leaf = asWritable(path);
  return change(leaf.has_value(), status, [&](store::Change& change) {
    const auto record = change.live().get(store::Table::kLeaf,
                                          store::leafKey(leaf->getNodePath(), leaf->getLeafName()));
    CElement element;
    element_property_t property = ELEMENT_NORMAL;
    if (record) {
      store::decodeLeaf(*record, element, property);
    }
    const auto value = static_cast<std::int32_t>(static_cast<std::uint32_t>(element.to_int()) +
                                                 static_cast<std::uint32_t>(delta));
    element = CElement(value);
    element.set_time(qel_now());
    const bool persistent = persist == PCD_TRUE;
    writeAll(
        change,
        {{leaf->getNodePath(), leaf->getLeafName(), &element, persistent,
          store::encodeLeaf(element, persistent ? ELEMENT_PERSISTENT : ELEMENT_NORMAL, source)}});
    if (sum != nullptr) {
      *sum = value;
    }
    return API_SUCCESS;
  });
}

int CCds::clear_leaf(const CPath& path, api_status_t& status, const std::string& /*source*/) {
  const auto leaf = asWritable(path);
  return change(leaf.has_value(), status, [&](store::Change& change) {
    change.removes();
    const store::Key key = store::leafKey(leaf->getNodePath(), leaf->getLeafName());
    const bool persistent = change.isPersistent(store::Table::kLeaf, key);
    if (!persistent && !change.live().contains(store::Table::kLeaf, key)) {
      return API_NOT_FOUND;
    }
    store::eraseLeaf(change.live(), leaf->getNodePath(), leaf->getLeafName());
    if (persistent) {
      store::eraseLeaf(change.persistent(), leaf->getNodePath(), leaf->getLeafName());
    }
    return API_SUCCESS;
  });
}

int CCds::add_node(const std::string& nodePath, api_status_t& status,
                   const std::string& /*source*/) {
  const auto node = asNodePath(nodePath);
  return change(node.has_value(), status, [&](store::Change& change) {
    store::addNode(change.live(), *node);
    return API_SUCCESS;
  });
}

namespace {

api_status_t removeFromBoth(store::Change& change, const std::string& node) {
  change.removes();
  if (std::find(kProtectedNodes.begin(), kProtectedNodes.end(), node) != kProtectedNodes.end()) {
    return API_NOT_AUTHORIZED;
  }
  const bool persistent = change.isPersistent(store::Table::kNode, store::nodeKey(node));
  if (!persistent && !store::nodeExists(change.live(), node)) {
    return API_NOT_FOUND;
  }
  store::removeNode(change.live(), node);
  if (persistent) {
    store::removeNode(change.persistent(), node);
  }
  return API_SUCCESS;
}

}  // namespace

int CCds::remove_node(const std::string& nodePath, api_status_t& status,
                      const std::string& /*source*/) {
  const auto node = asNodePath(nodePath);
  return change(node.has_value(), status,
                [&](store::Change& change) { return removeFromBoth(change, *node); });
}

int CCds::remove_node_if(const std::string& nodePath, const CPath& leaf, const CElement& expected,
                         api_status_t& status, const std::string& /*source*/) {
  const auto node = asNodePath(nodePath);
  const auto condition = asWritable(leaf);
  return change(node && condition, status, [&](store::Change& change) {
    const auto record = change.live().get(
        store::Table::kLeaf, store::leafKey(condition->getNodePath(), condition->getLeafName()));
    CElement element;
    element_property_t property = ELEMENT_NORMAL;
    const bool asExpected =
        record && store::decodeLeaf(*record, element, property) && element == expected;
    return asExpected ? removeFromBoth(change, *node) : API_NOT_FOUND;
  });
}

int CCds::change(bool goodPath, api_status_t& status,
                 const std::function<api_status_t(store::Change&)>& body) {
  status = API_FAILED;
  if (store_ == nullptr) {
    return 1;
  }
  if (!goodPath || readOnly_) {
    status = goodPath ? API_READ_ONLY : API_BAD_PATH;
    return 0;
  }
  api_status_t outcome = API_FAILED;
  const api_status_t written = write([&](store::Change& change) { outcome = body(change); });
  status = written == API_SUCCESS ? outcome : written;
  return written == API_SUCCESS ? 0 : 1;
}

api_status_t CCds::write(const std::function<void(store::Change&)>& body) {
  const api_status_t status =
      store_->write(body, forClients_ ? store::For::kClients : store::For::kDevice);
  if (status != API_SUCCESS) {
    lastError_ = store_->lastError();
  }
  return status;
}

api_status_t CCds::writeOwn(const std::function<void(store::Change&)>& body) {
  const bool forClients = std::exchange(forClients_, false);
  const api_status_t status = write(body);
  forClients_ = forClients;
  return status;
}

}  // namespace toolkit
