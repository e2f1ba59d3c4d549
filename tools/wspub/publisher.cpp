#include "publisher.h"

#include <algorithm>

#include "message.h"

namespace wspub {

namespace {

constexpr std::chrono::seconds kReportPeriod{5};

}  // namespace

Publisher::Publisher(toolkit::CCds& cds, toolkit::CSysLog& log, const Options& options)
    : cds_(cds),
      log_(log),
      batch_(options.batch),
      subscriptions_(cds, log, options.subscriptions),
      sampler_(cds),
      events_(cds),
      delivery_(options.delivery) {}

void Publisher::look() {
  const Clock::time_point now = Clock::now();
  const State state = cds_.state();
  bool isReadable = state != kNeverSeen;
  if (isReadable && state != seen_) {
    for (const std::string& id : subscriptions_.refresh(now)) {
      delivery_.abort(id);
    }
    isReadable = events_.look(subscriptions_.all());
  }
  for (const std::string& id : subscriptions_.removeLapsed(now)) {
    delivery_.abort(id);
  }
  isReadable = isReadable && sampler_.look(subscriptions_.all(), state, now);
  seen_ = isReadable ? state : kNeverSeen;
  noteStore(isReadable);
}

void Publisher::deliver(Clock::time_point until) {
  using std::chrono::milliseconds;
  Clock::time_point now;
  do {
    startDue();
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
    for (const auto& outcome : delivery_.drive(std::max(left, milliseconds(0)))) {
      finish(outcome);
    }
    now = Clock::now();
  } while (now < until);
}

void Publisher::report() {
  const Clock::time_point now = Clock::now();
  if (now < reportDue_) {
    return;
  }
  reportDue_ = now + kReportPeriod;
  toolkit::PublisherState state;
  for (const auto& [id, subscription] : subscriptions_.all()) {
    ++state.subscriptions;
    state.points += static_cast<int>(subscription.points.size());
    state.failing += subscription.backoff.isFailing() ? 1 : 0;
    state.queued += static_cast<int>(subscription.queue.size());
    if (!subscription.queue.isEmpty()) {
      const std::chrono::duration<double> waits = now - subscription.queue.oldest();
      state.oldestSeconds = std::max(state.oldestSeconds, waits.count());
    }
  }
  if (!(state == reported_) && toolkit::writePublisherState(cds_, state) == API_SUCCESS) {
    reported_ = state;
  }
}

void Publisher::startDue() {
  const Clock::time_point now = Clock::now();
  for (auto& [id, subscription] : subscriptions_.all()) {
    if (subscription.queue.isEmpty() || delivery_.isRunning(id) ||
        !subscription.backoff.isOver(now)) {
      continue;
    }
    const std::string body = messageOf(id, subscription.queue.begin(batch_));
    if (!delivery_.start(id, subscription.replyUri(), body)) {
      refused(subscription, "no memory");
    }
  }
}

void Publisher::finish(const Delivery::Outcome& outcome) {
  Subscription* const subscription = subscriptions_.find(outcome.id);
  if (subscription == nullptr) {
    return;
  }
  if (!outcome.accepted) {
    refused(*subscription, outcome.reason);
    return;
  }
  if (subscription->backoff.isFailing()) {
    log_.notice(0, "Subscription %s is served again", outcome.id.c_str());
  }
  subscription->backoff.succeed();
  subscriptions_.noteAccepted(*subscription);
}

void Publisher::refused(Subscription& subscription, const std::string& reason) {
  log_.warn(subscription.backoff.isFailing() ? 2 : 0, "Subscription %s cannot be served: %s",
            subscription.id.c_str(), reason.c_str());
  subscription.queue.refused();
  subscription.backoff.fail(Clock::now());
}

void Publisher::noteStore(bool isReadable) {
  if (!isReadable && !storeFails_) {
    log_.err(0, "The store cannot be read: %s", cds_.last_error().c_str());
  }
  storeFails_ = !isReadable;
}

}  // namespace wspub
