#include "values/writing.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>

#include "toolkit/event.h"
#include "toolkit/multistate.h"
#include "toolkit/time.h"
#include "values/attribute_numbers.h"
#include "values/error_strings.h"

using namespace toolkit::ws;

namespace {

struct DataTypeRow {
  data_type_t type;
  int attribute;
};

constexpr std::array<DataTypeRow, 26> DataTypeMap = {{
    {DATA_BOOLEAN, 17},       {DATA_SAME_AS_VALUE, 11}, {DATA_SAME_AS_VALUE, 12},
    {DATA_SAME_AS_VALUE, 13}, {DATA_INTEGER, 15},       {DATA_BOOLEAN, 10},
    {DATA_BOOLEAN, 21},       {DATA_BOOLEAN, 20},       {DATA_BOOLEAN, 22},
    {DATA_SAME_AS_VALUE, 50}, {DATA_BOOLEAN, 39},       {DATA_BOOLEAN, 53},
    {DATA_BOOLEAN, 49},       {DATA_SAME_AS_VALUE, 28}, {DATA_SAME_AS_VALUE, 29},
    {DATA_SAME_AS_VALUE, 30}, {DATA_SAME_AS_VALUE, 40}, {DATA_SAME_AS_VALUE, 41},
    {DATA_SAME_AS_VALUE, 42}, {DATA_SAME_AS_VALUE, 43}, {DATA_SAME_AS_VALUE, 44},
    {DATA_INTEGER, 55},       {DATA_INTEGER, 56},       {DATA_INTEGER, 54},
    {DATA_INTEGER, 31},       {DATA_NONE, -1},
}};

// What the leaf holds, if anything.
std::optional<toolkit::CElement> fetch(_global_data_t* glptr, const toolkit::CPath& path) {
  auto element = glptr->cdsApi.find_leaf(path);
  return element && element->type() != DATA_NONE ? element : std::nullopt;
}

int refuseMissing(const toolkit::CPath& path, api_status_t status, std::string& reply,
                  const _service_options_t* opts) {
  if (status == API_NOT_FOUND) {
    refuse({WS_NODE_NOT_FOUND, "Node does not exist", reply, opts}, "Node does not exist for %s",
           path.str().c_str());
  } else {
    refuse({WS_NODE_NOT_FOUND, "CDS access failed", reply, opts},
           "CCds::get_leaf() call failed for %s", path.str().c_str());
  }
  return 1;
}

int refuseAttribute(int result, const std::string& text, std::string& reply,
                    const _service_options_t* opts) {
  BnwsErrMsg(WS_ILLEGAL_ATTRIBUTE, text.c_str(), reply, opts);
  return result;
}

int checkWritable(_global_data_t* glptr, const toolkit::CPath& path, int attribute,
                  std::string& reply, const _service_options_t* opts) {
  if (attribute != kPlainValue) {
    return attribute >= kAlarmHighLimit && attribute <= kAlarmLowLowLimit
               ? 0
               : refuseAttribute(3, "Attribute " + path.getPathAttribute() + " is not Writable",
                                 reply, opts);
  }
  const auto writable = fetch(glptr, path.getNewPath("Writable"));
  if (writable && writable->to_bool()) {
    return 0;
  }
  refuse({WS_NOT_WRITABLE, "Value is not Writable", reply, opts}, "Value is not Writable for %s",
         path.str().c_str());
  return 2;
}

int checkTestMode(const toolkit::CPath& path, int attribute, const std::string& value,
                  std::string& reply, const _service_options_t* opts) {
  const std::string& name = path.getPathAttribute();
  switch (attribute) {
    case kAttributes:
    case kChildren:
    case kAliases:
    case kValueAge:
    case kReference:
      return refuseAttribute(4, "Automatic Attribute " + name + " is not Writable", reply, opts);
    case kOverridden:
    case kHasHistory:
    case kHasDynamicChildren:
      return value == "false"
                 ? refuseAttribute(4, "Attribute " + name + " is automatically set to false", reply,
                                   opts)
                 : 0;
    default:
      return 0;
  }
}

// Type of a leaf that has none yet: by its name, or as the node's value.
data_type_t typeOfNewLeaf(_global_data_t* glptr, const toolkit::CPath& path) {
  data_type_t type = GetDataTypeFromName(path.getPathAttribute());
  if (type == DATA_SAME_AS_VALUE) {
    const auto value = fetch(glptr, path.getNewPath("Value"));
    type = value ? value->type() : DATA_STRING;
  }
  return type == DATA_NONE ? DATA_STRING : type;
}

bool isState(data_type_t type, int attribute) {
  return (type == DATA_BOOLEAN || type == DATA_ENUMERATED || type == DATA_INTEGER) &&
         (attribute == kPlainValue || attribute == kAlarmOnValue);
}

// Tries the client's text as a label. False, with `reply` an error string, where only a label would
// do.
bool mapLabel(_global_data_t* glptr, bool testMode, const toolkit::CPath& path, data_type_t type,
              const std::string& value, toolkit::CElement& element, bool& mapped,
              std::string& reply, const _service_options_t* opts) {
  using Labels = toolkit::CCds_Multistate::Labels;
  bool isMultistate = false;
  mapped = toolkit::CCds_Multistate(glptr->cdsApi)
               .StringToMultiValue(path, type, value, element, isMultistate,
                                   testMode ? Labels::kAny : Labels::kWritable) == 0;
  if (!mapped && isMultistate) {
    refuse({WS_VALUE_FORMAT, "Cannot find PossibleValue match to write", reply, opts},
           "Cannot find PossibleValue match to write %s to %s", value.c_str(), path.str().c_str());
    return false;
  }
  return true;
}

void refuseWrite(const toolkit::CPath& path, std::string& reply, const _service_options_t* opts) {
  refuse({WS_WRITE_FAILED, "CDS write access failed", reply, opts},
         "CCds::set_leaf() call failed for %s", path.str().c_str());
}

void writeLeaf(_global_data_t* glptr, const toolkit::CPath& path, const toolkit::CElement& element,
               const std::string& source, const std::string& written, std::string& reply,
               const _service_options_t* opts) {
  api_status_t status = API_NONE;
  const pcd_tribool_t persist = opts->persist ? PCD_TRUE : PCD_FALSE;
  if (glptr->cdsApi.set_leaf(path, element, status, persist, source) == 0 &&
      status == API_SUCCESS) {
    reply = written;
  } else {
    refuseWrite(path, reply, opts);
  }
}

// Steps of a write whose path, right and locale are good.
void convertAndWrite(_global_data_t* glptr, bool testMode, const _service_options_t* opts,
                     const toolkit::CPath& path, const std::string& value, data_type_t type,
                     std::string& reply) {
  const int attribute = pcd_attr_str_to_enum(path.getPathAttribute());
  const std::string source = writeSource(*glptr);
  toolkit::CElement element(value);
  element.set_time(writeTime());
  if (type == DATA_NONE) {
    type = typeOfNewLeaf(glptr, path);
  }
  bool mapped = false;
  if (isState(type, attribute) &&
      !mapLabel(glptr, testMode, path, type, value, element, mapped, reply, opts)) {
    return;
  }
  __psyslog->info(2, "Will write to %s with type = %d, from %s", path.str().c_str(), type,
                  source.c_str());
  if (!mapped && type != DATA_STRING && pcd_StrictConvertType(element, type, reply, opts) != 0) {
    return;
  }
  if (testMode && attribute == kValueType) {
    if (pcd_fixValueType(glptr, path, value, "Value") &&
        pcd_fixValueType(glptr, path, value, ".AlarmOnValue")) {
      reply = value;
    } else {
      refuseWrite(path, reply, opts);
    }
    return;
  }
  writeLeaf(glptr, path, element, source, mapped ? value : element.to_string(), reply, opts);
}

bool isBooleanText(const std::string& text) {
  return strcasecmp(text.c_str(), "true") == 0 || strcasecmp(text.c_str(), "false") == 0;
}

bool isIntegerText(const std::string& text) {
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  return !text.empty() && *end == '\0' && value < std::numeric_limits<std::int32_t>::max();
}

bool isRealText(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == '\0' && !(value > std::numeric_limits<double>::max());
}

// 0, or the number of the refusal.
int checkText(const std::string& text, data_type_t type) {
  switch (type) {
    case DATA_BOOLEAN:
      return isBooleanText(text) ? 0 : 1;
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      return isIntegerText(text) ? 0 : 2;
    case DATA_REAL:
      return isRealText(text) ? 0 : 3;
    case DATA_NONE:
    case DATA_TIMEVAL:
    case DATA_STRING:
    case DATA_SAME_AS_VALUE:
    case DATA_INTEGER64:
      break;
  }
  return 0;
}

// The value of a text that checkText accepts.
toolkit::CElement convertedText(const std::string& text, data_type_t type, timeval time) {
  toolkit::CElement element(text);
  if (type == DATA_ENUMERATED || type == DATA_INTEGER) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    element = toolkit::CElement(
        static_cast<std::int32_t>(std::max<long>(number, std::numeric_limits<std::int32_t>::min())),
        type);
  } else if (type == DATA_REAL) {
    element = toolkit::CElement(std::strtod(text.c_str(), nullptr));
  } else {
    element.convert_type(type);
  }
  element.set_time(time);
  return element;
}

