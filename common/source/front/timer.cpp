#include "front/timer.h"

#include "front/process.h"
#include "toolkit/time.h"
#include "toolkit/trees.h"

namespace {

constexpr int kTimerSeconds = 5;
constexpr int kFirstConnCheckSeconds = 60;
constexpr int kConnCheckSeconds = 600;

// A row that another program has taken away is made again.
bool pingWatchdog(toolkit::CCds& cds) {
  api_status_t status = API_NONE;
  cds.watchdog_ping(status);
  if (status == API_NOT_FOUND) {
    __psyslog->warn(0, "The watchdog had no row for dravixd: registering again");
    registerWithWatchdog(cds, status);
  }
  return status == API_SUCCESS;
}

// Opens a store that a failed ping has closed, and pings. A store that can be read but takes no
// ping stays open then: clients shall see what there is.
bool tendStore(_global_data_t* glptr) {
  toolkit::CCds& cds = glptr->cdsApi;
  if (!cds.is_open()) {
    if (cds.init() != 0) {
      return false;
    }
    glptr->unpinged = true;
    __psyslog->notice(0, "The store is open again");
  }
  if (pingWatchdog(cds)) {
    if (glptr->unpinged) {
      __psyslog->notice(0, "The watchdog is served again");
    }
    glptr->unpinged = false;
    notifySupervisor("WATCHDOG=1");
  } else if (!glptr->unpinged) {
    __psyslog->err(0, "The watchdog could not be pinged, the store is closed: %s",
                   cds.last_error().c_str());
    cds.close();
    return false;
  }
  return true;
}

}  // namespace

void timer_task(_global_data_t* glptr) {
  if (daemonMode && !tendStore(glptr)) {
    return;
  }
  if (!glptr->connxns) {
    return;
  }
  glptr->statistics.publish(glptr->cdsApi, nameOfWorker(toolkit::kServicePath));
  const std::int32_t now = qel_GetMonoTime();
  if (now < glptr->nextConnCheck) {
    glptr->connxns->Publish();
    return;
  }
  glptr->nextConnCheck = now + kConnCheckSeconds;
  glptr->connxns->CheckAllConnxns();
}

TaskTimer::TaskTimer(_global_data_t& global)
    : global_(global), last_(qel_GetMonoTime()), timeLeft_{kTimerSeconds, 0} {
  global.nextConnCheck = last_ + kFirstConnCheckSeconds;
}

void TaskTimer::runWhenDue() {
  const bool isLeft = timeLeft_.tv_sec > 0 || timeLeft_.tv_usec > 0;
  if (isLeft && qel_GetMonoTime() - last_ <= kTimerSeconds) {
    return;
  }
  timeLeft_ = {kTimerSeconds, 0};
  last_ = qel_GetMonoTime();
  __psyslog->tellHeldBack();
  timer_task(&global_);
}
