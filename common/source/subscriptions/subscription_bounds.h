// How much of the store the subscriptions may take: all together, and those of one user. Anonymous
// callers count as one user; a subscription is its maker's.
#pragma once

#include <cstddef>
#include <string>

#include "toolkit/cds.h"

inline constexpr std::size_t kMaxSubscriptions = 256;
inline constexpr std::size_t kMaxSubscriptionsOfUser = 64;
inline constexpr std::size_t kMaxPoints = 50'000;
inline constexpr std::size_t kMaxPointsOfUser = 30'000;
inline constexpr std::size_t kMaxPointsOfSubscription = 20'000;
inline constexpr std::size_t kMaxNewPoints = 9'000;  // of one request: each takes its time
inline constexpr std::size_t kMaxReplyUri = 2048;    // bytes
inline constexpr std::size_t kMaxNote = 4096;        // bytes, of an acknowledgement

// What there is besides one subscription.
struct SubscriptionTally {
  std::size_t subscriptions = 0;
  std::size_t subscriptionsOfUser = 0;
  std::size_t points = 0;
  std::size_t pointsOfUser = 0;

  // Points that the one may have.
  std::size_t pointsLeft() const;
};

// The user who made the subscription at `base`; empty for an anonymous one.
std::string makerOf(toolkit::CCds& cds, const std::string& base);

// Counts all but the subscription at `base`, which is or will be the user's. A store that cannot be
// read has none: it will refuse the write, too.
SubscriptionTally tallySubscriptions(toolkit::CCds& cds, const std::string& base,
                                     const std::string& user);

// Leaf that counts the points of the subscription at `base`, some perhaps twice, so that they need
// not be listed.
std::string pointTally(const std::string& base);
