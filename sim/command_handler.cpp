#include "command_handler.h"

#include "command_documents.h"

namespace sim {

using toolkit::CCommandQueues;
using toolkit::CDeviceCommand;

namespace {

const char* listOf(Command::Kind kind) {
  switch (kind) {
    case Command::Kind::kLine:
      return "cmdLine";
    case Command::Kind::kBasic:
      return "cmdBasic";
    case Command::Kind::kValue:
      return "cmdIval";
    case Command::Kind::kText:
      return "cmdText";
  }
  return "";
}

CommandExecutor::Execution refused(CommandStatus status, const std::string& text) {
  return {{status, text, {}}};
}

}  // namespace

std::optional<std::vector<toolkit::CCommandOffer>> CommandHandler::offers(std::size_t device) {
  const auto known = executor_.offers(device);
  if (!known) {
    return std::nullopt;
  }
  std::vector<toolkit::CCommandOffer> offers;
  for (const CommandExecutor::Offer& offer : *known) {
    offers.push_back({listOf(offer.kind), offer.name, offer.param, offer.description});
  }
  return offers;
}

std::optional<std::string> CommandHandler::execute(const CDeviceCommand& command, timeval stamp,
                                                   toolkit::CLeafBatch& batch) {
  auto execution = executionOf(command, stamp, batch);
  if (!execution) {
    return std::nullopt;
  }
  last_ = std::move(*execution);
  return writeResult(command.handle, last_.result);
}

void CommandHandler::settle(const CDeviceCommand& command) {
  executor_.settle(command.device, last_);
}

std::optional<CommandHandler::Execution> CommandHandler::executionOf(
    const CDeviceCommand& queued, timeval stamp, toolkit::CLeafBatch& batch) const {
  if (!queued.document) {
    return refused(CommandStatus::kInvalid, "The command has no document");
  }
  if (queued.expired) {
    return refused(CommandStatus::kTimeout, "The command has waited for more than " +
                                                std::to_string(CCommandQueues::kMaxWaitSeconds) +
                                                " seconds");
  }
  const auto command = readCommand(*queued.document);
  if (!command) {
    return refused(CommandStatus::kInvalid, "The document is no command");
  }
  if (command->version > CCommandQueues::kCommandVersion) {
    return refused(CommandStatus::kInvalid,
                   "The command is of version " + std::to_string(command->version));
  }
  if (queued.password && *queued.password != std::to_string(command->password)) {
    return refused(CommandStatus::kInvalid, "The password is wrong");
  }
  return executor_.execute(queued.device, queued.handle, *command, stamp, batch);
}

}  // namespace sim
