// PublisherState: what the publisher has to do, and how that stands in the store for others to
// read: in leaves of these names at kPublisherPath + "/Delivery".
#pragma once

#include "toolkit/cds.h"

namespace toolkit {

struct PublisherState {
  int subscriptions = 0;     // Subscriptions
  int points = 0;            // Points, of all subscriptions
  int failing = 0;           // Failing: subscriptions whose address took nothing the last time
  int queued = 0;            // Queued: records
  double oldestSeconds = 0;  // OldestSeconds: how long the oldest of these has waited
  bool operator==(const PublisherState&) const = default;
};

api_status_t writePublisherState(CCds& cds, const PublisherState& state);
// Zeros where there is none. False when the store cannot be read.
bool readPublisherState(CCds& cds, PublisherState& state);

}  // namespace toolkit
