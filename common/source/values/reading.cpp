#include "values/reading.h"

#include <array>
#include <cassert>
#include <cstdint>
#include <exception>

#include "toolkit/time.h"
#include "values/attribute_numbers.h"
#include "values/error_strings.h"
#include "values/locales.h"
#include "values/state_labels.h"

using namespace toolkit::ws;

namespace {

constexpr const char* kValidArrayAttribs =
    "Attributes;Children;PossibleValues;WritableValues;.NotifyActions;.TrendTraits;.AlarmBatch";

constexpr std::array<const char*, 4> kSourceNames = {"Normal", "Persistent", "Automatic", "MPL"};
constexpr const char* kInvalidType = "Invalid";

// Sub-attributes tell about a value without showing it, so they need no right. A path outside the
// grammar names nothing to protect: the fetch tells what is wrong with it.
bool mayRead(const toolkit::CPath& path) {
  return !path.is_normalized() || !path.getSubAttribute().empty() || path.is_read_authorized();
}

bool refuseUnauthorized(const toolkit::CPath& path, const _service_options_t* opts,
                        std::string& reply) {
  if (mayRead(path)) {
    return false;
  }
  refuse({WS_NOT_AUTHORIZED, "Unauthorized read", reply, opts, Refusal::Line::kNotice},
         "Unauthorized read of %s", path.str().c_str());
  return true;
}

void localizeValue(_global_data_t* glptr, const _service_options_t* opts,
                   const toolkit::CPath& path, const toolkit::CElement& element, bool& isMultistate,
                   std::string& reply) {
  switch (element.type()) {
    case DATA_BOOLEAN:
      isMultistate = true;
      reply = opts->canonical
                  ? element.to_string()
                  : boolLabel(glptr, path.getNodePath(), element.to_bool(), opts->locale);
      break;
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      isMultistate = stateLabel(glptr, path.getNodePath(), element.to_int(), opts->locale, reply);
      break;
    case DATA_NONE:
    case DATA_REAL:
    case DATA_TIMEVAL:
    case DATA_STRING:
    case DATA_SAME_AS_VALUE:
    case DATA_INTEGER64:
      break;
  }
}

void localizeAttribute(_global_data_t* glptr, const _service_options_t* opts, int number,
                       std::string& reply) {
  switch (number) {
    case kDisplayName:
    case kDescription:
    case kUnits:
    case kShortName:
    case kGroupName:
      reply = translated(reply, opts->locale);
      break;
    case kAlarmHighMsg:
    case kAlarmLowMsg:
    case kAlarmHighHighMsg:
    case kAlarmLowLowMsg:
    case kAlarmOnValueMsg: {
      std::string message;
      TranslateAlarmMsg(glptr, reply, message);
      reply = message;
      break;
    }
    default:
      break;
  }
}

void localize(_global_data_t* glptr, const _service_options_t* opts, const toolkit::CPath& path,
              const toolkit::CElement& element, bool& isMultistate, std::string& reply) {
  const int number = pcd_attr_str_to_enum(path.getLeafName());
  try {
    if (number == kPlainValue || number == kAlarmOnValue) {
      localizeValue(glptr, opts, path, element, isMultistate, reply);
    } else if (glptr->localesOk) {
      localizeAttribute(glptr, opts, number, reply);
    }
  } catch (const std::exception& e) {
    __psyslog->notice(1, "Exception in string localizing: %s", e.what());
  }
}

std::string typeName(const toolkit::CElement& element, bool isMultistate) {
  const data_type_t type = element.type();
  if (isMultistate && (type == DATA_ENUMERATED || type == DATA_INTEGER)) {
    return "Multistate";
  }
  const char* name = pcd_enum_to_str(type);
  return name == nullptr ? kInvalidType : name;
}

// False, and `reply` stays, for a sub-attribute that is none of ours.
bool answerSubAttribute(const std::string& subAttribute, const toolkit::CElement& element,
                        element_property_t source, bool isMultistate, std::string& reply) {
  if (subAttribute.starts_with(".Time")) {
    const timeval time = element.time();
    reply = std::to_string(qel_UNIXtoQELtime64(&time));
  } else if (subAttribute.starts_with(".Source")) {
    assert(source <= ELEMENT_MPL);
    reply = kSourceNames.at(source);
  } else if (subAttribute.starts_with(".AttribType")) {
    reply = typeName(element, isMultistate);
  } else {
    return false;
  }
  return true;
}

// The reply for a leaf that is there. Returns as answerSubAttribute does.
bool answerLeaf(_global_data_t* glptr, const _service_options_t* opts, const toolkit::CPath& path,
                const toolkit::CElement& element, element_property_t source, bool& isMultistate,
                std::string& reply) {
  reply = element.type() == DATA_REAL ? element.to_string(opts->precision) : element.to_string();
  localize(glptr, opts, path, element, isMultistate, reply);
  return path.getSubAttribute().empty() ||
         answerSubAttribute(path.getSubAttribute(), element, source, isMultistate, reply);
}

std::string joined(const std::string& path, const std::string& attribute) {
  return attribute.empty() ? path : pcd_joinPath(path + ":", attribute);
}

bool nodeExists(_global_data_t* glptr, const std::string& nodePath) {
  api_status_t status = API_NONE;
  return glptr->cdsApi.test_node(nodePath, status) == 0 && status == API_SUCCESS;
}

// The reply for one path of a list. The node may have gone since the values were fetched.
void processListed(_global_data_t* glptr, _service_options_t* opts, toolkit::CPath& path,
                   api_status_t status, toolkit::CElement& element, element_property_t source,
                   std::string& reply) {
  bool isMultistate = false;
  if (pcd_ProcessValue(glptr, opts, 0, path, status, element, source, isMultistate, reply) != 0 ||
      path.isArrayElement() || nodeExists(glptr, path.getNodePath())) {
    return;
  }
  refuse({WS_NODE_NOT_FOUND, "CDS access failed", reply, opts}, "node no longer accessible at %s",
         path.getNodePath().c_str());
}

std::vector<toolkit::CPath> normalized(const std::vector<std::string>& paths) {
  std::vector<toolkit::CPath> result;
  result.reserve(paths.size());
  for (const std::string& path : paths) {
    result.emplace_back(path).normalize();
  }
  return result;
}

}  // namespace

