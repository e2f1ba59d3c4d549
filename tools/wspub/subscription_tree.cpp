#include "subscription_tree.h"

#include "toolkit/sw_info.h"
#include "toolkit/time.h"
#include "toolkit/trees.h"

namespace wspub {

using toolkit::CElement;
using toolkit::CPath;

namespace {

constexpr const char* kSource = "wspub";
constexpr std::int64_t kLeftoverAge = 60'000'000;

std::string baseOf(const std::string& id) {
  return std::string(toolkit::kSubscriptionsPath) + "/" + id;
}

std::string pointNode(const std::string& id, const std::string& name) {
  std::string node = baseOf(id);
  node += "/RTNodes/";
  node += name;
  return node;
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
  std::vector<CElement> leaves;
  terms.reset();
  if (!read({base + "/ReplyURI", base + "/LeaseDuration", base + "/LogSinceTime",
             base + "/LogOptions", base + "/RTNodeCount", base + "/LastEvent"},
            leaves)) {
    return false;
  }
  if (leaves[0].type() == DATA_NONE || leaves[4].type() == DATA_NONE) {
    return true;
  }
  terms = {leaves[0],
           leaves[1],
           leaves[2],
           leaves[3],
           leaves[4],
           std::nullopt,
           userOf(base + "/ReplyURI")};
  if (leaves[5].type() != DATA_NONE) {
    terms->lastEvent = static_cast<std::uint64_t>(leaves[5].to_int64());
  }
  return true;
}

bool SubscriptionTree::points(const std::string& id, std::map<std::string, PointTerms>& points) {
  std::vector<std::string> names;
  if (!childNames(cds_, baseOf(id) + "/RTNodes", names)) {
    return false;
  }
  std::vector<CPath> paths;
  paths.reserve(2 * names.size());
  for (const std::string& name : names) {
    const std::string node = pointNode(id, name);
    paths.emplace_back(node + "/RqstdFreshness");
    paths.emplace_back(node + "/Deadband");
  }
  std::vector<CElement> leaves;
  if (!read(paths, leaves)) {
    return false;
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    points[names[i]] = {leaves[2 * i].to_int(), leaves[2 * i + 1].to_double(),
                        userOf(paths[2 * i + 1].str())};
  }
  return true;
}

bool SubscriptionTree::marks(const std::vector<std::string>& ids, std::vector<CElement>& marks) {
  std::vector<CPath> paths = {toolkit::kSubscriptionCounter};
  for (const std::string& id : ids) {
    paths.emplace_back(baseOf(id) + "/RTNodeCount");
  }
  return read(paths, marks);
}

bool SubscriptionTree::removeLapsed(const std::string& id, const Terms& terms) {
  const std::string base = baseOf(id);
  api_status_t status = API_NONE;
  if (cds_.remove_node_if(base, base + "/RTNodeCount", terms.nodeCount, status, kSource) != 0 ||
      status != API_SUCCESS) {
    return false;
  }
  toolkit::CCds_SwInfo(cds_, kSource).UpdateIntValue("", toolkit::kSubscriptionCounter, 1, nullptr);
  return true;
}

void SubscriptionTree::removeLeftover(const std::string& id) {
  const std::string base = baseOf(id);
  const std::vector<CPath> paths = {base + "/ReplyURI", base + "/RTNodeCount", base + "/LastEvent"};
  std::vector<CElement> leaves;
  if (!read(paths, leaves) || leaves[0].type() != DATA_NONE) {
    return;
  }
  const std::size_t newest = leaves[1].type() != DATA_NONE ? 1 : 2;
  const timeval written = leaves[newest].time();
  if (leaves[newest].type() != DATA_NONE &&
      qel_UTCtime64() - qel_UNIXtoQELtime64(&written) > kLeftoverAge) {
    api_status_t status = API_NONE;
    cds_.remove_node_if(base, paths[newest], leaves[newest], status, kSource);
  }
}

void SubscriptionTree::noteLastEvent(const std::string& id, const Terms& terms,
                                     std::uint64_t number) {
  const std::string base = baseOf(id);
  std::vector<CElement> leaves;
  if (!read({base + "/ReplyURI", base + "/RTNodeCount"}, leaves) ||
      !(leaves[0] == terms.replyUri) || leaves[1].type() == DATA_NONE) {
    return;
  }
  CElement element(static_cast<std::int64_t>(number));
  element.set_time(qel_now());
  api_status_t status = API_NONE;
  cds_.set_leaf(base + "/LastEvent", element, status, PCD_FALSE, kSource);
}

bool SubscriptionTree::read(const std::vector<CPath>& paths, std::vector<CElement>& elements) {
  std::vector<api_status_t> statuses;
  std::vector<element_property_t> sources;
  return cds_.get_leaves(paths, statuses, elements, sources) == 0;
}

std::string SubscriptionTree::userOf(const std::string& leaf) {
  api_status_t status = API_NONE;
  std::string writer;
  cds_.get_writer(leaf, status, writer);
  return toolkit::CEvent::user_of_source(writer);
}

}  // namespace wspub
