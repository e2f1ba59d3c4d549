#include "toolkit/beat.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

namespace toolkit {

namespace {

constexpr std::array kStopSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr std::int64_t kSecond = 1'000'000'000;

std::int64_t monotonicTime() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * kSecond + time.tv_nsec;
}

}  // namespace

CBeat::CBeat(double rate)
    : signals_{},
      before_{},
      period_(static_cast<std::int64_t>(kSecond / rate)),
      next_(monotonicTime()) {
  sigemptyset(&signals_);
  for (const int signal : kStopSignals) {
    sigaddset(&signals_, signal);
  }
  sigprocmask(SIG_BLOCK, &signals_, &before_);
}

CBeat::~CBeat() {
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool CBeat::wait() {
  next_ = std::max(next_ + period_, monotonicTime());
  for (;;) {
    const std::int64_t left = std::max<std::int64_t>(0, next_ - monotonicTime());
    const timespec timeout{left / kSecond, left % kSecond};
    if (sigtimedwait(&signals_, nullptr, &timeout) > 0) {
      return false;
    }
    if (errno != EINTR) {
      return true;
    }
  }
}

bool CBeat::isStopRequested() {
  sigset_t pending;
  sigpending(&pending);
  return std::any_of(kStopSignals.begin(), kStopSignals.end(),
                     [&](int signal) { return sigismember(&pending, signal) == 1; });
}

void CComplaint::note(bool failed, const std::string& why) {
  if (failed && !failing_) {
    std::fprintf(stderr, "%s: %s: %s\n", program_, what_, why.c_str());
  }
  failing_ = failed;
}

}  // namespace toolkit