// The element in the type, or the type's zero where there is no such value.
toolkit::CElement convertedOrZero(const toolkit::CElement& element, data_type_t type) {
  toolkit::CElement converted = element;
  converted.convert_type(type);
  const bool fits = element.type() == DATA_STRING
                        ? checkText(element.to_string(), type) == 0
                        : type == DATA_STRING || type == DATA_BOOLEAN ||
                              std::abs(converted.to_double() - element.to_double()) < 1;
  if (!fits) {
    converted = toolkit::CElement("");
    converted.set_time(element.time());
    converted.convert_type(type);
  }
  return converted;
}

}  // namespace

int pcd_setValue(struct soap* ctx, bool testMode, const _service_options_t* opts,
                 const std::string& path, const std::string& value, std::string& reply) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr->cdsApi.is_initialized());
  assert(reply.empty());
  if (path.empty()) {
    BnwsErrMsg(WS_PATH_SYNTAX, "No Path provided", reply, opts);
    return 0;
  }
  if (value.empty()) {
    BnwsErrMsg(WS_VALUE_FORMAT, "No Value provided", reply, opts);
    return 0;
  }
  toolkit::CPath cdsPath(path);
  if (cdsPath.normalize() != 0) {
    refuse({WS_PATH_SYNTAX, "CDS Error in supplied path", reply, opts}, "Error in supplied path %s",
           path.c_str());
    return 0;
  }
  if (!cdsPath.is_write_authorized()) {
    __psyslog->notice(1, "Unauthorized attempt to write to %s", path.c_str());
    return kUnauthorized;
  }
  if (!opts->localeValid) {
    BnwsErrMsg(WS_LOCALE_NOT_SUPPORTED, opts->localeName.c_str(), reply, opts);
    return 0;
  }
  toolkit::CElement present;
  if (GetWritableLeaf(glptr, cdsPath, testMode, value, present, reply, opts) != 0) {
    return 0;
  }
  convertAndWrite(glptr, testMode, opts, cdsPath, value, present.type(), reply);
  __psyslog->info(2, "Wrote %s to %s", reply.c_str(), path.c_str());
  return 0;
}

