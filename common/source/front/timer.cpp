#include "front/timer.h"

#include "front/process.h"
#include "toolkit/time.h"

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

}  // namespace

void timer_task(_global_data_t* glptr) {
  if (daemonMode && !pingWatchdog(glptr->cdsApi)) {
    glptr->cdsApi.close();
    return;
  }
  const std::int32_t now = qel_GetMonoTime();
  if (now < glptr->nextConnCheck) {
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
  timer_task(&global_);
}
