#include "front/web_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>

namespace {

using Clock = std::chrono::steady_clock;

static_assert(std::atomic<Clock::rep>::is_always_lock_free);
volatile std::sig_atomic_t reading = -1;  // descriptor
std::atomic<Clock::rep> deadline = 0;     // of its last byte
// The alarm is left to itself where a request was read in time, as almost all are: it comes late
// then, finds another one or none, and is set anew for that one. So most requests set none.
volatile std::sig_atomic_t isSet = 0;

void setAlarm(Clock::duration time) {
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time).count() + 1;
  const itimerval alarm = {{0, 0}, {microseconds / 1'000'000, microseconds % 1'000'000}};
  setitimer(ITIMER_REAL, &alarm, nullptr);
}

void endInput(int /*signal*/) {
  const int error = errno;
  const Clock::duration left(deadline - Clock::now().time_since_epoch().count());
  isSet = reading >= 0 && left > Clock::duration::zero() ? 1 : 0;
  if (isSet != 0) {
    setAlarm(left);
  } else if (reading >= 0) {
    shutdown(reading, SHUT_RD);
  }
  errno = error;
}

bool installAlarmHandler() {
  struct sigaction action = {};
  action.sa_handler = endInput;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  return sigaction(SIGALRM, &action, nullptr) == 0;
}

}  // namespace

ReadDeadline::ReadDeadline(int descriptor, int seconds) {
  static const bool installed = installAlarmHandler();
  const Clock::duration time = std::chrono::seconds(seconds);
  deadline = (Clock::now() + time).time_since_epoch().count();
  reading = installed ? descriptor : -1;
  if (isSet == 0) {
    isSet = 1;
    setAlarm(time);
  }
}

ReadDeadline::~ReadDeadline() {
  lift();
}

void ReadDeadline::lift() {
  reading = -1;
}

int acceptConnection(int listener) {
  return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

void boundWriting(int connection, int seconds) {
  // With such a bound a write that waits does not go on after the alarm. A request that has not
  // ended yet keeps it all the same: its rest is still to be read.
  if (reading == -1) {
    const itimerval none = {};
    setitimer(ITIMER_REAL, &none, nullptr);
    isSet = 0;
  }
  const timeval patience = {seconds, 0};
  setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

bool hasPeerLeft(int descriptor) {
  pollfd peer = {descriptor, 0, 0};
  return poll(&peer, 1, 0) > 0 && (peer.revents & (POLLHUP | POLLERR)) != 0;
}
