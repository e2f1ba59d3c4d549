// WriterLock: whose turn it is to write to one database, between processes.
//
// LMDB's own lock waits for ever behind a process that was stopped inside a transaction. Who takes
// this one first waits for a bounded time, and then finds that one free. A holder that is killed
// frees it.
#pragma once

#include <chrono>
#include <string>

namespace toolkit::store {

class WriterLock {
 public:
  WriterLock() = default;
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  // Maps the lock's file, or makes it. Empty, or a sentence that names the file.
  std::string open(const std::string& file);
  bool isOpen() const { return shared_ != nullptr; }

  // 0, ETIMEDOUT, or another errno code. Not by who holds it.
  int lock(std::chrono::milliseconds patience);
  void unlock();

 private:
  struct Shared;

  Shared* shared_ = nullptr;
};

}  // namespace toolkit::store
