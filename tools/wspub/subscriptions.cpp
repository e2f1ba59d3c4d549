#include "subscriptions.h"

#include <algorithm>
#include <set>

namespace wspub {

Subscriptions::Subscriptions(toolkit::CCds& cds, toolkit::CSysLog& log, const Options& options)
    : tree_(cds), events_(cds, toolkit::CEventStream::kEvents), log_(log), options_(options) {}

Subscription* Subscriptions::find(const std::string& id) {
  const auto found = subscriptions_.find(id);
  return found == subscriptions_.end() ? nullptr : &found->second;
}

std::vector<std::string> Subscriptions::refresh(Clock::time_point now) {
  std::vector<std::string> gone;
  if (!hasChanged()) {
    return gone;
  }
  std::vector<std::string> inStore;
  if (!tree_.ids(inStore)) {
    counter_.reset();
  }
  std::set<std::string> ids(inStore.begin(), inStore.end());
  for (const auto& [id, subscription] : subscriptions_) {
    ids.insert(id);
  }
  for (const std::string& id : ids) {
    if (reload(id, now)) {
      gone.push_back(id);
    }
  }
  return gone;
}

bool Subscriptions::hasChanged() {
  std::vector<std::string> ids;
  for (const auto& [id, subscription] : subscriptions_) {
    ids.push_back(id);
  }
  Marks marks;
  if (!tree_.marks(ids, marks)) {
    return false;
  }
  bool changed = !counter_ || !(marks.counter == *counter_);
  for (const auto& [id, subscription] : subscriptions_) {
    changed = changed || !(marks.nodeCounts.at(id) == subscription.terms.nodeCount);
  }
  counter_ = marks.counter;
  return changed;
}

bool Subscriptions::reload(const std::string& id, Clock::time_point now) {
  std::optional<Terms> terms;
  if (!tree_.terms(id, terms)) {
    counter_.reset();  // so that the next refresh asks again
    return false;
  }
  Subscription* const known = find(id);
  const bool gone = known != nullptr && (!terms || terms->isOther(known->terms));
  if (gone) {
    subscriptions_.erase(id);
  }
  if (terms) {
    if (!load(id, *terms, now)) {
      counter_.reset();
    }
  } else {
    tree_.removeLeftover(id);
  }
  if (gone && !terms) {
    log_.info(2, "Subscription %s is cancelled", id.c_str());
  }
  return gone;
}

bool Subscriptions::load(const std::string& id, const Terms& terms, Clock::time_point now) {
  const Subscription* const known = find(id);
  const bool samePoints = known != nullptr && terms.nodeCount == known->terms.nodeCount;
  std::map<std::string, PointTerms> points;
  if (!samePoints && !tree_.points(id, points)) {
    return false;
  }
  const auto [entry, isNew] =
      subscriptions_.try_emplace(id, id, options_.queueBound, options_.firstBackoff, budget_);
  Subscription& subscription = entry->second;
  subscription.apply(terms, now);
  if (isNew) {
    if (terms.lastEvent) {
      subscription.eventsSeen = *terms.lastEvent;
    } else {
      events_.last(subscription.streamAtLoad);
    }
    subscription.isReachable = isDeliverable(subscription.replyUri());
    if (!subscription.isReachable) {
      log_.warn(1, "Subscription %s gets nothing: its address is not http or https", id.c_str());
    }
  }
  if (!samePoints) {
    subscription.apply(points);
    log_.info(2, "Subscription %s has %zu points", id.c_str(), subscription.points.size());
  }
  return true;
}

std::vector<std::string> Subscriptions::removeLapsed(Clock::time_point now) {
  std::vector<std::string> gone;
  for (const auto& [id, subscription] : subscriptions_) {
    if (subscription.hasLapsed(now)) {
      gone.push_back(id);
    }
  }
  // It may be one that was not complete when it was loaded.
  std::erase_if(gone, [&](const std::string& id) { return !reload(id, now) && !remove(id, now); });
  return gone;
}

bool Subscriptions::remove(const std::string& id, Clock::time_point now) {
  Subscription* const subscription = find(id);
  if (subscription == nullptr || !subscription->hasLapsed(now) ||
      !tree_.removeLapsed(id, subscription->terms)) {
    return false;
  }
  log_.notice(0, "The lease of subscription %s has run out", id.c_str());
  subscriptions_.erase(id);
  return true;
}

void Subscriptions::noteAccepted(Subscription& subscription) {
  if (const std::uint64_t number = subscription.queue.accepted(); number != 0) {
    tree_.noteLastEvent(subscription.id, subscription.terms, number);
  }
}

}  // namespace wspub
