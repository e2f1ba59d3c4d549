// The tools, run as processes on a store of the test's own.
#pragma once

#include <fstream>

#include "store_fixture.h"

class Sandbox : public StoreTest {
 protected:
  // From now on another store, which is not there yet.
  void useStore(const std::string& name) const {
    setenv("TOOLKIT_RUN", (folder() / name / "run").c_str(), 1);
    setenv("TOOLKIT_STATE", (folder() / name / "state").c_str(), 1);
  }
  // Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(folder() / name, std::ios::binary) << text;
    return folder() / name;
  }
  // Runs a program to its end.
  Outcome run(const std::string& program, const std::vector<std::string>& arguments) const {
    return waitForProcess(startProcess(folder(), program, arguments), folder());
  }
  Outcome devctl(const std::vector<std::string>& arguments) const { return run(DEVCTL, arguments); }
};
