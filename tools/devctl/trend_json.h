// Interval trends as JSON, and back:
//
//   { "periods":   [ {"id": 1, "maxEntries": 1000} ],
//     "devices":   [ {"path": "/Dev1", "params": [
//                      {"path": "/Dev1/VoltageA", "type": 0,
//                       "min": true, "max": true, "avg": true, "actual": false}]} ],
//     "snapshots": [ {"device": "/Dev1", "period": 1, "time": 1700000000, "valid": 100.0,
//                     "data": [[229.0, 231.0, 230.1, null]]} ] }
//
// Each list may be missing. A period without "maxEntries" has no bound; a parameter's type is 0 and
// its flags are false where they are missing. "time" is in Unix seconds, from 0 on; "valid" is 0 to
// 100. "data" has minimum, maximum, average and actual value of each parameter, in the order that
// the device's "params" have here, or in the log's order when there are none here. What is missing
// at the end, and null, is absent. A number that JSON does not have is "inf" or "-inf".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "toolkit/trend.h"

namespace trend_json {

struct Trends {
  std::vector<toolkit::trend::CPeriodProperties> periods;
  std::vector<toolkit::trend::CDeviceParams> devices;
  std::vector<toolkit::trend::CEntry> entries;
};

// An empty result, or one sentence that names the place at fault.
std::string parse(std::string_view text, Trends& trends);

// The row of a list.
std::string format(const toolkit::trend::CPeriodProperties& period);
std::string format(const toolkit::trend::CDeviceParams& device);
std::string format(const std::string& device, const toolkit::trend::CSnapshot& snapshot);

}  // namespace trend_json
