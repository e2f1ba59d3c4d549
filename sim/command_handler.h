// CommandHandler: the simulated meters' part of the command queues: reads the documents, refuses
// what is not to be executed, and has the rest executed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command_executor.h"
#include "toolkit/command_queues.h"

namespace sim {

class CommandHandler final : public toolkit::CCommandHandler {
 public:
  // Both must outlive this object.
  CommandHandler(toolkit::CCds& cds, Installation& installation) : executor_(cds, installation) {}

  std::optional<std::vector<toolkit::CCommandOffer>> offers(std::size_t device) override;
  std::optional<std::string> execute(const toolkit::CDeviceCommand& command, timeval stamp,
                                     toolkit::CLeafBatch& batch) override;
  void settle(const toolkit::CDeviceCommand& command) override;

 private:
  using Execution = CommandExecutor::Execution;

  std::optional<Execution> executionOf(const toolkit::CDeviceCommand& queued, timeval stamp,
                                       toolkit::CLeafBatch& batch) const;

  CommandExecutor executor_;
  Execution last_;
};

}  // namespace sim
