// A command to a device, and what comes of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "harmonics.h"

namespace sim {

struct Command {
  enum class Kind { kLine, kBasic, kValue, kText };

  int version = 0;
  Kind kind = Kind::kLine;
  std::string name;  // of a line, all of it
  std::string param;
  int password = 0;
  int value = 0;
};

// The numbers are those of the interface.
enum class CommandStatus { kSuccess = 1, kInvalid = 3, kUnable = 4, kTimeout = 6 };

struct HarmonicsReading {
  std::string path;  // of the point
  std::string displayName;
  std::int64_t time = 0;  // at which the window begins
  double frequency = 0;   // of the fundamental
  std::vector<Harmonic> harmonics;
};

struct CommandResult {
  CommandStatus status = CommandStatus::kSuccess;
  std::string text;
  std::optional<HarmonicsReading> harmonics;
};

}  // namespace sim
