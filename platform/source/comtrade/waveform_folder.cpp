#include "toolkit/waveform_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

namespace toolkit {

namespace {

// The first is what makes a record.
constexpr std::array kKinds = {".cfg", ".dat", ".hdr"};
constexpr const char* kTemporary = ".part";
constexpr std::size_t kMaxDeviceLength = 64;

class File {
 public:
  File(const std::string& path, int flags) : descriptor_(::open(path.c_str(), flags, 0644)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

bool isSafe(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// "/Site 1/Feeder1" is "Site_1-Feeder1".
std::string safe(const std::string& device) {
  std::string name = device.substr(std::min(device.find_first_not_of('/'), device.size()));
  if (name.size() > kMaxDeviceLength) {
    name = name.substr(name.size() - kMaxDeviceLength);
  }
  for (char& c : name) {
    if (!isSafe(c)) {
      c = c == '/' ? '-' : '_';
    }
  }
  return name;
}

std::string temporary(const std::string& name, const char* kind) {
  return "." + name + kind + kTemporary;
}

bool isRecordName(std::string_view name) {
  constexpr std::string_view kShape = "sag-########T######.###Z-";
  const auto fits = [](char shape, char c) {
    return shape == '#' ? c >= '0' && c <= '9' : shape == c;
  };
  return name.size() >= kShape.size() &&
         std::equal(kShape.begin(), kShape.end(), name.begin(), fits) &&
         std::all_of(name.begin() + kShape.size(), name.end(),
                     [](char c) { return isSafe(c) || c == '-'; });
}

// A file of a record, as its name tells.
struct RecordFile {
  std::string record;
  bool makesRecord = false;
  bool isTemporary = false;
};

std::optional<RecordFile> recordFileOf(std::string_view file) {
  RecordFile found;
  found.isTemporary = file.starts_with('.') && file.ends_with(kTemporary);
  if (found.isTemporary) {
    file.remove_prefix(1);
    file.remove_suffix(std::strlen(kTemporary));
  }
  const auto kind = std::find_if(kKinds.begin(), kKinds.end(),
                                 [&](const char* suffix) { return file.ends_with(suffix); });
  if (kind == kKinds.end()) {
    return std::nullopt;
  }
  found.makesRecord = kind == kKinds.begin() && !found.isTemporary;
  found.record = file.substr(0, file.size() - std::strlen(*kind));
  return isRecordName(found.record) ? std::optional(found) : std::nullopt;
}

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

bool writeText(int file, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = ::write(file, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return false;
    }
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

bool CWaveformFolder::fail(const std::string& path) {
  lastError_ = path + ": " + std::strerror(errno);
  return false;
}

bool CWaveformFolder::unlink(const std::string& path) {
  return ::unlink(path.c_str()) == 0 || errno == ENOENT || fail(path);
}

bool CWaveformFolder::open() {
  std::error_code error;
  std::filesystem::directory_iterator entry(folder_, error);
  std::set<std::string> whole;
  std::vector<std::pair<RecordFile, std::string>> others;
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string file = entry->path().filename();
    std::error_code gone;
    const std::optional<RecordFile> found = recordFileOf(file);
    if (!found || !std::filesystem::is_regular_file(entry->symlink_status(gone))) {
      continue;
    }
    if (found->makesRecord) {
      whole.insert(found->record);
    } else {
      others.emplace_back(*found, file);
    }
  }
  if (error) {
    lastError_ = folder_ + ": " + error.message();
    return false;
  }
  for (const auto& [found, file] : others) {
    if (found.isTemporary || !whole.contains(found.record)) {
      unlink(pathOf(file));
    }
  }
  names_.assign(whole.begin(), whole.end());
  return true;
}

std::string CWaveformFolder::nameOf(timeval time, const std::string& device) const {
  std::tm utc{};
  gmtime_r(&time.tv_sec, &utc);
  std::array<char, 40> second{};
  std::strftime(second.data(), second.size(), "sag-%Y%m%dT%H%M%S.", &utc);
  const std::string fraction = std::to_string(1000 + time.tv_usec / 1000).substr(1);
  const std::string name = second.data() + fraction + "Z-" + safe(device);
  const auto isTaken = [this](const std::string& candidate) {
    return std::any_of(kKinds.begin(), kKinds.end(),
                       [&](const char* kind) { return exists(pathOf(candidate + kind)); });
  };
  std::string candidate = name;
  for (int i = 2; isTaken(candidate); ++i) {
    candidate = name + "-" + std::to_string(i);
  }
  return candidate;
}

bool CWaveformFolder::write(const std::string& name, const CWaveformFiles& record) {
  if (writeAll(name, record) && makeRoom() && publish(name)) {
    names_.push_back(name);
    return true;
  }
  const std::string why = lastError_;
  for (const char* kind : kKinds) {
    unlink(pathOf(temporary(name, kind)));
    if (kind != kKinds[0]) {
      unlink(pathOf(name + kind));
    }
  }
  lastError_ = why;
  return false;
}

bool CWaveformFolder::remove(const std::string& name) {
  if (!removeFiles(name)) {
    return false;
  }
  std::erase(names_, name);
  return true;
}

bool CWaveformFolder::removeFiles(const std::string& name) {
  return std::all_of(kKinds.begin(), kKinds.end(),
                     [&](const char* kind) { return unlink(pathOf(name + kind)); });
}

bool CWaveformFolder::makeRoom() {
  while (!names_.empty() && names_.size() >= max_) {
    const std::string oldest = names_.front();
    if (!remove(oldest)) {
      return false;
    }
  }
  return true;
}

bool CWaveformFolder::writeFile(const std::string& path, const std::string& text) {
  const File file(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC);
  // Whoever serves the records is another user.
  return (file.get() >= 0 && fchmod(file.get(), 0644) == 0 && writeText(file.get(), text) &&
          fsync(file.get()) == 0) ||
         fail(path);
}

bool CWaveformFolder::writeAll(const std::string& name, const CWaveformFiles& record) {
  const std::array texts = {&record.cfg, &record.dat, &record.hdr};
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (!writeFile(pathOf(temporary(name, kKinds.at(i))), *texts.at(i))) {
      return false;
    }
  }
  return true;
}

bool CWaveformFolder::publish(const std::string& name) {
  for (std::size_t i = kKinds.size(); i-- > 0;) {
    const std::string path = pathOf(name + kKinds.at(i));
    if (i == 0 && !syncFolder()) {
      return false;
    }
    if (std::rename(pathOf(temporary(name, kKinds.at(i))).c_str(), path.c_str()) != 0) {
      return fail(path);
    }
  }
  return true;
}

bool CWaveformFolder::syncFolder() {
  const File file(folder_, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return (file.get() >= 0 && fsync(file.get()) == 0) || fail(folder_);
}

}  // namespace toolkit
