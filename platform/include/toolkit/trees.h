// Where the trees stand that several programs of a device share. Those of commands and of captured
// waveform records have headers of their own: commands.h, captured_records.h.
#pragma once

namespace toolkit {

// Where the web service tells of itself; its worker 2 at kServicePath + "-2".
inline constexpr const char* kServicePath = "/Software/Data Servers/BACnet WebServices";
// The same of the publisher.
inline constexpr const char* kPublisherPath = "/Software/Data Servers/WS-Publisher";
// The alarms that stand, a node each, and their counters.
inline constexpr const char* kAlarmsPath = "/Alarms";
// The subscriptions, a node each; docs/subscriptions.md draws one.
inline constexpr const char* kSubscriptionsPath =
    "/Software/Data Servers/WS-Publisher/Subscriptions";
// Counts up with every subscription that is made or cancelled.
inline constexpr const char* kSubscriptionCounter =
    "/Software/Data Servers/WS-Publisher/SubUpdateCount";
// The CRunLock of who makes, changes or removes one.
inline constexpr const char* kSubscriptionLock = "subscriptions.lock";

}  // namespace toolkit
