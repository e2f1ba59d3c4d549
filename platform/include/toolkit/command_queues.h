// CCommandQueues: serves the queues of commands of a source's devices (see commands.h): takes the
// commands one a device at a look, has them executed by the source, and leaves the results for
// whoever sent them. Whatever measures can take commands so; docs/commands.md has the rules.
//
// What a command changes and its result are written in one transaction, and then the command goes
// from the queue. One that has a result already is not executed again: so a kill at any moment
// neither loses a command nor executes it twice. What the store refuses has not happened, and is
// tried again.
//
// A command that has waited for too long, because nobody served the queue, is not to be executed
// any more. Results go when they are old or too many. Times are those of the leaves' stamps.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"

namespace toolkit {

// A command that a device takes, as a client sees it in the tree.
struct CCommandOffer {
  std::string list;   // "cmdLine", "cmdBasic", "cmdIval" or "cmdText"
  std::string name;   // of a line, all of it
  std::string param;  // empty with a line
  std::string description;
};

struct CDeviceCommand {
  std::size_t device = 0;  // index among the queues' devices
  int handle = 0;
  std::optional<std::string> document;  // none: the node has no value
  std::optional<std::string> password;  // that the device asks for
  bool expired = false;                 // has waited for too long
};

// What a source does with commands.
class CCommandHandler {
 public:
  CCommandHandler() = default;
  virtual ~CCommandHandler() = default;
  CCommandHandler(const CCommandHandler&) = delete;
  CCommandHandler& operator=(const CCommandHandler&) = delete;

  // None when the store cannot be read.
  virtual std::optional<std::vector<CCommandOffer>> offers(std::size_t device) = 0;
  // Puts what the command changes into the batch and returns the document of its result. An expired
  // one changes nothing. None when the store cannot be read: the command is tried again.
  virtual std::optional<std::string> execute(const CDeviceCommand& command, timeval stamp,
                                             CLeafBatch& batch) = 0;
  // The store has taken the batch of the last execution.
  virtual void settle(const CDeviceCommand& command) = 0;
};

class CCommandQueues {
 public:
  static constexpr int kCommandVersion = 1;  // of the documents
  static constexpr int kMaxWaitSeconds = 120;
  static constexpr int kKeepResultSeconds = 600;
  static constexpr std::size_t kMaxResults = 100;  // a device

  // `cds` and `handler` must outlive this object. `source` says who writes.
  CCommandQueues(CCds& cds, const std::vector<std::string>& devices, CCommandHandler& handler,
                 std::string source);

  // False when the store refused at the last look.
  bool step(timeval stamp);

 private:
  using Result = std::pair<std::string, CElement>;  // node, document
  struct Device {
    std::string base;
    CLeafReader::Handle commands;  // the names in its queue of commands
    CLeafReader::Handle results;
  };

  bool look(timeval stamp);
  bool serve(std::size_t device, int handle, timeval stamp);
  bool makeTree(timeval stamp);
  bool ageResults(timeval stamp);
  bool age(std::vector<Result> results, timeval stamp);

  CCds& cds_;
  CCommandHandler& handler_;
  std::string source_;
  std::vector<Device> devices_;
  CLeafReader commands_;
  CLeafReader results_;
  std::optional<timeval> lookedAt_;
  std::optional<timeval> keptAt_;
  bool good_ = true;
};

}  // namespace toolkit
