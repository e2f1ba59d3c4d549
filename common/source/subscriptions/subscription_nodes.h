// The tree of one subscription in the store, which the publisher reads; docs/subscriptions.md draws
// it.
#pragma once

#include <cstddef>
#include <string>

#include "front/global_data.h"
#include "toolkit/sw_info.h"
#include "toolkit/trees.h"

inline constexpr std::size_t kMaxSubscriptionPath = 255;  // bytes of a path below the subscriptions

// Templates of a subscription's nodes and of one real-time node's, each list ended by null.
extern const toolkit::tagnval* const SwSubscriptionNodes[];
extern const toolkit::tagnval* const SwSubscrptnRTNodes[];

// Writes the templates of a list below `path`, up to the first failure: 0, or its code; -1 after an
// exception, which is logged.
int LoadNodeLeaves(_global_data_t* glptr, const std::string& path,
                   const toolkit::tagnval* const* records);

// Adds them to a batch instead.
void addNodeLeaves(const std::string& path, const toolkit::tagnval* const* records,
                   toolkit::CLeafBatch& batch);

// Path of the subscription with this id.
void GetSubscrptBasePath(const std::string* subscriptionId, std::string& out);

// An id is one component of a path: what is below another subscription is none. The rest of the
// paths' grammar is the store's to refuse.
bool isSubscriptionId(const std::string& id);

// Name of a point's node in a subscription. A path outside the grammar has one too, which begins
// with
// "?|" and is nobody's else. Empty for the root and for no path.
std::string pointNodeName(const std::string& path);

// Whether a subscription with this id stands in the store.
bool subscriptionExists(_global_data_t* glptr, const std::string* subscriptionId);
