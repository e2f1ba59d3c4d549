#include "subscription_tree.h"

#include "toolkit/leaf_reader.h"
#include "toolkit/run_lock.h"
#include "toolkit/sw_info.h"
#include "toolkit/time.h"
#include "toolkit/trees.h"

namespace wspub {

using toolkit::CElement;
using toolkit::CLeafReader;
using toolkit::CPath;

namespace {

constexpr const char* kSource = "wspub";
constexpr std::int64_t kLeftoverAge = 60'000'000;
constexpr std::chrono::milliseconds kNoPatience(0);  // the deliveries go on

std::string baseOf(const std::string& id) {
  return std::string(toolkit::kSubscriptionsPath) + "/" + id;
}

std::string pointNode(const std::string& id, const std::string& name) {
  std::string node = baseOf(id);
  node += "/RTNodes/";
  node += name;
  return node;
}

// A leaf that is missing has no value.
CElement elementOf(const CLeafReader& leaves, CLeafReader::Handle leaf) {
  const CElement* const found = leaves.element(leaf);
  return found != nullptr ? *found : CElement();
}

bool hasValue(const CElement& element) {
  return element.type() != DATA_NONE;
}

// No names for a node that is not there; false when the store failed.
bool childNames(toolkit::CCds& cds, const std::string& node, std::vector<std::string>& names) {
  names.clear();
  api_status_t status = API_NONE;
  if (cds.test_node(node, status) != 0) {
    return false;
  }
  CPath path(node);
  if (status != API_SUCCESS) {
    return true;
  }
  if (path.normalize() != 0 || path.getChildPaths(cds, names) != 0) {
    return false;
  }
  for (std::string& name : names) {
    name.erase(0, node.size() + 1);
  }
  return true;
}

}  // namespace

bool SubscriptionTree::ids(std::vector<std::string>& ids) {
  return childNames(cds_, toolkit::kSubscriptionsPath, ids);
}

bool SubscriptionTree::terms(const std::string& id, std::optional<Terms>& terms) {
  const std::string base = baseOf(id);
  terms.reset();
  CLeafReader leaves;
  const auto replyUri = leaves.add(base + "/ReplyURI");
  const auto leaseDuration = leaves.add(base + "/LeaseDuration");
  const auto logSinceTime = leaves.add(base + "/LogSinceTime");
  const auto logOptions = leaves.add(base + "/LogOptions");
  const auto nodeCount = leaves.add(base + "/RTNodeCount");
  const auto lastEvent = leaves.add(base + "/LastEvent");
  if (!leaves.read(cds_)) {
    return false;
  }
  Terms found{.replyUri = elementOf(leaves, replyUri),
              .leaseDuration = elementOf(leaves, leaseDuration),
              .logSinceTime = elementOf(leaves, logSinceTime),
              .logOptions = elementOf(leaves, logOptions),
              .nodeCount = elementOf(leaves, nodeCount),
              .lastEvent = std::nullopt,
              .user = {}};
  if (!hasValue(found.replyUri) || !hasValue(found.nodeCount)) {
    return true;
  }
  if (const CElement last = elementOf(leaves, lastEvent); hasValue(last)) {
    found.lastEvent = static_cast<std::uint64_t>(last.to_int64());
  }
  found.user = userOf(base + "/ReplyURI");
  terms = std::move(found);
  return true;
}

bool SubscriptionTree::points(const std::string& id, std::map<std::string, PointTerms>& points) {
  std::vector<std::string> names;
  if (!childNames(cds_, baseOf(id) + "/RTNodes", names)) {
    return false;
  }
  struct PointLeaves {
    CLeafReader::Handle freshness;
    CLeafReader::Handle deadband;
  };
  CLeafReader leaves;
  std::map<std::string, PointLeaves> found;
  for (const std::string& name : names) {
    const std::string node = pointNode(id, name);
    found[name] = {leaves.add(node + "/RqstdFreshness"), leaves.add(node + "/Deadband")};
  }
  if (!leaves.read(cds_)) {
    return false;
  }
  for (const auto& [name, point] : found) {
    points[name] = {elementOf(leaves, point.freshness).to_int(),
                    elementOf(leaves, point.deadband).to_double(),
                    userOf(pointNode(id, name) + "/Deadband")};
  }
  return true;
}

bool SubscriptionTree::marks(const std::vector<std::string>& ids, Marks& marks) {
  CLeafReader leaves;
  const auto counter = leaves.add(toolkit::kSubscriptionCounter);
  std::map<std::string, CLeafReader::Handle> nodeCounts;
  for (const std::string& id : ids) {
    nodeCounts[id] = leaves.add(baseOf(id) + "/RTNodeCount");
  }
  if (!leaves.read(cds_)) {
    return false;
  }
  marks.counter = elementOf(leaves, counter);
  for (const auto& [id, nodeCount] : nodeCounts) {
    marks.nodeCounts[id] = elementOf(leaves, nodeCount);
  }
  return true;
}

bool SubscriptionTree::removeLapsed(const std::string& id, const Terms& terms) {
  const toolkit::CRunLock lock(toolkit::kSubscriptionLock, kNoPatience);
  const std::string base = baseOf(id);
  api_status_t status = API_NONE;
  if (!lock.isHeld() ||
      cds_.remove_node_if(base, base + "/RTNodeCount", terms.nodeCount, status, kSource) != 0 ||
      status != API_SUCCESS) {
    return false;
  }
  toolkit::CCds_SwInfo(cds_, kSource).UpdateIntValue("", toolkit::kSubscriptionCounter, 1, nullptr);
  return true;
}

void SubscriptionTree::removeLeftover(const std::string& id) {
  const toolkit::CRunLock lock(toolkit::kSubscriptionLock, kNoPatience);
  const std::string base = baseOf(id);
  CLeafReader leaves;
  const auto replyUri = leaves.add(base + "/ReplyURI");
  const auto nodeCount = leaves.add(base + "/RTNodeCount");
  const auto lastEvent = leaves.add(base + "/LastEvent");
  if (!lock.isHeld() || !leaves.read(cds_) || hasValue(elementOf(leaves, replyUri))) {
    return;
  }
  const bool hasCount = hasValue(elementOf(leaves, nodeCount));
  const CElement newest = elementOf(leaves, hasCount ? nodeCount : lastEvent);
  const timeval written = newest.time();
  if (hasValue(newest) && qel_UTCtime64() - qel_UNIXtoQELtime64(&written) > kLeftoverAge) {
    api_status_t status = API_NONE;
    cds_.remove_node_if(base, base + (hasCount ? "/RTNodeCount" : "/LastEvent"), newest, status,
                        kSource);
  }
}

void SubscriptionTree::noteLastEvent(const std::string& id, const Terms& terms,
                                     std::uint64_t number) {
  const std::string base = baseOf(id);
  CLeafReader leaves;
  const auto replyUri = leaves.add(base + "/ReplyURI");
  const auto nodeCount = leaves.add(base + "/RTNodeCount");
  if (!leaves.read(cds_) || !(elementOf(leaves, replyUri) == terms.replyUri) ||
      !hasValue(elementOf(leaves, nodeCount))) {
    return;
  }
  CElement element(static_cast<std::int64_t>(number));
  element.set_time(qel_now());
  api_status_t status = API_NONE;
  cds_.set_leaf(base + "/LastEvent", element, status, PCD_FALSE, kSource);
}

std::string SubscriptionTree::userOf(const std::string& leaf) {
  api_status_t status = API_NONE;
  std::string writer;
  cds_.get_writer(leaf, status, writer);
  return toolkit::CEvent::user_of_source(writer);
}

}  // namespace wspub
