// SubscriptionTree: the subscriptions as they stand in the store; docs/subscriptions.md draws the
// tree.
//
// Calls that read return false when the store failed: what it holds is then not known.
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

// What every change of the tree rewrites.
struct Marks {
  toolkit::CElement counter;
  std::map<std::string, toolkit::CElement> nodeCounts;  // by the subscription's id
};

class SubscriptionTree {
 public:
  // `cds` must outlive this object.
  explicit SubscriptionTree(toolkit::CCds& cds) : cds_(cds) {}

  // Ids of all subscriptions, those included that are not or no longer complete.
  bool ids(std::vector<std::string>& ids);
  // Nothing for one that is not there or not complete yet.
  bool terms(const std::string& id, std::optional<Terms>& terms);
  // By the name of the point's node.
  bool points(const std::string& id, std::map<std::string, PointTerms>& points);

  // In one transaction.
  bool marks(const std::vector<std::string>& ids, Marks& marks);

  // Removes a subscription unless it was renewed since `terms` were read. True when it is gone.
  bool removeLapsed(const std::string& id, const Terms& terms);
  // Removes what was written to a subscription after its removal, once it is older than a minute.
  void removeLeftover(const std::string& id);
  // Notes how far the events were delivered, if the subscription is still this one.
  void noteLastEvent(const std::string& id, const Terms& terms, std::uint64_t number);

 private:
  std::string userOf(const std::string& leaf);

  toolkit::CCds& cds_;
};

}  // namespace wspub
