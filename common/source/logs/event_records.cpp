#include "logs/event_records.h"

#include <cassert>
#include <exception>

#include "soap_records.h"
#include "toolkit/path.h"
#include "toolkit/time.h"
#include "values/locales.h"
#include "values/state_labels.h"

using toolkit::CElement;
using toolkit::CEvent;
using toolkit::CPath;

namespace {

constexpr const char* kSoftware = "/Software";
constexpr const char* kConfigurationChanged = "/Software/System Settings/Configuration Changed";

// Text and number of a node's value.
void fillValue(_global_data_t* glptr, struct soap* ctx, const std::string& nodePath,
               const CElement& element, std::string& text, std::string*& numericOut) {
  switch (element.type()) {
    case DATA_BOOLEAN:
      numericOut = newString(ctx, element.to_bool() ? "1" : "0");
      text = boolLabel(glptr, nodePath, element.to_bool(), glptr->locale);
      break;
    case DATA_ENUMERATED:
    case DATA_INTEGER: {
      std::string number = text;
      if (stateLabel(glptr, nodePath, element.to_int(), glptr->locale, text)) {
        numericOut = newString(ctx, std::move(number));
      }
      break;
    }
    case DATA_NONE:
    case DATA_REAL:
    case DATA_TIMEVAL:
    case DATA_STRING:
    case DATA_SAME_AS_VALUE:
    case DATA_INTEGER64:
      break;
  }
}

const char* severityText(const CEvent& event) {
  if (event.type != toolkit::EVENT_SYSTEM) {
    return "";
  }
  switch (event.severity) {
    case toolkit::SEVERITY_INFORMATION:
      return "Informational Event";
    case toolkit::SEVERITY_CAUTION:
      return "Cautionary Event";
    case toolkit::SEVERITY_CRITICAL:
      return "Critical Event";
    default:
      return "System Event";
  }
}

void fillStructureChange(const _global_data_t* glptr, struct soap* ctx, const CEvent& event,
                         nss1__Event* out) {
  std::string description = "Device Node Structure Changed";
  if (!event.message.empty()) {
    TranslateAlarmMsg(glptr, event.message, description);
  }
  out->EventType = nss1__EventType__StructureChanged;
  out->Description = newString(ctx, std::move(description));
  out->SourcePath = newString(ctx, "/");
}

void fillWaveforms(struct soap* ctx, const CEvent& event, nss1__Event* out) {
  if (!event.waveforms.empty()) {
    out->ComtradeWaveformUrls = soap_new_nss1__ArrayOfString(ctx);
    out->ComtradeWaveformUrls->string = event.waveforms;
  }
}

// What `fill` makes of a new record; null, and nothing is left of it, when that throws.
template <class Record, class Fill>
auto build(struct soap* ctx, Record* record, const char* name, const CEvent& event, Fill fill)
    -> decltype(fill(record)) {
  try {
    return fill(record);
  } catch (const std::exception& e) {
    __psyslog->err(1, "FAILURE (system) in %s(%s): %s", name, event.path.c_str(), e.what());
    soap_delete(ctx, record);
    return nullptr;
  }
}

}  // namespace

void extractValueNPath(_global_data_t* glptr, struct soap* ctx, const std::string& path,
                       bool alreadyNormalised, const CElement& valueElement, std::string*& pathOut,
                       std::string*& valueOut, std::string*& numericOut) {
  numericOut = nullptr;
  valueOut = nullptr;
  if (path == "/") {
    pathOut = newString(ctx, path);
    return;
  }
  CPath leafPath(path);
  std::string text = valueElement.to_string();
  if (!alreadyNormalised && leafPath.normalize() != 0) {
    pathOut = newString(ctx, path);
    valueOut = newString(ctx, std::move(text));
    return;
  }
  const std::string leaf = leafPath.LopLastSubpath();
  const std::string& node = leafPath.getNodePath();
  if (leaf != "Value") {
    pathOut = newString(ctx, node + ":" + leaf);
  } else {
    pathOut = newString(ctx, node);
    if (glptr->cdsApi.is_initialized()) {
      fillValue(glptr, ctx, node, valueElement, text, numericOut);
    }
  }
  valueOut = newString(ctx, std::move(text));
}

nss1__Event* fillEventFields(_global_data_t* glptr, struct soap* ctx, const CEvent& event,
                             nss1__Event* out) {
  const bool ofSoftware = event.path.starts_with(kSoftware);
  if (ofSoftware && !(event.path.starts_with(kConfigurationChanged) && event.flag)) {
    soap_delete(ctx, out);
    return nullptr;
  }
  out->EventId = event.id;
  out->SequenceIndex = event.sequence;
  if (ofSoftware) {
    fillStructureChange(glptr, ctx, event, out);
  } else {
    out->EventType = nss1__EventType__Event;
    extractValueNPath(glptr, ctx, event.path, false, event.value, out->SourcePath, out->Value,
                      out->NumericValue);
    out->Description = newString(ctx, event.message.empty() ? severityText(event) : event.message);
  }
  fillWaveforms(ctx, event, out);
  out->Time = qel_UNIXtoQELtime64(&event.time);
  if (event.quality != CEvent::kGoodQuality) {
    const bool ofSystem = event.type == toolkit::EVENT_SYSTEM;
    out->Quality = newString(ctx, std::to_string(ofSystem ? CEvent::kGoodQuality : event.quality));
  }
  return out;
}

nss1__Event* buildEvent(_global_data_t* glptr, struct soap* ctx, const CEvent& event) {
  return build(ctx, soap_new_nss1__Event(ctx), "buildEvent", event,
               [&](nss1__Event* record) { return fillEventFields(glptr, ctx, event, record); });
}

nss1__Event* buildAlarmEvent(_global_data_t* glptr, struct soap* ctx, const CEvent& event) {
  using toolkit::EVENT_ALARM;
  assert(event.type == EVENT_ALARM);
  const auto fill = [&](nss1__AlarmUpdate* record) -> nss1__Event* {
    if (fillEventFields(glptr, ctx, event, record) == nullptr) {
      return nullptr;
    }
    record->EventType = nss1__EventType__Alarm;
    record->AckStatus = static_cast<enum nss1__AckStatus>(event.ack);
    record->ConditionPresent = event.condition;
    record->AutoClosing = event.autoClosing;
    record->VariationLevel = event.variation;
    if (!event.note.empty()) {
      record->Note = newString(ctx, event.note);
    }
    if (event.priority != 0) {
      record->BasePriority = newString(ctx, std::to_string(event.priority));
    }
    return record;
  };
  return build(ctx, soap_new_nss1__AlarmUpdate(ctx), "buildAlarmEvent", event, fill);
}

nss1__PublishedValue* buildPublishedValue(_global_data_t* glptr, struct soap* ctx,
                                          const CEvent& event) {
  if (event.path.starts_with(kSoftware)) {
    return nullptr;
  }
  const auto fill = [&](nss1__PublishedValue* record) {
    extractValueNPath(glptr, ctx, event.path, false, event.value, record->Path, record->Value,
                      record->NumericValue);
    record->Time = qel_UNIXtoQELtime64(&event.time);
    record->Quality = event.quality;
    record->RealTime = false;
    record->Trend = true;
    return record;
  };
  return build(ctx, soap_new_nss1__PublishedValue(ctx), "qelPublishedValue", event, fill);
}
