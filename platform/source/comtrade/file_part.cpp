#include "comtrade/file_part.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace toolkit::comtrade {

namespace {

Failure systemFailure(const std::string& path) {
  const int reason = errno;
  return {reason == ENOENT ? WAVE_MISSING : WAVE_FAILED, path + ": " + std::strerror(reason)};
}

}  // namespace

Failure FilePart::open(const std::string& folder, const std::string& name, std::size_t limit,
                       FilePart& part) {
  const std::string path = folder + "/" + name;
  const UniqueFd parent(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  // O_NONBLOCK: a named pipe would keep an ordinary open waiting.
  UniqueFd file(parent ? openat(parent.get(), name.c_str(),
                                O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)
                       : -1);
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0) {
    return systemFailure(path);
  }
  if (!S_ISREG(status.st_mode)) {
    return {WAVE_FAILED, path + ": not a regular file"};
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) {
    return {WAVE_TOO_LARGE, path + ": " + std::to_string(size) + " bytes, more than the " +
                                std::to_string(limit) + " allowed"};
  }
  part.file_ = std::make_shared<const UniqueFd>(std::move(file));
  part.path_ = path;
  part.begin_ = 0;
  part.size_ = size;
  return {};
}

FilePart FilePart::section(std::size_t begin, std::size_t size) const {
  FilePart part = *this;
  part.begin_ += std::min(begin, size_);
  part.size_ = std::min(size, size_ - std::min(begin, size_));
  return part;
}

Failure FilePart::read(std::size_t offset, char* bytes, std::size_t count) const {
  while (count > 0) {
    const ssize_t got = pread(file_->get(), bytes, count, static_cast<off_t>(begin_ + offset));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return systemFailure(path_);
    }
    if (got == 0) {
      return {WAVE_DAMAGED, path_ + ": became shorter while it was read"};
    }
    bytes += got;
    offset += static_cast<std::size_t>(got);
    count -= static_cast<std::size_t>(got);
  }
  return {};
}

}  // namespace toolkit::comtrade
