// Events as JSON, one object a line, and back:
//
//   {"type": 8, "id": 7, "seq": 1, "path": "/Dev1/VoltageA/Value", "time": 1700000000.25,
//    "raised": 1699999997.5, "severity": 2, "priority": 100, "message": "Sag : phase A",
//    "quality": 192, "ack": 0, "condition": true, "autoClosing": false, "flag": true,
//    "variation": 1, "note": "", "source": "", "value": 180.2, "valueType": "Real",
//    "valueTime": 1700000000.25, "waveforms": ["https://192.0.2.1/7.cfg"]}
//
// The members of toolkit::CEvent; "seq" is its sequence. What is absent is as in a new CEvent, but
// "time", which is now, "valueTime", which is the event's, and "valueType", which is what a model's
// leaf in the short form would have; "waveforms" is absent when there are none. Values and times
// are written as in model_file.h; bytes of a text that are not UTF-8 become U+FFFD.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/event.h"

namespace event_json {

// Reads a line. An empty result, or one sentence that names the member at fault.
std::string parse(std::string_view line, timeval now, toolkit::CEvent& event);

// The line of an event, without its end; parse() makes the same event of it.
std::string format(const toolkit::CEvent& event);

}  // namespace event_json
