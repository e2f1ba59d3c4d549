#include "event_feed.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "element_texts.h"
#include "toolkit/time.h"

namespace wspub {

using toolkit::CEvent;
using toolkit::CPath;

namespace {

constexpr const char* kConfigurationChanged = "/Software/System Settings/Configuration Changed";
constexpr const char* kSoftware = "/Software";

struct Route {
  LogOption option;
  EventKind kind = EventKind::kEvent;
};

bool isBelowSoftware(const std::string& path) {
  return path == kSoftware || path.starts_with(std::string(kSoftware) + "/");
}

// Nothing for an event that nobody gets.
std::optional<Route> routeOf(const CEvent& event) {
  switch (event.type) {
    case toolkit::EVENT_ALARM:
      return Route{kAlarm, EventKind::kAlarm};
    case toolkit::EVENT_DELTA:
      return Route{kTrend};
    case toolkit::EVENT_QUALITY:
      return Route{kQuality};
    default:
      break;
  }
  if (event.path.starts_with(kConfigurationChanged) && event.flag) {
    return Route{kConfiguration, EventKind::kStructureChanged};
  }
  return isBelowSoftware(event.path) ? std::nullopt : std::optional(Route{kNonAlarmEvent});
}

std::optional<Texts> textsOfEvent(toolkit::CCds& cds, const CPath& path, const CEvent& event) {
  if (event.value.type() == DATA_NONE) {
    return std::nullopt;
  }
  return textsOf(cds, path, event.value);
}

Value trendValue(const CEvent& event, const CPath& path, std::optional<Texts> texts) {
  return {clientPath(path), std::move(texts), event.quality, qel_UNIXtoQELtime64(&event.time),
          true};
}

}  // namespace

std::string clientPath(const CPath& leaf) {
  if (leaf.getLeafName() == "Value" || !leaf.is_normalized()) {
    return leaf.is_normalized() ? leaf.getNodePath() : leaf.str();
  }
  return leaf.getNodePath() + ":" + leaf.getLeafName();
}

bool EventFeed::look(std::map<std::string, Subscription>& subscriptions) {
  std::uint64_t seen = std::numeric_limits<std::uint64_t>::max();
  for (const auto& [id, subscription] : subscriptions) {
    seen = std::min(seen, subscription.eventsSeen);
  }
  std::vector<toolkit::CEventStream::Entry> entries;
  if (!subscriptions.empty() && stream_.read(seen, entries) != 0) {
    return false;
  }
  for (auto& [id, subscription] : subscriptions) {
    for (const auto& entry : entries) {
      offer(subscription, entry);
    }
  }
  return true;
}

void EventFeed::offer(Subscription& subscription, const toolkit::CEventStream::Entry& entry) {
  const CEvent& event = entry.event;
  if (entry.number <= subscription.eventsSeen) {
    return;
  }
  subscription.eventsSeen = entry.number;
  const auto route = routeOf(event);
  const timeval since = subscription.eventsSince();
  const bool isOld = entry.number <= subscription.streamAtLoad && timercmp(&event.time, &since, <);
  if (!route || isOld || !subscription.isReachable || !subscription.asksFor(route->option)) {
    return;
  }
  CPath path(route->kind == EventKind::kStructureChanged ? "/" : event.path);
  path.normalize();
  if (!path.is_read_authorized(subscription.terms.user)) {
    return;
  }
  std::optional<Texts> texts = textsOfEvent(cds_, path, event);
  if (route->option == kTrend) {
    subscription.queue.add({trendValue(event, path, std::move(texts)), entry.number});
  } else {
    subscription.queue.add(
        {Event{route->kind, clientPath(path), std::move(texts), event}, entry.number});
  }
}

}  // namespace wspub
