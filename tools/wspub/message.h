// The message to a subscriber: a SOAP 1.1 envelope around nss1:publish, as docs/subscriptions.md
// shows it.
#pragma once

#include <string>

#include "record_queue.h"

namespace wspub {

inline constexpr const char* kSoapAction = "http://tarnix.example/TarnixWSSubscriber/publish";

// Always XML that a client can read: bytes that XML or UTF-8 does not allow become "?". Lost
// records are told of first, by an event of their own.
std::string messageOf(const std::string& subscriptionId, const Batch& batch);

}  // namespace wspub
