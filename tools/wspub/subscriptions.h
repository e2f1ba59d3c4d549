// Subscriptions: all of them, kept as the store has them, with the end of their leases.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "subscription.h"
#include "toolkit/event_stream.h"
#include "toolkit/syslog.h"

namespace wspub {

class Subscriptions {
 public:
  struct Options {
    std::size_t queueBound = 1000;
    std::chrono::milliseconds firstBackoff{1000};
  };

  // `cds` and `log` must outlive this object.
  Subscriptions(toolkit::CCds& cds, toolkit::CSysLog& log, const Options& options);

  // Takes over what clients have made, updated, replaced or cancelled. Returns the ids whose
  // former subscription has gone. What the store did not tell stays as it was until it does.
  std::vector<std::string> refresh(Clock::time_point now);
  // Removes those whose lease has run out. Returns ids as above.
  std::vector<std::string> removeLapsed(Clock::time_point now);

  std::map<std::string, Subscription>& all() { return subscriptions_; }
  // Null for an unknown id.
  Subscription* find(const std::string& id);
  // To be called for each message that a client took: notes the events in it.
  void noteAccepted(Subscription& subscription);

 private:
  bool hasChanged();
  // True when the id no longer stands for the subscription that it stood for.
  bool reload(const std::string& id, Clock::time_point now);
  bool remove(const std::string& id, Clock::time_point now);
  bool load(const std::string& id, const Terms& terms, Clock::time_point now);

  SubscriptionTree tree_;
  toolkit::CEventStream events_;
  toolkit::CSysLog& log_;
  Options options_;
  std::shared_ptr<QueueBudget> budget_ = std::make_shared<QueueBudget>();
  std::map<std::string, Subscription> subscriptions_;
  std::optional<toolkit::CElement> counter_;  // at the last reload; none: reload in any case
};

}  // namespace wspub
