#include "subscriptions/subscription_nodes.h"

#include <exception>

using toolkit::tagnval;

namespace {

// All templates have the same group; a node's name is relative to the subscription or to the
// real-time node.
constexpr const char* kGroup = toolkit::kSubscriptionsPath;

constexpr tagnval Node_replyUri[] = {{kGroup, "/ReplyURI"},
                                     {"/NodeType", "Point"},
                                     {"/ValueType", "String"},
                                     {"/Value", "replyUri"},
                                     {nullptr, nullptr}};

constexpr tagnval Node_LeaseDuration[] = {{kGroup, "/LeaseDuration"}, {"/NodeType", "Point"},
                                          {"/ValueType", "Integer"},  {"/Value", "20"},
                                          {"/Units", "milliseconds"}, {nullptr, nullptr}};

constexpr tagnval Node_LogSinceTime[] = {{kGroup, "/LogSinceTime"},
                                         {"/NodeType", "Point"},
                                         {"/ValueType", "timeval"},
                                         {"/Value", "1234"},
                                         {nullptr, nullptr}};

constexpr tagnval Node_LogOptions[] = {{kGroup, "/LogOptions"},   {"/NodeType", "Point"},
                                       {"/ValueType", "Integer"}, {"/Value", "8"},
                                       {"/Units", "no-units"},    {nullptr, nullptr}};

constexpr tagnval Node_RTNodeCount[] = {{kGroup, "/RTNodeCount"},  {"/NodeType", "Point"},
                                        {"/ValueType", "Integer"}, {"/Value", "0"},
                                        {"/Units", "no-units"},    {nullptr, nullptr}};

constexpr tagnval Node_RTNodes[] = {{kGroup, "/RTNodes"},
                                    {"/NodeType", "Collection"},
                                    {"/ValueType", "None"},
                                    {"/HasDynamicChildren", "true"},
                                    {nullptr, nullptr}};

// The subscription's own node: nobody reads these, so they are in neither list.
[[maybe_unused]] constexpr tagnval Node_Subscription[] = {
    {kGroup, ""}, {"/NodeType", "Collection"}, {"/ValueType", "None"}, {nullptr, nullptr}};

constexpr tagnval Node_RTNodeColl[] = {
    {kGroup, ""}, {"/NodeType", "Collection"}, {"/ValueType", "None"}, {nullptr, nullptr}};

constexpr tagnval Node_RqstdFreshness[] = {{kGroup, "/RqstdFreshness"}, {"/NodeType", "Point"},
                                           {"/ValueType", "Integer"},   {"/Value", "0"},
                                           {"/Units", "milliseconds"},  {nullptr, nullptr}};

constexpr tagnval Node_Deadband[] = {{kGroup, "/Deadband"},  {"/NodeType", "Point"},
                                     {"/ValueType", "Real"}, {"/Value", "0.0"},
                                     {"/Units", "percent"},  {nullptr, nullptr}};

}  // namespace

const tagnval* const SwSubscriptionNodes[] = {
    Node_replyUri,   Node_LeaseDuration, Node_LogSinceTime,
    Node_LogOptions, Node_RTNodeCount,   Node_RTNodes,
    nullptr};

const tagnval* const SwSubscrptnRTNodes[] = {Node_RTNodeColl, Node_RqstdFreshness, Node_Deadband,
                                             nullptr};

int LoadNodeLeaves(_global_data_t* glptr, const std::string& path, const tagnval* const* records) {
  try {
    toolkit::CCds_SwInfo node(glptr->cdsApi, path);
    int result = 0;
    for (; result == 0 && *records != nullptr; ++records) {
      result = node.FillSwInfoNode(*records);
    }
    return result;
  } catch (const std::exception& e) {
    __psyslog->info(1, "LoadNodeLeaves: Unexpected Exception %s", e.what());
    return -1;
  }
}

void addNodeLeaves(const std::string& path, const tagnval* const* records,
                   toolkit::CLeafBatch& batch) {
  for (; *records != nullptr; ++records) {
    toolkit::CCds_SwInfo::AddSwInfoNode(path, *records, batch);
  }
}

void GetSubscrptBasePath(const std::string* subscriptionId, std::string& out) {
  out = std::string(toolkit::kSubscriptionsPath) + "/";
  if (subscriptionId != nullptr) {
    out += *subscriptionId;
  }
}

bool isSubscriptionId(const std::string& id) {
  return id.find('/') == std::string::npos;
}

std::string pointNodeName(const std::string& path) {
  std::string name;
  toolkit::CPath::PathToNodeName(path, name);
  if (!name.empty() || path.empty() || path == "/") {
    return name;
  }
  // What would end a component, a path or a list of names is replaced.
  name = "?|";
  for (const char c : path) {
    name += c == '/'                                          ? '|'
            : c == ':'                                        ? '!'
            : c == ';' || static_cast<unsigned char>(c) < ' ' ? '?'
                                                              : c;
  }
  return name;
}

bool subscriptionExists(_global_data_t* glptr, const std::string* subscriptionId) {
  std::string base;
  GetSubscrptBasePath(subscriptionId, base);
  return subscriptionId != nullptr && isSubscriptionId(*subscriptionId) &&
         glptr->cdsApi.node_exists(base);
}
