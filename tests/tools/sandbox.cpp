#include "sandbox.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::string contents(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

}  // namespace

Sandbox::Sandbox() {
  std::string pattern = fs::temp_directory_path() / "dravixd-tools.XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  folder_ = pattern;
  useStore("store");
}

Sandbox::~Sandbox() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

void Sandbox::useStore(const std::string& name) const {
  fs::create_directories(folder_ / name / "run");
  fs::create_directories(folder_ / name / "state");
  setenv("TOOLKIT_RUN", (folder_ / name / "run").c_str(), 1);
  setenv("TOOLKIT_STATE", (folder_ / name / "state").c_str(), 1);
}

std::string Sandbox::write(const std::string& name, const std::string& text) const {
  const fs::path file = folder_ / name;
  std::ofstream(file, std::ios::binary) << text;
  return file;
}

pid_t Sandbox::start(const std::string& program, const std::vector<std::string>& arguments) const {
  std::vector<char*> words = {const_cast<char*>(program.c_str())};
  for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  const std::string out = folder_ / "out";
  const std::string err = folder_ / "err";
  posix_spawn_file_actions_addopen(&files, 1, out.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&files, 2, err.c_str(), kFlags, 0600);
  pid_t pid = -1;
  EXPECT_EQ(posix_spawn(&pid, program.c_str(), &files, nullptr, words.data(), environ), 0);
  posix_spawn_file_actions_destroy(&files);
  return pid;
}

Outcome Sandbox::finish(pid_t pid, bool terminate) const {
  if (terminate) kill(pid, SIGTERM);
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return {code, contents(folder_ / "out"), contents(folder_ / "err")};
}

Outcome Sandbox::run(const std::string& program, const std::vector<std::string>& arguments) const {
  return finish(start(program, arguments), false);
}

Outcome Sandbox::devctl(const std::vector<std::string>& arguments) const {
  return run(DEVCTL, arguments);
}
