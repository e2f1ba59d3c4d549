// CommandExecutor: what the commands of a device do.
//
// It writes nothing itself: what a command changes goes into the batch that also has its result, so
// that both happen or neither.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "installation.h"
#include "toolkit/leaf_batch.h"

namespace sim {

class CommandExecutor {
 public:
  struct Job;
  struct Execution {
    CommandResult result;
    bool resetsEnergy = false;
  };
  // A command that a device takes.
  struct Offer {
    Command::Kind kind;
    std::string name;
    std::string param;
    std::string description;
    std::optional<Execution> (CommandExecutor::*run)(const Job&) const;

    bool isFor(const Command& command) const {
      return kind == command.kind && name == command.name && param == command.param;
    }
  };

  // Both must outlive this object.
  CommandExecutor(toolkit::CCds& cds, Installation& installation)
      : cds_(cds), installation_(installation), paths_(installation.devicePaths()) {}

  const std::vector<std::string>& devices() const { return paths_; }

  // By the points that the device has. None when the store cannot be read.
  std::optional<std::vector<Offer>> offers(std::size_t device) const;

  // None when the store cannot be read.
  std::optional<Execution> execute(std::size_t device, int handle, const Command& command,
                                   timeval stamp, toolkit::CLeafBatch& batch) const;
  // The store has taken the batch.
  void settle(std::size_t device, const Execution& execution);

 private:
  static std::vector<std::pair<Offer, std::string>> allOffers();
  std::optional<Execution> resetEnergy(const Job& job) const;
  std::optional<Execution> operateRelay(const Job& job) const;
  std::optional<Execution> setpoint(const Job& job) const;
  std::optional<Execution> measureHarmonics(const Job& job) const;

  toolkit::CCds& cds_;
  Installation& installation_;
  std::vector<std::string> paths_;
};

}  // namespace sim
