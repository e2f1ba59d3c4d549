#include "comtrade/line_reader.h"

#include <algorithm>

namespace toolkit::comtrade {

void LineReader::skipEmptyLines() {
  while (begin_ < filled_ && (buffer_[begin_] == '\n' || buffer_[begin_] == '\r')) {
    ++begin_;
  }
}

bool LineReader::next(std::string_view& line) {
  if (lines_ == kMaxLines) {
    failure_ = {WAVE_TOO_LARGE,
                part_.path() + ": more than " + std::to_string(kMaxLines) + " lines"};
    return false;
  }
  ++lines_;
  skipEmptyLines();
  std::size_t searched = begin_;
  for (;;) {
    const std::string_view pending = std::string_view(buffer_).substr(0, filled_);
    const std::size_t end = pending.find('\n', searched);
    if (end != std::string_view::npos) {
      line = pending.substr(begin_, end - begin_);
      begin_ = end + 1;
      break;
    }
    if (failure_ || (readTo_ == part_.size() && begin_ == filled_)) {
      return false;
    }
    if (readTo_ == part_.size()) {
      line = pending.substr(begin_);
      begin_ = filled_;
      break;
    }
    searched = filled_ - begin_;
    if (!fill()) {
      return false;
    }
    if (searched == 0) {
      skipEmptyLines();
      searched = begin_;
    }
  }
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return true;
}

// Moves what was not given to the front of the buffer, and reads on after it.
bool LineReader::fill() {
  constexpr std::size_t kBlock = 256 << 10;
  buffer_.erase(0, begin_);
  filled_ -= begin_;
  begin_ = 0;
  if (filled_ > kMaxLine) {
    failure_ = {WAVE_TOO_LARGE,
                part_.path() + ": a line of more than " + std::to_string(kMaxLine) + " bytes"};
    return false;
  }
  const std::size_t count = std::min(kBlock, part_.size() - readTo_);
  buffer_.resize(filled_ + count);
  failure_ = part_.read(readTo_, buffer_.data() + filled_, count);
  if (failure_) {
    return false;
  }
  filled_ += count;
  readTo_ += count;
  return true;
}

void LineReader::seek(std::size_t offset) {
  begin_ = 0;
  filled_ = 0;
  readTo_ = std::min(offset, part_.size());
}

}  // namespace toolkit::comtrade
