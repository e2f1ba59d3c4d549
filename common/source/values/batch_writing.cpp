#include "values/batch_writing.h"

#include <algorithm>
#include <cassert>

#include "toolkit/multistate.h"
#include "values/attribute_numbers.h"
#include "values/error_strings.h"
#include "values/writing.h"

using namespace toolkit::ws;

namespace {

constexpr int kBadPath = 1;           // CWritableLeaf::status
constexpr int kCompanionHandled = 5;  // likewise
constexpr int kNoMatch = 1;           // as the look-up of a label gives it
constexpr std::size_t kNoText = 2;    // texts up to this length count as none
constexpr const char* kNoLabels = "null";

using Batch = CWritableBatch;

// Text of a leaf in the store; false when it cannot be read.
bool fetchText(toolkit::CCds& cds, const toolkit::CPath& path, std::string& text) {
  const auto element = cds.find_leaf(path);
  text = element ? element->to_string() : text;
  return element.has_value();
}

bool isRefused(const CWritableLeaf& leaf) {
  return leaf.status != 0 && leaf.status != kCompanionHandled;
}

CWritableLeaf* findSibling(Batch& batch, const CWritableLeaf& leaf, const char* name) {
  return FindWritableLeaf(batch, leaf.path.getNewPath(name).getLeafPath());
}

// What the batch itself writes to a leaf. A refused entry changes no other.
const CWritableLeaf* findAccepted(Batch& batch, const std::string& leafPath) {
  const CWritableLeaf* record = FindWritableLeaf(batch, leafPath);
  return record == nullptr || isRefused(*record) ? nullptr : record;
}

// Labels in a leaf of the store that may serve for the text.
bool fetchLabels(toolkit::CCds& cds, const CWritableLeaf& leaf, const char* name, bool checkValue,
                 std::string& possibleValues) {
  std::string text;
  if (!fetchText(cds, leaf.path.getNewPath(name), text) || text.size() <= kNoText ||
      (checkValue && text.find(leaf.value) == std::string::npos)) {
    return false;
  }
  possibleValues = text;
  return true;
}

void settleBadPath(CWritableLeaf& leaf, const _service_options_t* opts) {
  refuse({WS_PATH_SYNTAX, "CDS Error in supplied path", leaf.reply, opts},
         "Error in supplied path %s", leaf.path.str().c_str());
  leaf.status = kBadPath;
}

// Makes a request's records. False when the caller may not write one of them.
bool makeRecords(_global_data_t* glptr, bool testMode, const _service_options_t* opts,
                 const std::vector<std::string>& paths, const std::vector<std::string>& values,
                 Batch& batch) {
  const std::size_t count = std::min(paths.size(), values.size());
  batch.leaves.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    CWritableLeaf& leaf = batch.leaves[i];
    leaf.path = toolkit::CPath(paths[i]);
    leaf.value = values[i];
    if (leaf.path.normalize() != 0) {
      settleBadPath(leaf, opts);
      continue;
    }
    if (!leaf.path.is_write_authorized()) {
      __psyslog->notice(1, "Unauthorized attempt to write to %s", paths[i].c_str());
      return false;
    }
    if (leaf.path.getSubAttribute().empty() && !leaf.path.isArrayElement()) {
      batch.byLeafPath.try_emplace(leaf.path.getLeafPath(), i);
    }
    leaf.status =
        GetWritableLeaf(glptr, leaf.path, testMode, leaf.value, leaf.element, leaf.reply, opts);
    leaf.dataType = leaf.element.type();
    leaf.element = toolkit::CElement(leaf.value);
  }
  return true;
}

void recast(CWritableLeaf* companion, data_type_t type, bool isMultistate) {
  if (companion == nullptr) {
    return;
  }
  companion->dataType = type;
  companion->mapped = isMultistate;
  const char* name = pcd_enum_to_str(type);
  if (type != DATA_STRING) {
    __psyslog->info(2, "Re-Casting for %s to %s", companion->path.str().c_str(),
                    name == nullptr ? "" : name);
  }
}

