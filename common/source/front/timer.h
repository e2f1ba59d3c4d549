// What is due between requests.
#pragma once

#include <sys/time.h>

#include "front/global_data.h"

// Every 5 to 6 seconds: a watchdog ping (not with -d), what was counted, new clients in the
// connection table, and every 600 s its sweep. A row of the watchdog's that is gone is made again.
// A failed ping closes the store: requests are then answered with error strings, and the watchdog
// sees the silence. The next task opens it again; from then on it stays open, until a ping has
// succeeded and another one fails.
void timer_task(_global_data_t* glptr);

// When the task is due: after a full wait for requests, and under load a second later.
class TaskTimer {
 public:
  // Starts now, and the sweeps with it. `global` must outlive the timer.
  explicit TaskTimer(_global_data_t& global);

  // How long to wait for a request; the wait counts it down.
  timeval& timeLeft() { return timeLeft_; }
  // To be called after each wait.
  void runWhenDue();

 private:
  _global_data_t& global_;
  std::int32_t last_;
  timeval timeLeft_;
};
