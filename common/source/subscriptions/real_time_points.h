// The points of a subscription: entered into its tree, and answered with their present values.
#pragma once

#include <cstddef>
#include <string>

#include "TarnixH.h"
#include "subscriptions/subscription_nodes.h"

using RealTimeResults = nsc1__ArrayOfRealTimeNodeSubscriptionResult;

// Enters the points into the subscription at `base`, which has `present` of at most `bound`, and
// answers with their values: one result a point, in order, without those that cannot be entered.
// Null for no points.
RealTimeResults* Register_realTimeNodes(struct soap* ctx,
                                        const nsc1__ArrayOfNodeSubscription* nodes,
                                        const std::string& base, std::size_t present,
                                        std::size_t bound);
