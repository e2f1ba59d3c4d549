// The lines of a part of a file, read as they are asked for.
#pragma once

#include <string>
#include <string_view>

#include "comtrade/file_part.h"

namespace toolkit::comtrade {

class LineReader {
 public:
  static constexpr std::size_t kMaxLine = 1 << 20;  // bytes
  static constexpr std::size_t kMaxLines = 10'000'000;

  explicit LineReader(const FilePart& part) : part_(part) {}

  // The next line that is not empty, without its LF or CR LF; it lasts until the next call. False
  // at the end, and after a failure.
  bool next(std::string_view& line);

  const Failure& failure() const { return failure_; }
  // Of what comes after the lines that were given.
  std::size_t offset() const { return readTo_ - (filled_ - begin_); }
  void seek(std::size_t offset);

 private:
  void skipEmptyLines();
  bool fill();

  const FilePart& part_;
  std::string buffer_;
  std::size_t lines_ = 0;   // that were asked for
  std::size_t begin_ = 0;   // in the buffer, of what was not given yet
  std::size_t filled_ = 0;  // bytes in the buffer
  std::size_t readTo_ = 0;  // in the part
  Failure failure_;
};

}  // namespace toolkit::comtrade
