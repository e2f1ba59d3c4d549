// Subscriptions and the acknowledgement of alarms. The service delivers nothing itself: it leaves a
// subscription in the store for the publisher, and hands an acknowledgement to the alarm engine.
#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <string_view>

#include "front/global_data.h"
#include "soap_records.h"
#include "subscriptions/real_time_points.h"
#include "subscriptions/subscription_bounds.h"
#include "subscriptions/subscription_nodes.h"
#include "toolkit/event.h"
#include "toolkit/run_lock.h"
#include "toolkit/time.h"
#include "toolkit/utils.h"
#include "values/error_strings.h"
#include "values/reading.h"
#include "values/service_options.h"
#include "values/writing.h"

using namespace toolkit::ws;

namespace {

constexpr int kNoSuchSubscription = 1;
constexpr int kEmptyRequest = -1;
constexpr int kAcknowledgeFailed = 44;
constexpr std::chrono::seconds kLockPatience(2);
constexpr const char* kNoCaller = "__sso_string_base::_M_construct null not valid";

// Makes `code` a fault of the client's, with this text.
int fail(struct soap* ctx, int code, const char* text) {
  soap_sender_fault(ctx, text, nullptr);
  return code;
}

// Keeps the subscriptions from the other workers and from the publisher.
class SubscriptionsHeld : public toolkit::CRunLock {
 public:
  SubscriptionsHeld() : CRunLock(toolkit::kSubscriptionLock, kLockPatience) {}