int pcd_getValue(struct soap* ctx, _service_options_t* opts, std::string& path,
                 std::string& reply) {
  _global_data_t* glptr = globalDataWithStore(ctx);

  toolkit::CPath cdsPath(path);
  cdsPath.clearArrayElement();
  if (cdsPath.normalize() != 0) {
    refuse({WS_PATH_SYNTAX, "CDS Error in supplied path", reply, opts}, "Error in supplied path %s",
           path.c_str());
    return 0;
  }
  if (refuseUnauthorized(cdsPath, opts, reply)) {
    return 0;
  }
  if (!opts->localeValid) {
    BnwsErrMsg(WS_LOCALE_NOT_SUPPORTED, opts->localeName.c_str(), reply, opts);
    return 0;
  }
  api_status_t status = API_NONE;
  toolkit::CElement element;
  element_property_t source = ELEMENT_NORMAL;
  const int rc = glptr->cdsApi.get_leaf(cdsPath, status, element, source);
  bool isMultistate = false;
  pcd_ProcessValue(glptr, opts, rc, cdsPath, status, element, source, isMultistate, reply);
  return 0;
}

int pcd_getValue(struct soap* ctx, _service_options_t* opts, const std::string& path,
                 const std::string& attribute, std::string& reply) {
  std::string full = joined(path, attribute);
  return pcd_getValue(ctx, opts, full, reply);
}

