// CEvent: one event of the device's event system.
//
// A plain value type. CCds::events_send hands events over, CEventStream reads them.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <string>
#include <vector>

#include "toolkit/element.h"

namespace toolkit {

// What an event tells of. The numbers are stored and logged: they never change.
enum event_type_t {
  EVENT_PLAIN = 0,
  EVENT_DELTA = 1,    // a value has left the deadband of the point
  EVENT_QUALITY = 2,  // the quality of a device has changed
  EVENT_ALARM = 8,    // an alarm was raised, cleared, acknowledged or closed
  EVENT_ACKNOWLEDGE = 16,
  EVENT_SYSTEM = 256,  // the device itself, and its configuration
};

enum event_ack_t {
  ACK_NOT_ACKED = 0,
  ACK_ACKED = 1,
  ACK_CLOSED = 2,
};

enum event_severity_t {
  SEVERITY_NONE = 0,
  SEVERITY_INFORMATION = 1,
  SEVERITY_CAUTION = 2,
  SEVERITY_CRITICAL = 3,
};

class CEvent {
 public:
  static constexpr std::uint16_t kGoodQuality = 192;
  // What an acknowledgement bears: it ranks after every alarm.
  static constexpr std::int32_t kAcknowledgePriority = 10;

  std::int32_t type = EVENT_PLAIN;
  std::string path;           // leaf path of the source: "/Dev1/VoltageA/Value"
  std::int32_t priority = 0;  // base priority; 0: none
  std::int32_t severity = SEVERITY_NONE;
  timeval raised = CElement::_invalid_time;  // when the condition began, where that is known
  bool flag = false;                         // with a change of configuration: it is complete
  std::uint16_t quality = kGoodQuality;
  std::uint64_t id = 0;        // of an alarm: its number under /Alarms
  std::uint32_t sequence = 0;  // counts the changes of one alarm
  std::int32_t ack = ACK_NOT_ACKED;
  std::int32_t variation = 0;
  std::string note;
  std::string source;  // who caused it, see format_source_string
  timeval time = CElement::_invalid_time;
  CElement value;
  std::string message;  // English, as in the message catalogues
  bool condition = false;
  bool autoClosing = false;
  std::vector<std::string> waveforms;  // URLs of its records, without control characters

  // Who caused something, as one text: "Web-Services: admin@192.0.2.1". An empty user is
  // "anonymous"; an empty address is left out with its "@".
  static void format_source_string(std::string& out, const std::string& subsystem,
                                   const std::string& user, const std::string& address);
  // The user in such a text; empty for "anonymous" and for a text of another form.
  static std::string user_of_source(const std::string& source);

  friend bool operator==(const CEvent& a, const CEvent& b);
};

}  // namespace toolkit
