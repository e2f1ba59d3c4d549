// CommandQueues: takes the commands of the devices from their queues, one a device at a look, and
// leaves the results for whoever sent them.
//
// What a command changes and its result are written in one transaction, and then the command goes
// from the queue. One that has a result already is not executed again: so a kill at any moment
// neither loses a command nor executes it twice. What the store refuses has not happened, and is
// tried again.
//
// A command that has waited for too long, because nobody served the queue, is not executed any
// more. Results go when they are old or too many. Times are those of the leaves' stamps.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command_executor.h"
#include "read_batch.h"

namespace sim {

class CommandQueues {
 public:
  static constexpr int kMostWaitSeconds = 120;
  static constexpr int kKeepResultSeconds = 600;
  static constexpr std::size_t kMostResults = 100;  // a device

  // Both must outlive this object.
  CommandQueues(toolkit::CCds& cds, Installation& installation);

  // False when the store refused at the last look.
  bool step(timeval stamp);

 private:
  using Execution = CommandExecutor::Execution;
  using Result = std::pair<std::string, toolkit::CElement>;  // node, document

  bool look(timeval stamp);
  bool serve(std::size_t device, int handle, timeval stamp);
  std::optional<Execution> executionOf(std::size_t device, int handle, const ReadBatch& leaves,
                                       timeval stamp, toolkit::CLeafBatch& batch) const;
  bool ageResults(timeval stamp);
  bool age(std::vector<Result> results, timeval stamp);

  toolkit::CCds& cds_;
  CommandExecutor executor_;
  std::vector<std::string> bases_;  // as the executor's devices
  // The names in each device's queue of commands, and of results.
  ReadBatch commands_;
  ReadBatch results_;
  std::optional<timeval> lookedAt_;
  std::optional<timeval> keptAt_;
  bool good_ = true;
};

}  // namespace sim
