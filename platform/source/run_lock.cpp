#include "toolkit/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "toolkit/run_folder.h"

namespace toolkit {

namespace {

constexpr mode_t kMode = 0660;
constexpr std::chrono::milliseconds kPause(1);

int openFile(const std::string& name) {
  const std::string file = runFolder() + "/" + name;
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode);
  fchmod(descriptor, kMode);  // another user's file stays as it is
  return descriptor;
}

// True when it is held by another one.
bool isTaken(int descriptor) {
  return flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace

CRunLock::CRunLock(const std::string& name, std::chrono::milliseconds patience)
    : descriptor_(openFile(name)), isHeld_(!isTaken(descriptor_)) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!isHeld_ && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kPause);
    isHeld_ = !isTaken(descriptor_);
  }
}

CRunLock::~CRunLock() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

}  // namespace toolkit
