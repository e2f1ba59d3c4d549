// A run of bytes of an open file: a whole file, or a section of a .cff.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "comtrade/failure.h"
#include "unique_fd.h"

namespace toolkit::comtrade {

class FilePart {
 public:
  FilePart() = default;

  // A regular file of a folder, no link and no larger than `limit`. `name` has no "/".
  static Failure open(const std::string& folder, const std::string& name, std::size_t limit,
                      FilePart& part);

  // A part of this part, cut at its end.
  FilePart section(std::size_t begin, std::size_t size) const;

  explicit operator bool() const { return file_ != nullptr; }
  const std::string& path() const { return path_; }
  std::size_t size() const { return size_; }

  // Fails when there are not `count` bytes, which a file that shrinks may come to.
  Failure read(std::size_t offset, char* bytes, std::size_t count) const;

 private:
  std::shared_ptr<const UniqueFd> file_;
  std::string path_;
  std::size_t begin_ = 0;
  std::size_t size_ = 0;
};

}  // namespace toolkit::comtrade
