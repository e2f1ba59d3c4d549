// A store of its own for each test, and the tools run on it as processes.
#pragma once

#include <gtest/gtest.h>

#include "test_program.h"

// Points $TOOLKIT_RUN and $TOOLKIT_STATE at a temporary folder for the time of the test.
class Sandbox : public testing::Test {
 protected:
  Sandbox() { useStore("store"); }

  // Writes a file into the folder and returns its path.
  std::string write(const std::string& name, const std::string& text) const;
  void useStore(const std::string& name) const;

  // Runs a program to its end.
  Outcome run(const std::string& program, const std::vector<std::string>& arguments) const;
  Outcome devctl(const std::vector<std::string>& arguments) const;

  // Starts a program, ends it with SIGTERM.
  pid_t start(const std::string& program, const std::vector<std::string>& arguments) const;
  Outcome finish(pid_t pid, bool terminate) const;

 private:
  TemporaryFolder folder_;
};
