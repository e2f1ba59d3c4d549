// What the benches need around what they measure.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

inline void check(bool good, const std::string& why) {
  if (!good) {
    throw std::runtime_error(why);
  }
}

// A folder in $TMPDIR that goes with the object.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& name) {
    std::string pattern = std::filesystem::temp_directory_path() / (name + ".XXXXXX");
    check(mkdtemp(pattern.data()) != nullptr, "no folder in $TMPDIR");
    path_ = pattern;
  }
  ~ScratchFolder() { std::filesystem::remove_all(path_); }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};