  // The failure of an operation that found them taken.
  static int refuse(struct soap* ctx) {
    __psyslog->info(1, "Other requests or the publisher change the subscriptions");
    soap_receiver_fault(ctx, "The subscriptions are being changed, try again", nullptr);
    return kNoSuchSubscription;
  }
};

// Writes a value below a subscription, live only. A store that refuses has failed the templates
// already.
void writeLeaf(_global_data_t* glptr, const std::string& path, toolkit::CElement element) {
  element.set_time(writeTime());
  api_status_t status = API_NONE;
  glptr->cdsApi.set_leaf(path, element, status, PCD_FALSE, writeSource(*glptr));
}

void setInteger(_global_data_t* glptr, const std::string& base, const char* suffix, int value) {
  toolkit::CCds_SwInfo(glptr->cdsApi, base).SetIntValue(base, suffix, value);
}

void removeNode(_global_data_t* glptr, const std::string& path) {
  api_status_t status = API_NONE;
  glptr->cdsApi.remove_node(path, status, writeSource(*glptr));
}

// Tells the publisher to look. 0, or non-zero when the store refused.
int countChange(_global_data_t* glptr) {
  return toolkit::CCds_SwInfo(glptr->cdsApi, toolkit::kSubscriptionsPath)
      .UpdateIntValue("", toolkit::kSubscriptionCounter, 1, nullptr);
}

// Enters everything but the points. Returns the operation's status, and true in `complete` when the
// publisher has been told.
int writeSubscription(_global_data_t* glptr, const _nsc1__createSubscription& in,
                      const std::string& base, bool& complete) {
  complete = false;
  timeval since = {};
  qel_QELtoUNIXtime64(in.logSinceTime, &since);
  if (glptr->cdsApi.node_exists(base)) {
    __psyslog->info(2, "Removing previous subscriptionId = %s", textOf(in.subscriptionId).c_str());
    removeNode(glptr, base);
  }
  if (const int failure = LoadNodeLeaves(glptr, base, SwSubscriptionNodes); failure != 0) {
    removeNode(glptr, base);
    return failure;
  }
  if (glptr->caller.address) {
    __psyslog->info(2, "New subscription from remote address of %s",
                    glptr->caller.address->c_str());
  }
  writeLeaf(glptr, base + "/ReplyURI/Value", toolkit::CElement(textOf(in.replyUri)));
  setInteger(glptr, base, "/LeaseDuration", in.leaseDuration);
  const toolkit::CElement sinceElement(since);
  writeLeaf(glptr, base + "/LogSinceTime/Value", sinceElement);
  __psyslog->info(2, "timeSince set into CDS as %s", sinceElement.to_string().c_str());
  setInteger(glptr, base, "/LogOptions", static_cast<int>(in.subscribeLogOptions));
  complete = countChange(glptr) == 0;
  return SOAP_OK;
}

// Names the bound that the subscription would break; empty for none.
std::string tooMuch(const _nsc1__createSubscription& in, const SubscriptionTally& others) {
  if (textOf(in.replyUri).size() > kMaxReplyUri) {
    return "replyUri longer than " + std::to_string(kMaxReplyUri) + " bytes";
  }
  if (others.subscriptionsOfUser >= kMaxSubscriptionsOfUser) {
    return "No more than " + std::to_string(kMaxSubscriptionsOfUser) +
           " subscriptions for one user";
  }
  if (others.subscriptions >= kMaxSubscriptions) {
    return "No more than " + std::to_string(kMaxSubscriptions) + " subscriptions";
  }
  return {};
}

int createFrom(struct soap* ctx, const std::string& id, const _nsc1__createSubscription& in,
               RealTimeResults*& results) {
  _global_data_t* glptr = globalData(ctx);
  __psyslog->info(2, "createSubscription for subscriptionId = %s", id.c_str());
  if (glptr->swInfo) {
    glptr->swInfo->SetAppStatus(toolkit::APP_PUBLISHING);
  }
  if (!isSubscriptionId(id)) {
    __psyslog->info(1, "createSubscription: %s is no subscriptionId", id.c_str());
    return fail(ctx, kNoSuchSubscription, "A subscriptionId has no /");
  }
  std::string base;
  GetSubscrptBasePath(&id, base);
  toolkit::cutText(base, kMaxSubscriptionPath);
  const SubscriptionsHeld held;
  if (!held.isHeld()) {
    return SubscriptionsHeld::refuse(ctx);
  }
  const SubscriptionTally others =
      tallySubscriptions(glptr->cdsApi, base, glptr->caller.user.value_or(""));
  if (const std::string reason = tooMuch(in, others); !reason.empty()) {
    __psyslog->info(1, "createSubscription: %s: %s", id.c_str(), reason.c_str());
    return fail(ctx, kNoSuchSubscription, reason.c_str());
  }
  bool complete = false;
  if (const int failure = writeSubscription(glptr, in, base, complete); failure != 0 || !complete) {
    return failure;
  }
  results = Register_realTimeNodes(ctx, in.realTimeNodes, base, 0, others.pointsLeft());
  if (results != nullptr) {
    setInteger(glptr, base, "/RTNodeCount",
               static_cast<int>(results->RealTimeNodeSubscriptionResult.size()));
  }
  return SOAP_OK;
}

RealTimeResults* noSuchSubscription(struct soap* ctx, const std::string& id) {
  __psyslog->info(1, "No such Subscription (%s) to update", id.c_str());
  RealTimeResults* results = soap_new_nsc1__ArrayOfRealTimeNodeSubscriptionResult(ctx);
  auto* result = soap_new_nsc1__RealTimeNodeSubscriptionResult(ctx);
  result->Value = newString(ctx);
  BnwsErrMsg(WS_NO_SUCH_SUBSCRIPTION, "updateSubscriptionRealTimeNodes() failed", *result->Value);
  results->RealTimeNodeSubscriptionResult.push_back(result);
  return results;
}

void unregister(_global_data_t* glptr, const nsc1__ArrayOfString* paths, const std::string& base) {
  for (const std::string& path : recordOf(paths).string) {
    removeNode(glptr, std::string(base).append("/RTNodes/").append(pointNodeName(path)));
  }
}

void recount(_global_data_t* glptr, const std::string& base) {
  std::vector<std::string> children;
  toolkit::CPath nodes(base + "/RTNodes");
  nodes.normalize();
  nodes.getChildPaths(glptr->cdsApi, children);
  const auto count = static_cast<int>(children.size());
  writeLeaf(glptr, pointTally(base), toolkit::CElement(count));
  setInteger(glptr, base, "/RTNodeCount", count);
}

const std::string& required(const std::optional<std::string>& part) {
  if (!part) {
    throw std::logic_error(kNoCaller);
  }
  return *part;
}

toolkit::CEvent acknowledgement(const Caller& caller, const nsc1__AckRequest& request) {
  toolkit::CEvent event;
  event.type = toolkit::EVENT_ACKNOWLEDGE;
  event.path.assign(1, '/');
  event.priority = toolkit::CEvent::kAcknowledgePriority;
  event.severity = toolkit::SEVERITY_INFORMATION;
  event.flag = true;
  event.id = request.EventId;
  event.ack = request.Status;
  event.variation = request.VariationLevel;
  event.note = textOf(request.Note);
  toolkit::CEvent::format_source_string(event.source, "Web-Services", required(caller.user),
                                        required(caller.address));
  event.time = writeTime();
  return event;
}

void logAcknowledgement(const nsc1__AckRequest& request) {
  const auto id = static_cast<unsigned long>(request.EventId);
  if (request.Note == nullptr) {
    __psyslog->info(2, "Ack'ing Alarm #%lu (AckStatus=%d, varLevel=%d). ", id, request.Status,
                    request.VariationLevel);
  } else {
    __psyslog->info(2, "Ack'ing Alarm #%lu (AckStatus=%d, varLevel=%d). Note = %s", id,
                    request.Status, request.VariationLevel, request.Note->c_str());
  }
}

std::string acknowledge(_global_data_t* glptr, const nsc1__AckRequest& request) {
  std::string reply;
  if (textOf(request.Note).size() > kMaxNote) {
    const std::string reason = "Note longer than " + std::to_string(kMaxNote) + " bytes";
    BnwsErrMsg(WS_EVENT_NOT_SENT, reason.c_str(), reply);
    return reply;
  }
  logAcknowledgement(request);
  api_status_t status = API_NONE;
  if (glptr->cdsApi.event_send(acknowledgement(glptr->caller, request), status) != 0 ||
      status != API_SUCCESS) {
    BnwsErrMsg(WS_EVENT_NOT_SENT, "CDS event_send failed", reply);
  }
  return reply;
}

}  // namespace

