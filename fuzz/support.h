// What the fuzz targets share.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

inline void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// A folder that goes with the object.
class Scratch {
 public:
  Scratch() {
    std::string pattern = std::filesystem::temp_directory_path() / "dravixd-fuzz.XXXXXX";
    require(mkdtemp(pattern.data()) != nullptr);
    folder_ = pattern;
  }
  ~Scratch() { std::filesystem::remove_all(folder_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path& folder() const { return folder_; }

  // Data stores are looked for here from now on.
  void useForStore() const {
    setenv("TOOLKIT_RUN", (folder_ / "run").c_str(), 1);
    setenv("TOOLKIT_STATE", (folder_ / "state").c_str(), 1);
  }

 private:
  std::filesystem::path folder_;
};
