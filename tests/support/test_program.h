// Programs run as processes, and the folders they work in.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// A folder that goes with the object.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(
      const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A file system of one megabyte at a path, as long as the object lives.
class SmallDisk {
 public:
  explicit SmallDisk(std::filesystem::path path);
  ~SmallDisk();
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  // False where the system does not let tests mount.
  bool isMounted() const { return mounted_; }

 private:
  std::filesystem::path path_;
  bool mounted_;
};

// Leaves a test that this system does not let run.
#define SKIP_UNLESS(condition)                   \
  if (!(condition)) {                            \
    GTEST_SKIP() << "it is not so: " #condition; \
  }                                              \
  static_assert(true)

// How a process ended and what it printed.
struct Outcome {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

// True when the condition holds within a generous time.
bool await(const std::function<bool()>& condition);

std::string contentsOf(const std::filesystem::path& file);

// Whether a text has the part; the result shows both.
testing::AssertionResult contains(const std::string& text, const std::string& part);

// What the projection gives for each element, each with a blank behind it.
template <class Range, class Projection>
std::string joined(const Range& range, Projection projection) {
  std::string text;
  for (const auto& element : range) {
    text += std::invoke(projection, element) + " ";
  }
  return text;
}

// Starts a program whose output goes to the files "out" and "err" of the folder. `prepare` runs in
// the child before it.
pid_t startProcess(const std::filesystem::path& folder, const std::string& program,
                   const std::vector<std::string>& arguments,
                   const std::function<void()>& prepare = {});

// Waits for the end of such a program.
Outcome waitForProcess(pid_t pid, const std::filesystem::path& folder);
