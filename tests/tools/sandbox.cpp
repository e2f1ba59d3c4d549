#include "sandbox.h"

#include <csignal>
#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

void Sandbox::useStore(const std::string& name) const {
  const fs::path store = folder_.path() / name;
  fs::create_directories(store / "run");
  fs::create_directories(store / "state");
  setenv("TOOLKIT_RUN", (store / "run").c_str(), 1);
  setenv("TOOLKIT_STATE", (store / "state").c_str(), 1);
}

std::string Sandbox::write(const std::string& name, const std::string& text) const {
  const fs::path file = folder_.path() / name;
  std::ofstream(file, std::ios::binary) << text;
  return file;
}

pid_t Sandbox::start(const std::string& program, const std::vector<std::string>& arguments) const {
  return startProcess(folder_.path(), program, arguments);
}

Outcome Sandbox::finish(pid_t pid, bool terminate) const {
  if (terminate) {
    kill(pid, SIGTERM);
  }
  return waitForProcess(pid, folder_.path());
}

Outcome Sandbox::run(const std::string& program, const std::vector<std::string>& arguments) const {
  return finish(start(program, arguments), false);
}

Outcome Sandbox::devctl(const std::vector<std::string>& arguments) const {
  return run(DEVCTL, arguments);
}
