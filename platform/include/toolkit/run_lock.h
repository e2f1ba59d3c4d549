// A lock among the processes of the device, for what takes several transactions in the store.
#pragma once

#include <chrono>
#include <string>

namespace toolkit {

// Held until the object's end or the process's, however that comes.
class CRunLock {
 public:
  // Of the file `name` in runFolder(), which is made; waits for whoever holds it, up to `patience`.
  CRunLock(const std::string& name, std::chrono::milliseconds patience);
  ~CRunLock();
  CRunLock(const CRunLock&) = delete;
  CRunLock& operator=(const CRunLock&) = delete;

  // False when another one held it all the time. A file that cannot be locked keeps nobody back.
  bool isHeld() const { return isHeld_; }

 private:
  int descriptor_;
  bool isHeld_;
};

}  // namespace toolkit
