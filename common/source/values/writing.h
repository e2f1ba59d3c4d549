// Writing one value: checks, conversion of the client's text, and the write itself.
//
// A refused write changes nothing. What is acknowledged is in the store, and with the `persist`
// option durably so.
#pragma once

#include <string>

#include "front/global_data.h"
#include "toolkit/element.h"
#include "toolkit/path.h"
#include "values/service_options.h"

// HTTP status of an operation whose caller may not write.
constexpr int kUnauthorized = 401;

// Writes `value` to the leaf at `path`. `reply`, empty on entry, is the value as written or an
// error string. `testMode` is the maintenance namespace's: leaves need not exist or be writable.
// Returns 0, or kUnauthorized with `reply` empty.
int pcd_setValue(struct soap* ctx, bool testMode, const _service_options_t* opts,
                 const std::string& path, const std::string& value, std::string& reply);

// Fetches the leaf into `element` and decides whether it may be written. 0, or the refusal with
// `reply` set: 1 missing node, 2 value not writable, 3 attribute not writable, 4 refused in test
// mode.
int GetWritableLeaf(_global_data_t* glptr, toolkit::CPath& path, bool testMode,
                    const std::string& value, toolkit::CElement& element, std::string& reply,
                    const _service_options_t* opts);

// Converts an element that holds text. 0 with `reply` the converted value's text; or 1, 2, 3 for a
// text that is no Boolean ("true", "false"), Integer (decimal, below 2147483647; too low saturates)
// or Real (strtod), with `reply` an error string.
int pcd_StrictConvertType(toolkit::CElement& element, data_type_t type, std::string& reply,
                          const _service_options_t* opts);

// Type of a leaf by its name: DATA_SAME_AS_VALUE for those that share the value's, DATA_NONE for
// names outside the table.
data_type_t GetDataTypeFromName(const std::string& name);

// After a node's ValueType was set to `value`: brings its leaf `leafName` to that type, durably
// when it was durable. A value that does not convert becomes the type's zero; an absent leaf stays
// absent. False when the store failed.
bool pcd_fixValueType(_global_data_t* glptr, const toolkit::CPath& path, const std::string& value,
                      const char* leafName);

// Data type for the word in a ValueType leaf; unknown words are String. `isMultistate` is set for
// "Multistate" and "Boolean" and otherwise left alone.
int pcd_BACnetValueTypeToCdsType(const std::string& name, bool& isMultistate);

// What the store keeps about the writer: the service, the caller, the caller's address.
std::string writeSource(const _global_data_t& global);

// The time stamp of a write: now.
timeval writeTime();
