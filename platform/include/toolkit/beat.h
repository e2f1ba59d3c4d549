// The main loop of a program of the device: a steady beat until a signal asks it to stop, and
// complaints on standard error that do not repeat themselves.
#pragma once

#include <csignal>
#include <cstdint>
#include <string>

namespace toolkit {

// While it lives, SIGINT, SIGTERM and SIGHUP wait for wait() or are seen by isStopRequested().
class CBeat {
 public:
  // `rate` beats a second.
  explicit CBeat(double rate);
  ~CBeat();
  CBeat(const CBeat&) = delete;
  CBeat& operator=(const CBeat&) = delete;

  // Waits for the next beat; false when a signal has asked to stop. A beat that comes too late is
  // not made up for.
  bool wait();
  static bool isStopRequested();

 private:
  sigset_t signals_;
  sigset_t before_;
  std::int64_t period_;  // nanoseconds
  std::int64_t next_;
};

// Complains when a step begins to fail, and not again while it does.
class CComplaint {
 public:
  CComplaint(const char* program, const char* what) : program_(program), what_(what) {}

  void note(bool failed, const std::string& why);

 private:
  const char* program_;
  const char* what_;
  bool failing_ = false;
};

}  // namespace toolkit
