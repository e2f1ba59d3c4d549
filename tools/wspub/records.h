// What a subscriber is told: values and events, between store and wire. Plain value types.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "toolkit/event.h"

namespace wspub {

// An element as texts: for a state its label, with the state's number in `numeric`.
struct Texts {
  std::string value;
  std::optional<std::string> numeric;
};

struct Value {
  std::string path;
  std::optional<Texts> texts;  // none: cannot be read
  std::uint16_t quality = 0;
  std::int64_t time = 0;  // microseconds since 1970-01-01 UTC
  bool isTrend = false;   // else it is the present value
};

enum class EventKind { kEvent, kAlarm, kStructureChanged };

struct Event {
  EventKind kind = EventKind::kEvent;
  std::string sourcePath;
  std::optional<Texts> texts;
  // One for all subscribers.
  std::shared_ptr<const toolkit::CEvent> event = std::make_shared<const toolkit::CEvent>();
};

struct Record {
  std::variant<Value, Event> content;
  std::uint64_t streamNumber = 0;  // in the stream of events; 0: a value of a point
};

}  // namespace wspub
