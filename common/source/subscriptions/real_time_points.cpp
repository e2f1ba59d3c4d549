#include "subscriptions/real_time_points.h"

#include <algorithm>
#include <vector>

#include "soap_records.h"
#include "subscriptions/subscription_bounds.h"
#include "toolkit/time.h"
#include "values/error_strings.h"
#include "values/reading.h"
#include "values/service_options.h"
#include "values/writing.h"

using namespace toolkit::ws;

namespace {

constexpr std::size_t kPointsAtOnce = 256;  // entered in one transaction

// Path of a point's node in the subscription. Empty for a name that the store keeps for leaves, and
// where it would be too long for the publisher to read the point's path back.
std::string realTimeNode(const std::string& base, const std::string& name) {
  std::string node = base + "/RTNodes/" + name;
  if (node.size() > kMaxSubscriptionPath || toolkit::CPath(node + "/Deadband").normalize() != 0) {
    __psyslog->info(1, "No node for %s in the subscription", name.c_str());
    node.clear();
  }
  return node;
}

// Fills value, quality and time as a reading of `path` would give them. False when it failed.
bool readPoint(struct soap* ctx, _service_options_t* opts, toolkit::CPath& path,
               nsc1__RealTimeNodeSubscriptionResult& result) {
  _global_data_t* glptr = globalData(ctx);
  api_status_t status = API_NONE;
  toolkit::CElement element;
  element_property_t source = ELEMENT_NORMAL;
  const int rc = glptr->cdsApi.get_leaf(path, status, element, source);
  bool isMultistate = false;
  pcd_ProcessValue(glptr, opts, rc, path, status, element, source, isMultistate, *result.Value);
  if (isMultistate) {
    result.NumericValue =
        newString(ctx, element.type() == DATA_BOOLEAN ? std::to_string(element.to_bool() ? 1 : 0)
                                                      : element.to_string());
  }
  if (rc != 0 || status != API_SUCCESS) {
    return false;
  }
  const timeval time = element.time();
  result.Time = qel_UNIXtoQELtime64(&time);
  glptr->cdsUtils.CheckDeviceQuality(path.getNodePath(), &element);
  result.Quality = static_cast<unsigned short>(element.to_uint());
  return true;
}

nsc1__RealTimeNodeSubscriptionResult* firstResult(struct soap* ctx, _service_options_t* opts,
                                                  const std::string& requested) {
  auto* result = soap_new_nsc1__RealTimeNodeSubscriptionResult(ctx);
  result->Value = newString(ctx);
  toolkit::CPath path(requested);
  bool good = path.normalize() == 0;
  if (good) {
    good = readPoint(ctx, opts, path, *result);
  } else {
    refuse({WS_PATH_SYNTAX, "CDS Error in supplied path", *result->Value, opts},
           "Error in supplied path %s", requested.c_str());
  }
  if (!good) {
    __psyslog->info(1, "Register_realTimeNodes: Bad node request for %s", result->Value->c_str());
    result->Time = qel_UTCtime64();
    result->Quality = 0;
  }
  return result;
}

// Enters points some at a time.
class Registration {
 public:
  Registration(struct soap* ctx, const std::string& base, std::size_t present, std::size_t bound)
      : ctx_(ctx), glptr_(globalData(ctx)), base_(base), present_(present), bound_(bound) {
    const std::string noOptions;
    parseServiceOptions(glptr_, &noOptions, &opts_);
  }

  // Adds a point's leaves to what is written next. One that cannot be entered is left out.
  void add(const nsc1__NodeSubscription& wanted) {
    const std::string name = pointNodeName(textOf(wanted.Path));
    const std::string node = name.empty() ? name : realTimeNode(base_, name);
    if (node.empty()) {
      return;
    }
    if (!glptr_->cdsApi.node_exists(node)) {
      if (present_ >= bound_) {
        ++beyond_;
        return;
      }
      ++present_;
      addNodeLeaves(node, SwSubscrptnRTNodes, batch_);
    }
    batch_.add(node + "/RqstdFreshness/Value", toolkit::CElement(wanted.RequestedFreshness));
    batch_.add(node + "/Deadband/Value", toolkit::CElement(wanted.DeadbandPercent));
    entered_.push_back(wanted.Path);
  }

  // Writes what was gathered, and answers for it. When the store refuses, it is left out.
  void finish(RealTimeResults* results) {
    batch_.add(pointTally(base_), toolkit::CElement(static_cast<std::int32_t>(present_)));
    if (batch_.write(glptr_->cdsApi, writeSource(*glptr_)) == API_SUCCESS) {
      for (const std::string* path : entered_) {
        results->RealTimeNodeSubscriptionResult.push_back(firstResult(ctx_, &opts_, *path));
      }
    } else {
      __psyslog->info(1, "Points not entered: %s", glptr_->cdsApi.last_error().c_str());
    }
    batch_ = {};
    entered_.clear();
  }

  void report() const {
    if (beyond_ > 0) {
      __psyslog->info(1, "%zu points not entered: %s has %zu and may not have more", beyond_,
                      base_.c_str(), present_);
    }
  }

 private:
  struct soap* ctx_;
  _global_data_t* glptr_;
  const std::string& base_;
  _service_options_t opts_;
  std::size_t present_;
  std::size_t bound_;
  std::size_t beyond_ = 0;
  toolkit::CLeafBatch batch_;
  std::vector<const std::string*> entered_;
};

}  // namespace

RealTimeResults* Register_realTimeNodes(struct soap* ctx,
                                        const nsc1__ArrayOfNodeSubscription* nodes,
                                        const std::string& base, std::size_t present,
                                        std::size_t bound) {
  if (nodes == nullptr || nodes->NodeSubscription.empty()) {
    return nullptr;
  }
  RealTimeResults* results = soap_new_nsc1__ArrayOfRealTimeNodeSubscriptionResult(ctx);
  Registration registration(ctx, base, present, std::min(bound, present + kMaxNewPoints));
  const auto& wanted = nodes->NodeSubscription;
  for (std::size_t first = 0; first < wanted.size(); first += kPointsAtOnce) {
    for (std::size_t i = first; i < std::min(first + kPointsAtOnce, wanted.size()); ++i) {
      registration.add(recordOf(wanted[i]));
    }
    registration.finish(results);
  }
  registration.report();
  return results;
}