int GetWritableLeaf(_global_data_t* glptr, toolkit::CPath& path, bool testMode,
                    const std::string& value, toolkit::CElement& element, std::string& reply,
                    const _service_options_t* opts) {
  api_status_t status = API_NONE;
  element_property_t source = ELEMENT_NORMAL;
  const int rc = glptr->cdsApi.get_leaf(path, status, element, source);
  const int attribute = pcd_attr_str_to_enum(path.getPathAttribute());
  if (testMode) {
    return checkTestMode(path, attribute, value, reply, opts);
  }
  if (rc != 0 || status != API_SUCCESS || element.type() == DATA_NONE) {
    return refuseMissing(path, status, reply, opts);
  }
  return checkWritable(glptr, path, attribute, reply, opts);
}

int pcd_StrictConvertType(toolkit::CElement& element, data_type_t type, std::string& reply,
                          const _service_options_t* opts) {
  const std::string text = element.to_string();
  const int refusal = checkText(text, type);
  if (refusal != 0) {
    BnwsErrMsg(WS_VALUE_FORMAT, ("Could not transform " + text).c_str(), reply, opts);
    return refusal;
  }
  element = convertedText(text, type, element.time());
  reply = element.to_string();
  return 0;
}

data_type_t GetDataTypeFromName(const std::string& name) {
  const int attribute = pcd_attr_str_to_enum(name);
  for (const DataTypeRow& row : DataTypeMap) {
    if (row.attribute == attribute) {
      return row.type;
    }
  }
  return DATA_NONE;
}

bool pcd_fixValueType(_global_data_t* glptr, const toolkit::CPath& path, const std::string& value,
                      const char* leafName) {
  const toolkit::CPath companion = path.getNewPath(leafName);
  api_status_t status = API_NONE;
  toolkit::CElement element;
  element_property_t source = ELEMENT_NORMAL;
  if (glptr->cdsApi.get_leaf(companion, status, element, source) != 0 || status != API_SUCCESS) {
    return status == API_NOT_FOUND;
  }
  bool isMultistate = false;
  const auto type = static_cast<data_type_t>(pcd_BACnetValueTypeToCdsType(value, isMultistate));
  const pcd_tribool_t persist = source == ELEMENT_PERSISTENT ? PCD_TRUE : PCD_FALSE;
  return glptr->cdsApi.set_leaf(companion, convertedOrZero(element, type), status, persist,
                                writeSource(*glptr)) == 0 &&
         status == API_SUCCESS;
}

int pcd_BACnetValueTypeToCdsType(const std::string& name, bool& isMultistate) {
  if (strcasecmp(name.c_str(), "Real") == 0) {
    return DATA_REAL;
  }
  if (strcasecmp(name.c_str(), "Multistate") == 0) {
    isMultistate = true;
    return DATA_INTEGER;
  }
  const data_type_t type = pcd_human_str_to_enum(name);
  if (type == DATA_BOOLEAN) {
    isMultistate = true;
  }
  return type == DATA_NONE ? DATA_STRING : type;
}

std::string writeSource(const _global_data_t& global) {
  std::string source;
  toolkit::CEvent::format_source_string(source, "Web-Services", global.caller.user.value_or(""),
                                        global.caller.address.value_or(""));
  return source;
}

timeval writeTime() {
  timeval now = {};
  qel_QELtoUNIXtime(qel_UTCtime(), &now);
  return now;
}
