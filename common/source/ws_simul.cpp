// Node maintenance: leaves and nodes written, made and removed without the rules of the value
// operations, the points of a subscription, and the restart of the device. What a caller has no
// right to is refused with kUnauthorized; other failures are error strings in the reply.
//
// The nodes that other programs of the device count on cannot be removed, see CCds::remove_node().
#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>

#include "front/global_data.h"
#include "soap_records.h"
#include "subscriptions/subscription_nodes.h"
#include "values/batch_writing.h"
#include "values/error_strings.h"
#include "values/reading.h"
#include "values/service_options.h"
#include "values/writing.h"

using namespace toolkit::ws;
using toolkit::CPath;

namespace {

constexpr const char* kReboot = "/sbin/reboot";

bool mayWrite(const std::string& path) {
  CPath target(path);
  if (target.normalize() != 0 || target.is_write_authorized()) {
    return true;
  }
  __psyslog->notice(1, "Unauthorized attempt to write to %s", path.c_str());
  return false;
}

// A node that was made although its leaves may not be written would be left half done. Bad paths
// are refused where they are written.
bool mayWriteAll(const std::vector<std::string>& paths) {
  return std::all_of(paths.begin(), paths.end(), mayWrite);
}

std::string withoutEnd(const std::string& path) {
  const bool hasEnd = path.ends_with(':') || path.ends_with('/');
  return hasEnd ? path.substr(0, path.size() - 1) : path;
}

// The index of the last "Value"; 0 when there is none.
std::size_t indexOfValue(const std::vector<std::string>& paths) {
  std::size_t index = 0;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (paths[i] == "Value") {
      index = i;
    }
  }
  return index;
}

bool removeAt(_global_data_t* glptr, const std::string& basePath, const CPath& path) {
  api_status_t status = API_NONE;
  const int result = basePath.find(':') != std::string::npos
                         ? glptr->cdsApi.clear_leaf(path, status, writeSource(*glptr))
                         : glptr->cdsApi.remove_node(basePath, status, writeSource(*glptr));
  return result == 0 && status == API_SUCCESS;
}

// Makes the node, and the missing ones above it; one ":" or "/" at the end is dropped. 0 also when
// the node was there already; else the store's failure, and API_FAILED for a bad path. Asks for no
// right: its caller has.
int pcd_AddNode(struct soap* ctx, const std::string& path) {
  _global_data_t* glptr = globalData(ctx);
  const std::string node = withoutEnd(path);
  if (glptr->cdsApi.node_exists(node)) {
    return 0;
  }
  api_status_t status = API_NONE;
  const int result = glptr->cdsApi.add_node(node, status, writeSource(*glptr));
  return result == 0 && status != API_SUCCESS ? API_FAILED : result;
}

// Only returns when no restart could be begun.
void reboot(const _global_data_t& global) {
  char name[] = "/sbin/reboot";
  char force[] = "-f";
  char* const plain[] = {name, nullptr};
  char* const forced[] = {name, force, nullptr};
  global.execute(kReboot, plain);
  global.execute(kReboot, forced);
}

}  // namespace

int __nst1__CreateNode(struct soap* ctx, _nst1__CreateNode* request,
                       _nst1__CreateNodeResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::vector<std::string> results;
  std::string& reply = *(response->CreateNodeResult = newString(ctx));
  if (!pcd_testPathsValues(&in.paths, &in.values, &opts, results)) {
    reply = results.front();
    return SOAP_OK;
  }
  const std::string basePath = textOf(in.basePath);
  if (basePath.empty()) {
    BnwsErrMsg(WS_PATH_SYNTAX, "No node path provided", reply, &opts);
    return SOAP_OK;
  }
  std::vector<std::string> paths;
  for (const std::string& name : in.paths) {
    paths.push_back(pcd_joinPath(basePath, name));
  }
  if (!opts.localeValid) {
    BnwsErrMsg(WS_LOCALE_NOT_SUPPORTED, opts.localeName.c_str(), reply, &opts);
    return SOAP_OK;
  }
  if (!mayWriteAll(paths)) {
    return kUnauthorized;
  }
  if (pcd_AddNode(ctx, basePath) != 0) {
    refuse({WS_WRITE_FAILED, "CreateNode()", reply, &opts}, "Failed to create node %s",
           basePath.c_str());
    return SOAP_OK;
  }
  const int status = pcd_setValues(ctx, true, &opts, paths, in.values, results);
  if (status == SOAP_OK) {
    reply = results.at(results.size() == paths.size() ? indexOfValue(in.paths) : 0);
  }
  return status;
}