bool pcd_findValue(struct soap* ctx, const _service_options_t* opts, const std::string& path,
                   const std::string& attribute, std::string& reply) {
  _global_data_t* glptr = globalDataWithStore(ctx);
  toolkit::CPath cdsPath(joined(path, attribute));
  if (!opts->localeValid || cdsPath.normalize() != 0 || !cdsPath.is_read_authorized()) {
    return false;
  }
  api_status_t status = API_NONE;
  toolkit::CElement element;
  element_property_t source = ELEMENT_NORMAL;
  bool isMultistate = false;
  return glptr->cdsApi.get_leaf(cdsPath, status, element, source) == 0 && status == API_SUCCESS &&
         element.type() != DATA_NONE &&
         answerLeaf(glptr, opts, cdsPath, element, source, isMultistate, reply);
}

int pcd_ProcessValue(_global_data_t* glptr, _service_options_t* opts, int rc, toolkit::CPath& path,
                     api_status_t status, toolkit::CElement& element, element_property_t source,
                     bool& isMultistate, std::string& reply) {
  isMultistate = false;
  if (refuseUnauthorized(path, opts, reply)) {
    return 1;
  }
  if (rc != 0 || status != API_SUCCESS || element.type() == DATA_NONE) {
    const WS_Errors code = status == API_BAD_PATH ? WS_PATH_SYNTAX : WS_NODE_NOT_FOUND;
    refuse({code, "CDS access failed", reply, opts, Refusal::Line::kDetail},
           "CDS access failed for %s", path.str().c_str());
    return 1;
  }
  if (!answerLeaf(glptr, opts, path, element, source, isMultistate, reply)) {
    BnwsErrMsg(WS_ILLEGAL_ATTRIBUTE, ("Unknown sub-Attribute " + path.getSubAttribute()).c_str(),
               reply, opts);
  }
  return 0;
}

std::string pcd_joinPath(const std::string& base, const std::string& relative) {
  return base.size() + relative.size() > toolkit::CPath::kMaxText ? std::string() : base + relative;
}

int pcd_getValues(struct soap* ctx, _service_options_t* opts, const std::vector<std::string>& paths,
                  std::vector<std::string>& results) {
  _global_data_t* glptr = globalData(ctx);
  results.assign(1, std::string());
  if (paths.empty()) {
    BnwsErrMsg(WS_NO_PATHS, "No paths", results.front(), opts);
    return 0;
  }
  if (!opts->localeValid) {
    BnwsErrMsg(WS_LOCALE_NOT_SUPPORTED, opts->localeName.c_str(), results.front(), opts);
    return 0;
  }
  std::vector<toolkit::CPath> cdsPaths = normalized(paths);
  std::vector<api_status_t> statuses;
  std::vector<toolkit::CElement> elements;
  std::vector<element_property_t> sources;
  if (glptr->cdsApi.get_leaves(cdsPaths, statuses, elements, sources) != 0) {
    BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS access failed", results.front(), opts);
    return 0;
  }
  results.resize(paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    processListed(glptr, opts, cdsPaths[i], statuses[i], elements[i], sources[i], results[i]);
  }
  return 0;
}

int pcd_getArray(struct soap* ctx, _service_options_t* opts, std::string& path,
                 std::vector<std::string>& results) {
  std::string reply;
  if (path.empty()) {
    BnwsErrMsg(WS_PATH_SYNTAX, "No Path provided", reply, opts);
  } else {
    toolkit::CPath cdsPath(path);
    cdsPath.normalize();
    // Any fragment of the list passes, the empty one of a plain value too.
    if (std::string_view(kValidArrayAttribs).find(cdsPath.getPathAttribute()) !=
        std::string_view::npos) {
      pcd_getValue(ctx, opts, path, reply);
    } else {
      BnwsErrMsg(WS_NOT_AN_ARRAY, "Invalid attribute for array", reply, opts);
    }
  }
  const bool isError = reply.starts_with('?') ||
                       (!opts->errorPrefix.empty() && reply.starts_with(opts->errorPrefix));
  if (isError) {
    results.assign(1, reply);
  } else {
    toolkit::CElement::split_string(results, reply, ';');
  }
  return 0;
}
