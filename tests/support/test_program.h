// Programs run as processes, and the folders they work in.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

// A folder that goes with the object.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const fs::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = parent / "dravixd-test.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    path_ = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// A file system of one megabyte at a path, as long as the object lives.
class SmallDisk {
 public:
  explicit SmallDisk(fs::path path) : path_(std::move(path)) {
    fs::create_directory(path_);
    mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  ~SmallDisk() {
    if (mounted_) {
      umount2(path_.c_str(), MNT_DETACH);
    }
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  // False where the system does not let tests mount.
  bool isMounted() const { return mounted_; }

 private:
  fs::path path_;
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
inline bool await(const std::function<bool()>& condition) {
  int left = 3000;
  while (!condition() && --left > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return left > 0;
}

inline std::string contentsOf(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

// Whether a text has the part; the result shows both.
inline testing::AssertionResult contains(const std::string& text, const std::string& part) {
  return testing::AssertionResult(text.find(part) != std::string::npos)
         << "\"" << part << "\" in: " << text.substr(0, 4000);
}

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
inline pid_t startProcess(const fs::path& folder, const std::string& program,
                          const std::vector<std::string>& arguments,
                          const std::function<void()>& prepare = {}) {
  std::vector<char*> words = {const_cast<char*>(program.c_str())};
  for (const std::string& word : arguments) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves nothing running
    if (prepare) {
      prepare();
    }
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(open((folder / "out").c_str(), kFlags, 0600), STDOUT_FILENO);
    dup2(open((folder / "err").c_str(), kFlags, 0600), STDERR_FILENO);
    execv(program.c_str(), words.data());
    _exit(127);
  }
  return child;
}

// The exit status, or 128 + signal, of a child that has ended or is going to.
inline int waitForChild(pid_t pid) {
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// Waits for the end of such a program.
inline Outcome waitForProcess(pid_t pid, const fs::path& folder) {
  const int status = waitForChild(pid);
  return {status, contentsOf(folder / "out"), contentsOf(folder / "err")};
}

// Runs a program to its end, on a file as its input.
inline Outcome runProgram(const fs::path& folder, const std::string& program,
                          const std::vector<std::string>& arguments,
                          const std::string& input = "/dev/null") {
  const auto prepare = [&] { dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO); };
  return waitForProcess(startProcess(folder, program, arguments, prepare), folder);
}
