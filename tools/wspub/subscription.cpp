#include "subscription.h"

#include <strings.h>

#include <algorithm>

#include "toolkit/time.h"

namespace wspub {

namespace {

std::int64_t writtenAt(const toolkit::CElement& element) {
  const timeval time = element.time();
  return qel_UNIXtoQELtime64(&time);
}

}  // namespace

bool isDeliverable(const std::string& uri) {
  return strncasecmp(uri.c_str(), "http://", 7) == 0 ||
         strncasecmp(uri.c_str(), "https://", 8) == 0;
}

void Subscription::apply(const Terms& newTerms, Clock::time_point now) {
  const bool isRenewed =
      !(newTerms.leaseDuration == terms.leaseDuration) || !(newTerms.nodeCount == terms.nodeCount);
  terms = newTerms;
  // What runs already is not counted anew: the wall clock may have been set since.
  if (!isRenewed) {
    return;
  }
  leaseEnd_.reset();
  const std::chrono::milliseconds lease(terms.leaseDuration.to_int());
  if (lease.count() > 0) {
    const std::int64_t renewed =
        std::max(writtenAt(terms.leaseDuration), writtenAt(terms.nodeCount));
    const std::chrono::microseconds age(std::max<std::int64_t>(0, qel_UTCtime64() - renewed));
    leaseEnd_ = now + lease - std::min<std::chrono::microseconds>(age, lease);
  }
}

void Subscription::apply(const std::map<std::string, PointTerms>& newPoints) {
  std::erase_if(points, [&](const auto& point) { return !newPoints.contains(point.first); });
  for (const auto& [name, wanted] : newPoints) {
    Point& point = points[name];
    point.filter.configure(std::chrono::milliseconds(wanted.freshness), wanted.deadband);
    point.user = wanted.user;
    point.receiver = terms.user;
    point.allowedIn = kNeverSeen;
    point.seen = kNeverSeen;
    point.element = {};  // the filter shall judge it by the new terms
  }
}

timeval Subscription::eventsSince() const {
  const timeval since = terms.logSinceTime.to_timeval();
  return since.tv_sec > 0 || (since.tv_sec == 0 && since.tv_usec > 0) ? since
                                                                      : terms.replyUri.time();
}

}  // namespace wspub
