// SubscriptionTree: the subscriptions as they stand in the store; docs/subscriptions.md draws the
// tree.
//
// A read that fails gives the empty answer, and the next change of the store asks again.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/cds.h"

namespace wspub {

// A subscription without its points. Elements bear the time at which they were written.
struct Terms {
  toolkit::CElement replyUri;
  toolkit::CElement leaseDuration;
  toolkit::CElement logSinceTime;
  toolkit::CElement logOptions;
  toolkit::CElement nodeCount;
  std::optional<std::uint64_t> lastEvent;
  std::string user;  // who made it

  // Not the same subscription under the same id.
  bool isOther(const Terms& other) const {
    return !(replyUri == other.replyUri) || !(logSinceTime == other.logSinceTime);
  }
};

struct PointTerms {
  int freshness = 0;  // milliseconds
  double deadband = 0;
  std::string user;  // who entered it
};

class SubscriptionTree {
 public:
  // `cds` must outlive this object.
  explicit SubscriptionTree(toolkit::CCds& cds) : cds_(cds) {}

  // Ids of all subscriptions, those included that are not or no longer complete.
  std::vector<std::string> ids();
  // Nothing for one that is not there or not complete yet.
  std::optional<Terms> terms(const std::string& id);
  // By the name of the point's node.
  std::map<std::string, PointTerms> points(const std::string& id);

  // The counter, and of each subscription the element that every update rewrites. In one
  // transaction; false when the store failed.
  bool marks(const std::vector<std::string>& ids, std::vector<toolkit::CElement>& marks);

  // Removes a subscription unless it was renewed since `terms` were read. True when it is gone.
  bool removeLapsed(const std::string& id, const Terms& terms);
  // Removes what was written to a subscription after its removal, once it is older than a minute.
  void removeLeftover(const std::string& id);
  // Notes how far the events were delivered, if the subscription is still this one.
  void noteLastEvent(const std::string& id, const Terms& terms, std::uint64_t number);

 private:
  std::vector<toolkit::CElement> read(const std::vector<toolkit::CPath>& paths);
  std::string userOf(const std::string& leaf);

  toolkit::CCds& cds_;
};

}  // namespace wspub
