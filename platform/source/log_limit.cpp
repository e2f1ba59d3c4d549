#include "log_limit.h"

#include <algorithm>
#include <functional>

namespace toolkit {

LogLimit::LogLimit() {
  kinds_.back().format = "(of many formats)";
}

LogLimit::Kind& LogLimit::kindOf(const char* format) {
  const std::size_t first = std::hash<const char*>{}(format) % kKinds;
  for (std::size_t i = 0; i < kKinds; ++i) {
    Kind& kind = kinds_.at((first + i) % kKinds);
    if (kind.format == nullptr) {
      kind.format = format;
    }
    if (kind.format == format) {
      return kind;
    }
  }
  return kinds_.back();
}

bool LogLimit::admits(const char* format, int severity, Time now) {
  Kind& kind = kindOf(format);
  if (now - kind.begin >= kInterval) {
    kind.written = 0;
  }
  if (kind.written == 0) {
    kind.begin = now;
  }
  if (kind.written < kBurst) {
    ++kind.written;
    return true;
  }
  kind.severity = severity;
  ++kind.heldBack;
  const Time due = kind.begin + kInterval;
  nextDue_ = std::min(nextDue_.value_or(due), due);
  return false;
}

std::optional<LogLimit::HeldBack> LogLimit::next(Time now, Which which) {
  if (!nextDue_ || (which == Which::Due && now < *nextDue_)) {
    return std::nullopt;
  }
  nextDue_.reset();
  Kind* found = nullptr;
  for (Kind& kind : kinds_) {
    if (kind.heldBack == 0) {
      continue;
    }
    const Time due = kind.begin + kInterval;
    if (found == nullptr && (which == Which::All || now >= due)) {
      found = &kind;
    } else {
      nextDue_ = std::min(nextDue_.value_or(due), due);
    }
  }
  if (found == nullptr) {
    return std::nullopt;
  }
  using std::chrono::seconds;
  const seconds time = std::max(seconds(1), std::chrono::ceil<seconds>(now - found->begin));
  const HeldBack held = {found->format, found->severity, found->heldBack, time};
  found->heldBack = 0;
  return held;
}

}  // namespace toolkit
