// Sampler: reads the points of all subscriptions and queues what is worth sending.
#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

#include "subscription.h"
#include "toolkit/utils.h"

namespace wspub {

// The quality of the device that a node belongs to, for many nodes in one state of the store.
class Qualities {
 public:
  explicit Qualities(toolkit::CCds& cds) : utils_(cds), cds_(cds) {}

  // Forgets what it knows of another state.
  void look(State state);
  std::uint16_t of(const std::string& node);

 private:
  toolkit::CCds_Utils utils_;
  toolkit::CCds& cds_;
  State state_ = kNeverSeen;
  std::map<std::string, std::uint16_t, std::less<>> devices_;
};

class Sampler {
 public:
  // `cds` must outlive this object.
  explicit Sampler(toolkit::CCds& cds) : cds_(cds), qualities_(cds) {}

  // `state` is the store's present state. False when the store could not be read: what was read
  // before is queued then.
  bool look(std::map<std::string, Subscription>& subscriptions, State state, Clock::time_point now);

 private:
  struct Due {
    Subscription* subscription;
    const std::string* name;
    Point* point;
  };

  void collect(Subscription& subscription, State state, Clock::time_point now);
  void listPaths(std::span<const Due> due);
  bool take(std::span<const Due> due, State state, Clock::time_point now);
  void take(const Due& due, const toolkit::CPath& path, api_status_t status,
            const toolkit::CElement& element, Clock::time_point now);

  toolkit::CCds& cds_;
  Qualities qualities_;
  std::vector<Due> due_;
  std::vector<toolkit::CPath> paths_;  // kept from look to look: mostly the same points are due
};

}  // namespace wspub