int __nst1__SetLeaf(struct soap* ctx, _nst1__SetLeaf* request, _nst1__SetLeafResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  response->SetLeafResult = newString(ctx);
  return pcd_setValue(ctx, true, &opts, textOf(in.path), textOf(in.value),
                      *response->SetLeafResult);
}

int __nst1__SetLeaves(struct soap* ctx, _nst1__SetLeaves* request,
                      _nst1__SetLeavesResponse* nst1__SetLeavesResponse) {
  const auto& in = recordOf(request);
  assert(nst1__SetLeavesResponse->SetLeavesResult.empty());
  std::vector<std::string>& results = nst1__SetLeavesResponse->SetLeavesResult;
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  if (!pcd_testPathsValues(&in.paths, &in.values, &opts, results)) {
    return SOAP_OK;
  }
  return pcd_setValues(ctx, true, &opts, in.paths, in.values, results);
}

int __nst1__Reset(struct soap* ctx, _nst1__Reset* /*request*/, _nst1__ResetResponse* response) {
  _global_data_t* glptr = globalData(ctx);
  const std::string user = glptr->caller.user.value_or("");
  CPath root("/");
  root.normalize();
  if (!root.is_reset_authorized()) {
    __psyslog->notice(1, "%s is Not authorized for Reset", user.c_str());
    return kUnauthorized;
  }
  glptr->cdsApi.syslog_add("Network Card Reset requested via web services by " + user + " at " +
                               glptr->caller.address.value_or(""),
                           toolkit::SEVERITY_CAUTION, writeSource(*glptr), "/");
  reboot(*glptr);
  response->ResetResult =
      newString(ctx, std::string("? System Reboot Failed: ") + std::strerror(errno));
  __psyslog->info(1, "%s", response->ResetResult->c_str());
  return SOAP_OK;
}

int __nst1__RemoveNode(struct soap* ctx, _nst1__RemoveNode* nst1__RemoveNode,
                       _nst1__RemoveNodeResponse* nst1__RemoveNodeResponse) {
  assert(nst1__RemoveNode != __null);            // NOLINT(modernize-use-nullptr): printed so
  assert(nst1__RemoveNode->basePath != __null);  // NOLINT(modernize-use-nullptr): printed so
  assert(nst1__RemoveNodeResponse != __null);    // NOLINT(modernize-use-nullptr): printed so
  const std::string& basePath = *nst1__RemoveNode->basePath;
  _service_options_t opts;
  parseServiceOptions(ctx->user, nst1__RemoveNode->options, &opts);
  std::string& reply = *(nst1__RemoveNodeResponse->RemoveNodeResult = newString(ctx));
  CPath path(basePath);
  if (path.normalize() != 0) {
    refuse({WS_PATH_SYNTAX, "CDS Error in supplied path", reply, &opts},
           "Error in supplied path %s", basePath.c_str());
    return SOAP_OK;
  }
  if (!path.is_remove_authorized()) {
    __psyslog->notice(1, "Unauthorized node removal attempted on %s", basePath.c_str());
    return kUnauthorized;
  }
  if (!removeAt(globalData(ctx), basePath, path)) {
    refuse({WS_NODE_NOT_FOUND, "CDS Error removing node", reply, &opts}, "Error removing node %s",
           basePath.c_str());
  }
  return SOAP_OK;
}

int __nst1__getSubscribedNodes(struct soap* ctx, _nst1__getSubscribedNodes* request,
                               _nst1__getSubscribedNodesResponse* response) {
  const auto& in = recordOf(request);
  std::vector<std::string>& results = response->getSubscribedNodesResult;
  if (in.subscriptionId == nullptr) {
    BnwsErrMsg(WS_NO_SUCH_SUBSCRIPTION, "No subscriptionId given", results.emplace_back());
    return SOAP_OK;
  }
  std::string nodes;
  GetSubscrptBasePath(in.subscriptionId, nodes);
  nodes += "/RTNodes";
  if (!globalData(ctx)->cdsApi.node_exists(nodes)) {
    BnwsErrMsg(WS_NO_SUCH_SUBSCRIPTION, in.subscriptionId->c_str(), results.emplace_back());
    return SOAP_OK;
  }
  _service_options_t opts;
  parseServiceOptions(ctx->user, nullptr, &opts);
  std::string children = nodes + ":Children";
  std::vector<std::string> names;
  pcd_getArray(ctx, &opts, children, names);
  if (names == std::vector<std::string>{""} || names.front().starts_with("? ")) {
    return SOAP_OK;
  }
  for (const std::string& name : names) {
    std::string node = name;
    if (name.at(0) != '?') {
      CPath::DottedPathToNodePath(name, node);
    }
    results.push_back(std::move(node));
  }
  return SOAP_OK;
}