int __nsc1__createSubscription(struct soap* ctx, _nsc1__createSubscription* request,
                               _nsc1__createSubscriptionResponse* response) {
  const auto& in = recordOf(request);
  const std::string id = textOf(in.subscriptionId);
  if (id.empty()) {
    __psyslog->info(1, "createSubscription: No SubscriptionID provided");
    return SOAP_OK;
  }
  try {
    return createFrom(ctx, id, in, response->createSubscriptionResult);
  } catch (const std::exception& e) {
    __psyslog->info(1, "Exception: %s", e.what());
    return SOAP_OK;
  }
}

int __nsc1__updateSubscriptionRealTimeNodes(
    struct soap* ctx, _nsc1__updateSubscriptionRealTimeNodes* request,
    _nsc1__updateSubscriptionRealTimeNodesResponse* response) {
  const auto& in = recordOf(request);
  _global_data_t* glptr = globalData(ctx);
  const std::string id = textOf(in.subscriptionId);
  if (id.empty()) {
    __psyslog->info(1, "updateSubscriptionRealTimeNodes: NULL Subscription ID provided");
    return kNoSuchSubscription;
  }
  std::string base;
  GetSubscrptBasePath(in.subscriptionId, base);
  RealTimeResults*& results = response->updateSubscriptionRealTimeNodesResult;
  const SubscriptionsHeld held;
  if (!held.isHeld()) {
    return SubscriptionsHeld::refuse(ctx);
  }
  if (!subscriptionExists(glptr, in.subscriptionId) ||
      !glptr->cdsApi.node_exists(base + "/RTNodes")) {
    results = noSuchSubscription(ctx, id);
    return SOAP_OK;
  }
  const auto present = glptr->cdsApi.find_leaf(pointTally(base));
  const SubscriptionTally others =
      tallySubscriptions(glptr->cdsApi, base, makerOf(glptr->cdsApi, base));
  results = Register_realTimeNodes(ctx, in.realTimeNodesToAdd, base,
                                   present ? present->to_uint() : 0, others.pointsLeft());
  unregister(glptr, in.realTimeNodesToRemove, base);
  recount(glptr, base);
  return SOAP_OK;
}

int __nsc1__cancelSubscription(struct soap* ctx, _nsc1__cancelSubscription* request,
                               _nsc1__cancelSubscriptionResponse* /*response*/) {
  const auto& in = recordOf(request);
  _global_data_t* glptr = globalData(ctx);
  const std::string id = textOf(in.subscriptionId);
  std::string base;
  GetSubscrptBasePath(in.subscriptionId, base);
  const SubscriptionsHeld held;
  if (!held.isHeld()) {
    return SubscriptionsHeld::refuse(ctx);
  }
  if (!subscriptionExists(glptr, in.subscriptionId)) {
    __psyslog->info(1, "cancelSubscription: No such Subscription ID to cancel as %s", id.c_str());
    __psyslog->info(2, "The Missing Subscription's Path is %s", base.c_str());
    return fail(ctx, kNoSuchSubscription, "No such subscription");
  }
  __psyslog->info(2, "Canceling subscriptionId = %s", id.c_str());
  removeNode(glptr, base);
  countChange(glptr);
  return SOAP_OK;
}

int __nsc1__acknowledgeAlarm(struct soap* ctx, _nsc1__acknowledgeAlarm* request,
                             _nsc1__acknowledgeAlarmResponse* response) {
  const auto& requests = recordOf(recordOf(request).requests).AckRequest;
  if (requests.empty()) {
    return fail(ctx, kEmptyRequest, "No requests");
  }
  try {
    for (const nsc1__AckRequest* wanted : requests) {
      response->acknowledgeAlarmResult.push_back(acknowledge(globalData(ctx), recordOf(wanted)));
    }
  } catch (const std::exception& e) {
    __psyslog->info(1, "Exception in __nsc1__acknowledgeAlarm(): %s", e.what());
    const bool noCaller = std::string_view(e.what()) == kNoCaller;
    soap_receiver_fault(ctx, noCaller ? "No user or address from the web server" : "Internal error",
                        nullptr);
    return kAcknowledgeFailed;
  }
  return SOAP_OK;
}
