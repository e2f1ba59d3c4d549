// IgnoredElements: names of a request's elements that nobody has read. A misspelt or misplaced
// element changes nothing in a reply, so the log is where its sender finds it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class IgnoredElements {
 public:
  static constexpr std::size_t kMaxNames = 8;
  static constexpr std::size_t kMaxName = 64;  // bytes

  // Notes the name, cut to `kMaxName`. Those after the first `kMaxNames` are counted only.
  void note(const char* name);
  // Writes one line, if there were any, and forgets them.
  void report();

 private:
  std::vector<std::string> names_;
  std::size_t count_ = 0;
};
