#include "command_queues.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "alarms/alarm.h"
#include "command_documents.h"
#include "command_tree.h"
#include "due.h"
#include "toolkit/commands.h"
#include "toolkit/leaf_batch.h"

namespace sim {

using toolkit::CElement;
using toolkit::CPath;

namespace {

constexpr double kLookSeconds = 0.2;
// What is not served but kept: the tree, and the results.
constexpr double kKeepSeconds = 10;

// Places of what is read of one command.
enum { kDocument, kResult, kPassword };

// The handles among the names of nodes, in order. Others may have put other nodes there.
std::vector<int> handlesOf(const std::string& names) {
  std::vector<std::string> pieces;
  CElement::split_string(pieces, names, ';');
  std::vector<int> handles;
  for (const std::string& piece : pieces) {
    int handle = 0;
    std::from_chars(piece.data(), piece.data() + piece.size(), handle);
    if (piece == std::to_string(handle)) handles.push_back(handle);
  }
  std::sort(handles.begin(), handles.end());
  return handles;
}

CommandExecutor::Execution refused(CommandStatus status, const std::string& text) {
  return {{status, text, {}}};
}

bool isDone(int result, api_status_t status) {
  return result == 0 && (status == API_SUCCESS || status == API_NOT_FOUND);
}

}  // namespace

CommandQueues::CommandQueues(toolkit::CCds& cds, Installation& installation)
    : cds_(cds), executor_(cds, installation) {
  for (const std::string& device : executor_.devices()) {
    bases_.push_back(toolkit::commandsOf(device));
    commands_.add(bases_.back() + "/inpQueue:Children");
    results_.add(bases_.back() + "/outQueue:Children");
  }
}

bool CommandQueues::step(timeval stamp) {
  if (!isDue(lookedAt_, stamp, kLookSeconds)) return good_;
  lookedAt_ = stamp;
  good_ = look(stamp);
  if (!isDue(keptAt_, stamp, kKeepSeconds)) return good_;
  if (makeCommandTree(cds_, executor_, stamp) && ageResults(stamp)) {
    keptAt_ = stamp;
  } else {
    good_ = false;
  }
  return good_;
}

bool CommandQueues::look(timeval stamp) {
  if (!commands_.read(cds_)) return false;
  bool good = true;
  for (std::size_t device = 0; device < bases_.size(); ++device) {
    const std::vector<int> handles = handlesOf(commands_.text(device));
    if (!handles.empty()) good = serve(device, handles.front(), stamp) && good;
  }
  return good;
}

bool CommandQueues::serve(std::size_t device, int handle, timeval stamp) {
  const std::string& base = bases_[device];
  const std::string entry = base + "/inpQueue/" + std::to_string(handle);
  const std::string answer = base + "/outQueue/" + std::to_string(handle);
  ReadBatch leaves;
  leaves.add(entry);
  leaves.add(answer);
  leaves.add(base + "/Password");
  if (!leaves.read(cds_)) return false;
  if (leaves.at(kResult) == nullptr) {
    toolkit::CLeafBatch batch(stamp);
    const auto execution = executionOf(device, handle, leaves, stamp, batch);
    if (!execution) return false;
    batch.add(CPath(answer), CElement(writeResult(handle, execution->result)));
    if (batch.write(cds_, kSimulationSource) != API_SUCCESS) return false;
    executor_.settle(device, *execution);
  }
  api_status_t status = API_NONE;
  const int result = cds_.remove_node(entry, status, kSimulationSource);
  return isDone(result, status);
}

std::optional<CommandQueues::Execution> CommandQueues::executionOf(
    std::size_t device, int handle, const ReadBatch& leaves, timeval stamp,
    toolkit::CLeafBatch& batch) const {
  const CElement* document = leaves.at(kDocument);
  if (document == nullptr) return refused(CommandStatus::kInvalid, "The command has no document");
  // By a clock that was set back nobody knows how long it has waited.
  if (std::fabs(secondsBetween(document->time(), stamp)) > kMostWaitSeconds) {
    return refused(CommandStatus::kTimeout, "The command has waited for more than " +
                                                std::to_string(kMostWaitSeconds) + " seconds");
  }
  const auto command = readCommand(document->to_string());
  if (!command) return refused(CommandStatus::kInvalid, "The document is no command");
  if (command->version > kCommandVersion) {
    return refused(CommandStatus::kInvalid,
                   "The command is of version " + std::to_string(command->version));
  }
  const CElement* password = leaves.at(kPassword);
  if (password != nullptr && password->to_string() != std::to_string(command->password)) {
    return refused(CommandStatus::kInvalid, "The password is wrong");
  }
  return executor_.execute(device, handle, *command, stamp, batch);
}

bool CommandQueues::ageResults(timeval stamp) {
  if (!results_.read(cds_)) return false;
  bool good = true;
  for (std::size_t device = 0; device < bases_.size(); ++device) {
    const std::string queue = bases_[device] + "/outQueue/";
    const std::vector<int> handles = handlesOf(results_.text(device));
    if (handles.empty()) continue;
    ReadBatch leaves;
    for (const int handle : handles) leaves.add(queue + std::to_string(handle));
    if (!leaves.read(cds_)) return false;
    std::vector<Result> results;
    for (std::size_t i = 0; i < handles.size(); ++i) {
      const CElement* document = leaves.at(i);
      if (document != nullptr) results.emplace_back(queue + std::to_string(handles[i]), *document);
    }
    good = age(std::move(results), stamp) && good;
  }
  return good;
}

bool CommandQueues::age(std::vector<Result> results, timeval stamp) {
  std::stable_sort(results.begin(), results.end(), [](const Result& a, const Result& b) {
    return secondsBetween(a.second.time(), b.second.time()) > 0;
  });
  const std::size_t excess = results.size() - std::min(results.size(), kMostResults);
  toolkit::CLeafBatch redated(stamp);
  bool good = true;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const auto& [node, document] = results[i];
    const double age = secondsBetween(document.time(), stamp);
    if (age >= kKeepResultSeconds || i < excess) {
      api_status_t status = API_NONE;
      const int result =
          cds_.remove_node_if(node, CPath(node), document, status, kSimulationSource);
      good = isDone(result, status) && good;
    } else if (age < 0) {
      // The clock was set back: its time begins anew.
      redated.add(CPath(node), document);
    }
  }
  return redated.write(cds_, kSimulationSource) == API_SUCCESS && good;
}

}  // namespace sim
