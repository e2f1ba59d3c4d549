#include "front/web_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t reading = -1;  // descriptor

void endInput(int /*signal*/) {
  const int error = errno;
  if (reading >= 0) {
    shutdown(reading, SHUT_RD);
  }
  errno = error;
}

void setAlarm(int seconds) {
  const itimerval alarm = {{0, 0}, {seconds, 0}};
  setitimer(ITIMER_REAL, &alarm, nullptr);
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
  reading = installed ? descriptor : -1;
  setAlarm(seconds);
}

ReadDeadline::~ReadDeadline() {
  lift();
}

void ReadDeadline::lift() {
  if (reading == -1) {
    return;
  }
  setAlarm(0);
  reading = -1;
}

int acceptConnection(int listener, int stallSeconds) {
  const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection == -1) {
    return -1;
  }
  const timeval patience = {stallSeconds, 0};
  for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    setsockopt(connection, SOL_SOCKET, direction, &patience, sizeof patience);
  }
  return connection;
}

bool hasPeerLeft(int descriptor) {
  pollfd peer = {descriptor, 0, 0};
  return poll(&peer, 1, 0) > 0 && (peer.revents & (POLLHUP | POLLERR)) != 0;
}
