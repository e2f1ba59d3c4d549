// One subscription as the publisher holds it: terms, points, what is still to be sent, and when.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "backoff.h"
#include "change_filter.h"
#include "record_queue.h"
#include "subscription_tree.h"
#include "toolkit/cds.h"

namespace wspub {

// A state of the store, or none.
using State = std::size_t;
inline constexpr State kNeverSeen = 0;

struct Point {
  std::string user;      // who entered it
  std::string receiver;  // who gave the address
  ChangeFilter filter;
  // What was found at the last look, and in which state of the store.
  State seen = kNeverSeen;
  toolkit::CElement element;
  bool readable = false;
  std::uint16_t quality = 0;
  // The right to read, and when and in which state it was checked.
  bool allowed = false;
  State allowedIn = kNeverSeen;
  Clock::time_point allowedAt;
};

// What LogOptions asks for.
enum LogOption : unsigned {
  kTrend = 1,
  kNonAlarmEvent = 2,
  kAlarm = 4,
  kConfiguration = 8,
  kQuality = 16,
};

// Whether messages can be sent there: http or https.
bool isDeliverable(const std::string& uri);

class Subscription {
 public:
  Subscription(std::string id, std::size_t queueBound, std::chrono::milliseconds firstBackoff,
               std::shared_ptr<QueueBudget> budget = std::make_shared<QueueBudget>())
      : id(std::move(id)), queue(queueBound, std::move(budget)), backoff(firstBackoff) {}

  // Takes the terms as they stand now: the lease of new ones counts from their time.
  void apply(const Terms& newTerms, Clock::time_point now);
  // Takes up new points, forgets those that have gone, and lets the others go on.
  void apply(const std::map<std::string, PointTerms>& newPoints);

  bool hasLapsed(Clock::time_point now) const { return leaseEnd_ && now >= *leaseEnd_; }
  bool asksFor(LogOption option) const { return (terms.logOptions.to_uint() & option) != 0; }
  std::string replyUri() const { return terms.replyUri.to_string(); }
  // Events from this time on, also those before the publisher knew of the subscription.
  timeval eventsSince() const;

  const std::string id;
  Terms terms;
  std::map<std::string, Point> points;  // by the name of the node, which tells the path
  RecordQueue queue;
  Backoff backoff;
  std::uint64_t eventsSeen = 0;    // number of the last one in their stream
  std::uint64_t streamAtLoad = 0;  // up to here, events before eventsSince() are left out
  bool isReachable = true;         // its address can be used

 private:
  std::optional<Clock::time_point> leaseEnd_;
};

}  // namespace wspub