// A new ValueType decides how the node's values of the same request are read.
void applyValueTypes(Batch& batch) {
  for (CWritableLeaf& leaf : batch.leaves) {
    if (leaf.status != 0 || leaf.path.getPathAttribute() != "ValueType") {
      continue;
    }
    bool isMultistate = false;
    const auto type =
        static_cast<data_type_t>(pcd_BACnetValueTypeToCdsType(leaf.value, isMultistate));
    recast(findSibling(batch, leaf, "Value"), type, isMultistate);
    recast(findSibling(batch, leaf, ".AlarmOnValue"), type, isMultistate);
    leaf.status = kCompanionHandled;
    leaf.reply = leaf.value;
  }
}

void convertAttribute(_global_data_t* glptr, CWritableLeaf& leaf, Batch& batch,
                      const _service_options_t* opts) {
  if (leaf.dataType == DATA_NONE) {
    leaf.dataType = GetDataTypeFromName(leaf.path.getPathAttribute());
  }
  if (leaf.dataType == DATA_SAME_AS_VALUE) {
    std::string labels;
    bool isMultistate = false;
    leaf.dataType =
        HuntForValueType(glptr->cdsApi, leaf.path.getNodePath(), &batch, labels, isMultistate);
  }
  if (leaf.dataType == DATA_NONE) {
    leaf.dataType = DATA_STRING;
  }
  leaf.status = pcd_StrictConvertType(leaf.element, leaf.dataType, leaf.reply, opts);
}

// The labels of a node: all of them, and those that may be written, where these are told apart.
struct Labels {
  std::string possible;
  std::string writable;

  bool allows(const std::string& text) const {
    int index = 0;
    return writable.empty() || toolkit::CCds_Multistate::GetEnumValue(writable, text, index) == 0;
  }
  // The list in which a label's index is its state.
  const std::string& numbered() const { return possible.empty() ? writable : possible; }
};

void acceptLabel(CWritableLeaf& leaf, toolkit::CElement element) {
  leaf.element = std::move(element);
  leaf.reply = leaf.value;
  leaf.mapped = true;
}

void convertBoolean(CWritableLeaf& leaf, const Labels& labels, const _service_options_t* opts) {
  bool state = false;
  const int match = labels.allows(leaf.value) ? toolkit::CCds_Multistate::GetBoolFromString(
                                                    labels.numbered(), leaf.value, state)
                                              : kNoMatch;
  if (match == 0) {
    return acceptLabel(leaf, toolkit::CElement(state));
  }
  refuse({WS_VALUE_FORMAT, "Cannot find bool match to write", leaf.reply, opts},
         "Cannot find bool match for %s to write to %s", leaf.value.c_str(),
         leaf.path.str().c_str());
  leaf.status = match;
}

void convertState(CWritableLeaf& leaf, const Labels& labels, const _service_options_t* opts) {
  int state = 0;
  const int match = labels.allows(leaf.value) ? toolkit::CCds_Multistate::GetEnumValue(
                                                    labels.numbered(), leaf.value, state)
                                              : kNoMatch;
  if (match == 0) {
    const data_type_t type = leaf.dataType == DATA_ENUMERATED ? DATA_ENUMERATED : DATA_INTEGER;
    return acceptLabel(leaf, toolkit::CElement(state, type));
  }
  refuse({WS_VALUE_FORMAT, "Cannot find PossibleValue match to write", leaf.reply, opts},
         "Cannot find enum match for %s to write to %s", leaf.value.c_str(),
         leaf.path.str().c_str());
  leaf.status = match;
}

