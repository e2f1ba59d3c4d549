// Device data: the tree of devices, leaves with their types, search, clock, the caller's name. Each
// handler returns SOAP_OK unless it says otherwise, and tells what went wrong in its reply, which
// belongs to the SOAP context.
#include "front/global_data.h"
#include "search/attribute_search.h"
#include "soap_records.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/time.h"
#include "values/error_strings.h"
#include "values/reading.h"
#include "values/service_options.h"

using namespace toolkit::ws;

namespace {

constexpr const char* kUnknown = "Unknown";

std::int64_t timeOf(const toolkit::CElement& element) {
  const timeval stamp = element.time();
  return qel_UNIXtoQELtime64(&stamp);
}

// Whether a device belongs to the answer for a prefix. Without `recursive`, one level below: the
// character after the prefix is not looked at, so that it may end in "/" or not.
bool isWanted(const std::string& device, const std::string& prefix, bool recursive) {
  return device.starts_with(prefix) &&
         (recursive || device.find('/', prefix.size() + 1) == std::string::npos);
}

bool describeDevice(_global_data_t* glptr, const std::string& device,
                    nsvk__deviceDescriptor& descriptor) {
  const std::string base = device.size() == 1 ? std::string() : device;
  const std::string typePath = base + "/NodeType";
  toolkit::CLeafReader leaves;
  const auto typeLeaf = leaves.add(typePath);
  const auto nameLeaf = leaves.add(base + "/DisplayName");
  const auto qualityLeaf = leaves.add(base + "/.Quality");
  const auto changesLeaf = leaves.add(base + "/sDevChangeCount/Value");
  if (!leaves.read(glptr->cdsApi)) {
    __psyslog->info(1, "get_leaves() call failed for %s", typePath.c_str());
    return false;
  }
  const toolkit::CElement* const type = leaves.element(typeLeaf);
  const toolkit::CElement* const displayName = leaves.element(nameLeaf);
  const toolkit::CElement* const changes = leaves.element(changesLeaf);
  const toolkit::CElement* const qualityElement = leaves.element(qualityLeaf);
  const toolkit::CElement quality =
      qualityElement != nullptr ? *qualityElement : toolkit::CElement();
  descriptor.devPath = device;
  descriptor.devType = type != nullptr ? type->to_string() : kUnknown;
  descriptor.devDisplayName = displayName != nullptr ? displayName->to_string() : kUnknown;
  descriptor.devQuality = quality.to_int();
  descriptor.devChangeCount = changes != nullptr ? changes->to_int() : 0;
  descriptor.devChangeTime = timeOf(changes != nullptr ? *changes : quality);
  return true;
}

// The name of the zone's time that is in force; empty when the platform has none.
std::string zoneName() {
  const auto [standard, daylight] = qel_GetLocalTimeZoneName();
  if (standard == nullptr || *standard == '\0') {
    return {};
  }
  const bool useDaylight = qel_IsDaylightSavings() && daylight != nullptr && *daylight != '\0';
  return useDaylight ? daylight : standard;
}

}  // namespace

// Not served: every call ends with the engine's server fault.
int nsvk__getMinAvgMaxValues(struct soap* /*ctx*/, std::string* /*options*/,
                             std::vector<std::string>* /*paths*/, LONG64 /*startTime*/,
                             LONG64 /*endTime*/, enum nsvk__RatePeriod /*ratePeriod*/,
                             nsvk__getMinAvgMaxValuesResponse& /*response*/) {
  return SOAP_SVR_FAULT;
}

int nsvk__getDeviceTree(struct soap* ctx, std::string* /*options*/, std::string* startingPath,
                        bool bRecursive, nsvk__getDeviceTreeResponse& response) {
  _global_data_t* glptr = globalDataWithStore(ctx);
  response.result.clear();
  const std::string prefix = textOf(startingPath);
  std::vector<std::string> devices;
  toolkit::CCds_Utils::GetDeviceList(glptr->cdsApi, devices);
  for (const std::string& device : devices) {
    nsvk__deviceDescriptor descriptor;
    if (isWanted(device, prefix, bRecursive) && describeDevice(glptr, device, descriptor)) {
      response.devices.push_back(std::move(descriptor));
    }
  }
  return SOAP_OK;
}

int nsvk__findAttributeMatches(struct soap* ctx, std::string* options, std::string* startingPath,
                               bool bRecursive, std::string* attribMatch,
                               std::string* regexMatchPattern,
                               nsvk__findAttributeMatchesResponse& response) {
  _service_options_t opts;
  parseServiceOptions(ctx->user, options, &opts);
  const std::string start = textOf(startingPath);
  try {
    AttributeSearch search(ctx, opts, {textOf(attribMatch), textOf(regexMatchPattern)}, response);
    search.CheckRegexMatch(start);
    search.RecursiveRegexMatch(start, bRecursive);
    response.result.clear();
  } catch (const std::exception& e) {
    __psyslog->info(1, "findAttributeMatches: Unexpected Exception %s", e.what());
    response.result = std::string("? ") + e.what();
  }
  return SOAP_OK;
}

int nsvk__getLeafDescriptors(struct soap* ctx, std::string* options, std::string* basePath,
                             std::vector<std::string> leafPaths,
                             nsvk__getLeafDescriptorsResponse& response) {
  _global_data_t* glptr = globalDataWithStore(ctx);
  _service_options_t opts;
  parseServiceOptions(ctx->user, options, &opts);
  if (leafPaths.empty()) {
    BnwsErrMsg(WS_NO_PATHS, "No paths provided", response.result, &opts);
    return SOAP_OK;
  }
  std::vector<toolkit::CPath> paths;
  paths.reserve(leafPaths.size());
  const std::string base = textOf(basePath);
  for (std::string& leaf : leafPaths) {
    leaf = pcd_joinPath(base, leaf);
    paths.emplace_back(std::move(leaf)).normalize();
  }
  std::vector<api_status_t> statuses;
  std::vector<toolkit::CElement> elements;
  std::vector<element_property_t> sources;
  if (glptr->cdsApi.get_leaves(paths, statuses, elements, sources) != 0) {
    BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS access failed", response.result, &opts);
    return SOAP_OK;
  }
  response.result = "OK";
  response.descriptors.reserve(paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    nsvk__leafDescriptor* descriptor = soap_new_nsvk__leafDescriptor(ctx);
    descriptor->result = newString(ctx);
    bool isMultistate = false;
    pcd_ProcessValue(glptr, &opts, 0, paths[i], statuses[i], elements[i], sources[i], isMultistate,
                     *descriptor->result);
    descriptor->leafChangeTime = timeOf(elements[i]);
    descriptor->leafType = static_cast<enum nsvk__LeafTypes>(sources[i]);
    response.descriptors.push_back(descriptor);
  }
  return SOAP_OK;
}

int nsvk__getLocalAndUtcTime(struct soap* /*ctx*/, std::string* /*options*/,
                             nsvk__getLocalAndUtcTimeResponse& response) {
  response.result.clear();
  response.utcTime = qel_UTCtime64();
  response.localTime = qel_Localtime64(response.utcTime);
  response.timezone = zoneName();
  return SOAP_OK;
}

int nsvk__whoAmI(struct soap* ctx, std::string* /*options*/, std::string& result) {
  result = globalData(ctx)->caller.user.value_or("");
  return SOAP_OK;
}
