// Publisher: brings what the store's subscriptions ask for to their addresses.
#pragma once

#include "delivery.h"
#include "event_feed.h"
#include "sampler.h"
#include "subscriptions.h"
#include "toolkit/publisher_state.h"

namespace wspub {

class Publisher {
 public:
  struct Options {
    Subscriptions::Options subscriptions;
    Delivery::Options delivery;
    std::size_t batch = 100;  // records a message
  };

  // `cds` and `log` must outlive this object.
  Publisher(toolkit::CCds& cds, toolkit::CSysLog& log, const Options& options);

  // Looks at the store: queues what is new.
  void look();
  // Sends and waits until the time has come.
  void deliver(Clock::time_point until);
  // Writes to the store how far behind it is; for every turn, and done when it is due.
  void report();

 private:
  void startDue();
  void finish(const Delivery::Outcome& outcome);
  void refused(Subscription& subscription, const std::string& reason);
  void noteStore(bool isReadable);

  toolkit::CCds& cds_;
  toolkit::CSysLog& log_;
  std::size_t batch_;
  Subscriptions subscriptions_;
  Sampler sampler_;
  EventFeed events_;
  Delivery delivery_;
  State seen_ = kNeverSeen;
  bool storeFails_ = false;
  toolkit::PublisherState reported_;
  Clock::time_point reportDue_;
};

}  // namespace wspub
