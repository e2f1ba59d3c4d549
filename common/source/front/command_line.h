// The command line of dravixd.
#pragma once

#include "front/global_data.h"

struct CommandLine {
  enum class Action { Serve, Exit };

  Action action = Action::Serve;
  int exitStatus = 0;      // with Action::Exit
  bool daemonMode = true;  // false: stay in the foreground, without the watchdog (-d)
};

// Reads the words after the program's name into `global` (its logger's level included). Errors, the
// usage and the version are printed here.
CommandLine parseCommandLine(int argc, char** argv, _global_data_t& global);
