// Logged events as records of a reply. All that they point to belongs to the SOAP context.
#pragma once

#include <string>

#include "TarnixH.h"
#include "front/global_data.h"
#include "toolkit/element.h"
#include "toolkit/event.h"

// What a source path and the value of its leaf read as. `path` is a leaf path, or a node for its
// value.
//   pathOut     the node of a value; node, ":" and leaf of an attribute; "/" as it is
//   valueOut    text of the value: the translated label of a state; null for "/"
//   numericOut  number of a state; else null
// A path outside the grammar comes out as it is, with the value's plain text.
void extractValueNPath(_global_data_t* glptr, struct soap* ctx, const std::string& path,
                       bool alreadyNormalised, const toolkit::CElement& valueElement,
                       std::string*& pathOut, std::string*& valueOut, std::string*& numericOut);

// Fills the fields that all events have. Null, and `out` is released, for an event that clients do
// not get: those of the device's software, unless they tell of a completed change of configuration.
nss1__Event* fillEventFields(_global_data_t* glptr, struct soap* ctx, const toolkit::CEvent& event,
                             nss1__Event* out);

// One record an event, or null when it is left out. What fails meanwhile is logged.
nss1__Event* buildEvent(_global_data_t* glptr, struct soap* ctx, const toolkit::CEvent& event);
// Asserts that the event is an alarm's.
nss1__Event* buildAlarmEvent(_global_data_t* glptr, struct soap* ctx, const toolkit::CEvent& event);
nss1__PublishedValue* buildPublishedValue(_global_data_t* glptr, struct soap* ctx,
                                          const toolkit::CEvent& event);