void convertValue(_global_data_t* glptr, bool testMode, CWritableLeaf& leaf, Batch& batch,
                  const _service_options_t* opts) {
  Labels labels;
  bool isMultistate = false;
  const data_type_t hunted = HuntForValueType(glptr->cdsApi, leaf.path.getNodePath(), &batch,
                                              labels.possible, isMultistate);
  if (leaf.dataType == DATA_NONE) {
    leaf.dataType = hunted;
  }
  if (labels.possible == kNoLabels) {
    labels.possible.clear();
  }
  if (isMultistate && !testMode) {
    HuntForMultistateValues(glptr->cdsApi, leaf, batch, labels.writable, false);
  }
  switch (leaf.dataType) {
    case DATA_BOOLEAN:
      return convertBoolean(leaf, labels, opts);
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      if (isMultistate) {
        return convertState(leaf, labels, opts);
      }
      [[fallthrough]];
    case DATA_REAL:
    case DATA_TIMEVAL:
    case DATA_INTEGER64:
      leaf.status = pcd_StrictConvertType(leaf.element, leaf.dataType, leaf.reply, opts);
      return;
    case DATA_STRING:
    case DATA_SAME_AS_VALUE:
      return;
    case DATA_NONE:
      __psyslog->info(1, "Unknown ValueType for %s", leaf.path.str().c_str());
  }
}

void convertRecords(_global_data_t* glptr, bool testMode, Batch& batch,
                    const _service_options_t* opts) {
  for (CWritableLeaf& leaf : batch.leaves) {
    if (leaf.status != 0) {
      continue;
    }
    const int attribute = pcd_attr_str_to_enum(leaf.path.getPathAttribute());
    if (attribute == kPlainValue || attribute == kAlarmOnValue) {
      convertValue(glptr, testMode, leaf, batch, opts);
    } else {
      convertAttribute(glptr, leaf, batch, opts);
    }
  }
}

// What is sent to the store: the open records, in order.
struct Sending {
  std::vector<CWritableLeaf*> records;
  std::vector<api_status_t> statuses;
  bool succeeded = false;
};

Sending sendRecords(_global_data_t* glptr, Batch& batch, const _service_options_t* opts) {
  Sending sending;
  std::vector<toolkit::CPath> paths;
  std::vector<toolkit::CElement> elements;
  const timeval now = writeTime();
  for (CWritableLeaf& leaf : batch.leaves) {
    if (leaf.status == 0) {
      leaf.element.set_time(now);
      leaf.index = static_cast<int>(sending.records.size());
      sending.records.push_back(&leaf);
      paths.push_back(leaf.path);
      elements.push_back(leaf.element);
    }
  }
  if (sending.records.empty()) {
    return sending;
  }
  const std::vector<pcd_tribool_t> persist(paths.size(), opts->persist ? PCD_TRUE : PCD_FALSE);
  sending.succeeded = glptr->cdsApi.set_leaves(paths, elements, persist, sending.statuses,
                                               writeSource(*glptr)) == 0;
  return sending;
}

void answerSent(CWritableLeaf& leaf, const Sending& sending, const _service_options_t* opts) {
  if (!sending.succeeded) {
    BnwsErrMsg(WS_WRITE_FAILED, "Attempt to write data failed", leaf.reply, opts);
  } else if (sending.statuses[static_cast<std::size_t>(leaf.index)] == API_SUCCESS) {
    if (!leaf.mapped) {
      leaf.reply = leaf.element.to_string();
    }
    __psyslog->info(2, "Wrote[%i] %s to %s", leaf.index, leaf.reply.c_str(),
                    leaf.path.str().c_str());
  } else {
    refuse({WS_WRITE_FAILED, "CDS write access failed", leaf.reply, opts},
           "CDS write access failed for %s", leaf.path.str().c_str());
  }
}

}  // namespace

