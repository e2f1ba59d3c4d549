// The XML documents of the command queues.
#pragma once

#include <optional>
#include <string>

#include "command.h"

namespace sim {

// None for a text that is no command, whoever wrote it.
std::optional<Command> readCommand(const std::string& document);
std::string writeResult(int handle, const CommandResult& result);

}  // namespace sim
