#include "test_program.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(const fs::path& parent) {
  std::string pattern = parent / "dravixd-test.XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no temporary folder");
  }
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

SmallDisk::SmallDisk(fs::path path) : path_(std::move(path)) {
  fs::create_directory(path_);
  mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1m") == 0;
}

SmallDisk::~SmallDisk() {
  if (mounted_) {
    umount2(path_.c_str(), MNT_DETACH);
  }
}

bool await(const std::function<bool()>& condition) {
  int left = 3000;
  while (!condition() && --left > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return left > 0;
}

std::string contentsOf(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

testing::AssertionResult contains(const std::string& text, const std::string& part) {
  return testing::AssertionResult(text.find(part) != std::string::npos)
         << "\"" << part << "\" in: " << text.substr(0, 4000);
}

pid_t startProcess(const fs::path& folder, const std::string& program,
                   const std::vector<std::string>& arguments,
                   const std::function<void()>& prepare) {
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

Outcome waitForProcess(pid_t pid, const fs::path& folder) {
  int status = 0;
  waitpid(pid, &status, 0);
  return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status),
          contentsOf(folder / "out"), contentsOf(folder / "err")};
}
