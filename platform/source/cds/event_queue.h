// The writing side of the event streams.
#pragma once

#include "store/transaction.h"
#include "toolkit/event.h"
#include "toolkit/types.h"

namespace toolkit {

// Puts an event into its stream; see CCds::events_send for what is refused.
api_status_t enqueueEvent(store::WriteTransaction& live, const CEvent& event);

}  // namespace toolkit
