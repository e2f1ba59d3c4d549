#include "event_feed.h"

#include <algorithm>
#include <optional>
#include <vector>

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

using Entries = std::vector<toolkit::CEventStream::Entry>;

// Whether something of a ring that is gone may be from the time that the subscription is for: there
// is nothing left that is older than that.
bool isCutBy(const Entries& entries, toolkit::CEventStream::Ring ring, const timeval& since) {
  const auto oldest = std::find_if(entries.begin(), entries.end(),
                                   [&](const auto& entry) { return entry.ring == ring; });
  return oldest != entries.end() && timercmp(&oldest->event.time, &since, >);
}

// How many of the entries that are gone may have been for the subscription.
std::uint64_t lostOf(const Subscription& subscription, const Entries& entries,
                     const toolkit::CEventStream::Missed& missed) {
  const timeval since = subscription.eventsSince();
  const bool isFirst = subscription.eventsSeen == 0;
  const auto counts = [&](toolkit::CEventStream::Ring ring) {
    return subscription.isReachable && (!isFirst || isCutBy(entries, ring, since));
  };
  const bool events = counts(toolkit::CEventStream::kEventRing) &&
                      (subscription.asksFor(kAlarm) || subscription.asksFor(kNonAlarmEvent) ||
                       subscription.asksFor(kConfiguration));
  const bool changes = counts(toolkit::CEventStream::kChangeRing) &&
                       (subscription.asksFor(kTrend) || subscription.asksFor(kQuality));
  return std::min(missed.all, (events ? missed.events : 0) + (changes ? missed.changes : 0));
}

}  // namespace

std::string clientPath(const CPath& leaf) {
  if (leaf.getLeafName() == "Value" || !leaf.is_normalized()) {
    return leaf.is_normalized() ? leaf.getNodePath() : leaf.str();
  }
  return leaf.getNodePath() + ":" + leaf.getLeafName();
}

bool EventFeed::look(std::map<std::string, Subscription>& subscriptions) {
  // As a rule all have seen the same.
  std::map<std::uint64_t, std::vector<Subscription*>> byEventsSeen;
  for (auto& [id, subscription] : subscriptions) {
    byEventsSeen[subscription.eventsSeen].push_back(&subscription);
  }
  for (const auto& [eventsSeen, those] : byEventsSeen) {
    Entries entries;
    toolkit::CEventStream::Missed missed;
    if (stream_.read(eventsSeen, entries, missed) != 0) {
      return false;
    }
    std::vector<std::shared_ptr<const CEvent>> copies(entries.size());
    for (Subscription* const subscription : those) {
      subscription->queue.skip(lostOf(*subscription, entries, missed));
      for (std::size_t i = 0; i < entries.size(); ++i) {
        offer(*subscription, entries[i], copies[i]);
      }
    }
  }
  return true;
}

void EventFeed::offer(Subscription& subscription, const toolkit::CEventStream::Entry& entry,
                      std::shared_ptr<const CEvent>& copy) {
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
    copy = copy ? copy : std::make_shared<const CEvent>(event);
    subscription.queue.add(
        {Event{route->kind, clientPath(path), std::move(texts), copy}, entry.number});
  }
}

}  // namespace wspub
