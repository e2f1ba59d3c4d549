#include "subscriptions/subscription_bounds.h"

#include <algorithm>
#include <vector>

#include "toolkit/event.h"
#include "toolkit/trees.h"

namespace {

std::size_t rest(std::size_t bound, std::size_t taken) {
  return bound - std::min(bound, taken);
}

}  // namespace

std::size_t SubscriptionTally::pointsLeft() const {
  return std::min(
      {kMaxPointsOfSubscription, rest(kMaxPoints, points), rest(kMaxPointsOfUser, pointsOfUser)});
}

std::string makerOf(toolkit::CCds& cds, const std::string& base) {
  api_status_t status = API_NONE;
  std::string writer;
  cds.get_writer(base + "/ReplyURI", status, writer);
  return toolkit::CEvent::user_of_source(writer);
}

SubscriptionTally tallySubscriptions(toolkit::CCds& cds, const std::string& base,
                                     const std::string& user) {
  std::vector<std::string> bases;
  toolkit::CPath all(toolkit::kSubscriptionsPath);
  all.normalize();
  all.getChildPaths(cds, bases);
  std::erase(bases, base);
  std::vector<toolkit::CPath> leaves;
  leaves.reserve(bases.size());
  for (const std::string& other : bases) {
    leaves.emplace_back(pointTally(other));
  }
  std::vector<api_status_t> statuses;
  std::vector<toolkit::CElement> points;
  std::vector<element_property_t> sources;
  cds.get_leaves(leaves, statuses, points, sources);

  SubscriptionTally tally;
  for (std::size_t i = 0; i < bases.size(); ++i) {
    const std::size_t count = points[i].to_uint();
    const bool isUsers = makerOf(cds, bases[i]) == user;
    tally.subscriptions += 1;
    tally.subscriptionsOfUser += isUsers ? 1 : 0;
    tally.points += count;
    tally.pointsOfUser += isUsers ? count : 0;
  }
  return tally;
}

std::string pointTally(const std::string& base) {
  return base + "/RTNodes:PointCount";
}
