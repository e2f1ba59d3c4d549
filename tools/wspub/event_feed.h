// EventFeed: queues the events of the device for the subscriptions that ask for them.
//
//   event                                            option         becomes
//   EVENT_ALARM                                      Alarm          AlarmUpdate
//   EVENT_DELTA                                      Trend          value of the trend
//   EVENT_QUALITY                                    Quality        Event
//   a complete change of configuration               Configuration  Event StructureChanged at "/"
//   any other below /Software                        none
//   any other                                        NonAlarmEvent  Event
//
// What left the stream before it was looked at counts as lost for those who ask for its ring.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "subscription.h"
#include "toolkit/event_stream.h"

namespace wspub {

class EventFeed {
 public:
  // `cds` must outlive this object.
  explicit EventFeed(toolkit::CCds& cds)
      : cds_(cds), stream_(cds, toolkit::CEventStream::kEvents) {}

  // Queues what has come since the last look. False when the store could not be read.
  bool look(std::map<std::string, Subscription>& subscriptions);

 private:
  // `copy` is the entry's event once somebody has been given it.
  void offer(Subscription& subscription, const toolkit::CEventStream::Entry& entry,
             std::shared_ptr<const toolkit::CEvent>& copy);

  toolkit::CCds& cds_;
  toolkit::CEventStream stream_;
};

// The path of an event's source as clients write it: "/Dev1/A" for "/Dev1/A/Value", "/Dev1/A:Units"
// for "/Dev1/A/Units".
std::string clientPath(const toolkit::CPath& leaf);

}  // namespace wspub
