#include "logs/system_events.h"

#include "source_name.h"

namespace device {

using toolkit::CEvent;

CEvent systemEvent(const char* message, timeval stamp) {
  CEvent event;
  event.type = toolkit::EVENT_SYSTEM;
  event.path = "/";
  event.severity = toolkit::SEVERITY_INFORMATION;
  event.time = stamp;
  event.message = message;
  event.source = kSource;
  return event;
}

CEvent configurationChanged(timeval stamp) {
  CEvent event = systemEvent("", stamp);
  event.path = "/Software/System Settings/Configuration Changed";
  event.flag = true;
  event.value = toolkit::CElement(true);
  event.value.set_time(stamp);
  return event;
}

bool notify(toolkit::CCds& cds, const CEvent& event) {
  api_status_t status = API_NONE;
  return cds.event_send(event, status) == 0 && status == API_SUCCESS;
}

}  // namespace device
