// Owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace toolkit {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int descriptor) : descriptor_(descriptor) {}
  UniqueFd(UniqueFd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~UniqueFd() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }

 private:
  int descriptor_ = -1;
};

}  // namespace toolkit