bool pcd_testPathsValues(const std::vector<std::string>* paths,
                         const std::vector<std::string>* values, const _service_options_t* opts,
                         std::vector<std::string>& results) {
  if (paths == nullptr || paths->empty()) {
    BnwsErrMsg(WS_NO_PATHS, "No Paths provided", results.emplace_back(), opts);
    return false;
  }
  if (values == nullptr || values->empty()) {
    BnwsErrMsg(WS_EMPTY_ARRAY, "No Values provided", results.emplace_back(), opts);
    return false;
  }
  if (paths->size() != values->size()) {
    BnwsErrMsg(WS_INDEX_OUT_OF_RANGE, "Mismatched array sizes", results.emplace_back(), opts);
    return false;
  }
  return true;
}

int pcd_setValues(struct soap* ctx, bool testMode, const _service_options_t* opts,
                  const std::vector<std::string>& paths, const std::vector<std::string>& values,
                  std::vector<std::string>& results) {
  _global_data_t* glptr = globalData(ctx);
  if (!opts->localeValid) {
    BnwsErrMsg(WS_LOCALE_NOT_SUPPORTED, opts->localeName.c_str(), results.emplace_back(), opts);
    return 0;
  }
  assert(glptr->cdsApi.is_initialized());
  Batch batch;
  if (!makeRecords(glptr, testMode, opts, paths, values, batch)) {
    return kUnauthorized;
  }
  applyValueTypes(batch);
  convertRecords(glptr, testMode, batch, opts);
  const Sending sending = sendRecords(glptr, batch, opts);
  for (CWritableLeaf* leaf : sending.records) {
    answerSent(*leaf, sending, opts);
  }
  for (CWritableLeaf& leaf : batch.leaves) {
    results.push_back(std::move(leaf.reply));
  }
  return 0;
}

CWritableLeaf* FindWritableLeaf(Batch& batch, const std::string& leafPath) {
  const auto found = batch.byLeafPath.find(leafPath);
  return found == batch.byLeafPath.end() ? nullptr : &batch.leaves[found->second];
}

data_type_t HuntForValueType(toolkit::CCds& cds, const std::string& nodePath, Batch* batch,
                             std::string& possibleValues, bool& isMultistate) {
  possibleValues.clear();
  isMultistate = false;
  const std::string prefix = nodePath == "/" ? std::string() : nodePath;
  const CWritableLeaf* record =
      batch == nullptr ? nullptr : findAccepted(*batch, prefix + "/ValueType");
  int type = DATA_STRING;
  std::string text;
  if (record != nullptr) {
    type = pcd_BACnetValueTypeToCdsType(record->value, isMultistate);
  } else if (fetchText(cds, prefix + "/ValueType", text) && text.size() > kNoText) {
    type = pcd_BACnetValueTypeToCdsType(text, isMultistate);
  }
  if (isMultistate) {
    const CWritableLeaf* labels =
        batch == nullptr ? nullptr : findAccepted(*batch, prefix + "/PossibleValues");
    if (labels != nullptr) {
      possibleValues = labels->value;
    } else if (!fetchText(cds, prefix + "/PossibleValues", possibleValues)) {
      possibleValues = kNoLabels;
    }
  }
  return static_cast<data_type_t>(type);
}

bool HuntForMultistateValues(toolkit::CCds& cds, CWritableLeaf& leaf, Batch& batch,
                             std::string& possibleValues, bool checkValue) {
  const auto inBatch = [&](const char* name) {
    return findAccepted(batch, leaf.path.getNewPath(name).getLeafPath());
  };
  const CWritableLeaf* writable = inBatch("WritableValues");
  if (writable != nullptr) {
    possibleValues = writable->value;
    if (!checkValue || writable->value.find(leaf.value) != std::string::npos) {
      return true;
    }
  }
  if (writable != nullptr || checkValue) {
    if (const CWritableLeaf* possible = inBatch("PossibleValues")) {
      possibleValues = possible->value;
      return true;
    }
  }
  if (fetchLabels(cds, leaf, "WritableValues", checkValue, possibleValues)) {
    return true;
  }
  return checkValue && fetchLabels(cds, leaf, "PossibleValues", checkValue, possibleValues);
}
