#include "toolkit/command_queues.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "cds/command_tree.h"
#include "toolkit/commands.h"
#include "toolkit/time.h"

namespace toolkit {

namespace {

constexpr double kLookSeconds = 0.2;
// What is not served but kept: the tree, and the results.
constexpr double kKeepSeconds = 10;

// The handles among the names of nodes, in order. Others may have put other nodes there.
std::vector<int> handlesOf(const std::string& names) {
  std::vector<std::string> pieces;
  CElement::split_string(pieces, names, ';');
  std::vector<int> handles;
  for (const std::string& piece : pieces) {
    int handle = 0;
    std::from_chars(piece.data(), piece.data() + piece.size(), handle);
    if (piece == std::to_string(handle)) {
      handles.push_back(handle);
    }
  }
  std::sort(handles.begin(), handles.end());
  return handles;
}

std::optional<std::string> textOf(const CElement* element) {
  return element == nullptr ? std::nullopt : std::optional(element->to_string());
}

bool isDone(int result, api_status_t status) {
  return result == 0 && (status == API_SUCCESS || status == API_NOT_FOUND);
}

}  // namespace

CCommandQueues::CCommandQueues(CCds& cds, const std::vector<std::string>& devices,
                               CCommandHandler& handler, std::string source)
    : cds_(cds), handler_(handler), source_(std::move(source)) {
  for (const std::string& path : devices) {
    const std::string base = commandsOf(path);
    devices_.push_back({base, commands_.add(base + "/inpQueue:Children"),
                        results_.add(base + "/outQueue:Children")});
  }
}

bool CCommandQueues::step(timeval stamp) {
  if (!isDue(lookedAt_, stamp, kLookSeconds)) {
    return good_;
  }
  lookedAt_ = stamp;
  good_ = look(stamp);
  if (!isDue(keptAt_, stamp, kKeepSeconds)) {
    return good_;
  }
  if (makeTree(stamp) && ageResults(stamp)) {
    keptAt_ = stamp;
  } else {
    good_ = false;
  }
  return good_;
}

bool CCommandQueues::makeTree(timeval stamp) {
  std::vector<std::string> bases;
  for (const Device& device : devices_) {
    bases.push_back(device.base);
  }
  return makeCommandTree(cds_, bases, handler_, source_, stamp);
}

bool CCommandQueues::look(timeval stamp) {
  if (!commands_.read(cds_)) {
    return false;
  }
  bool good = true;
  for (std::size_t device = 0; device < devices_.size(); ++device) {
    const std::vector<int> handles = handlesOf(commands_.text(devices_[device].commands));
    if (!handles.empty()) {
      good = serve(device, handles.front(), stamp) && good;
    }
  }
  return good;
}

bool CCommandQueues::serve(std::size_t device, int handle, timeval stamp) {
  const std::string& base = devices_[device].base;
  const std::string entry = base + "/inpQueue/" + std::to_string(handle);
  const std::string answer = base + "/outQueue/" + std::to_string(handle);
  CLeafReader leaves;
  const auto document = leaves.add(entry);
  const auto result = leaves.add(answer);
  const auto password = leaves.add(base + "/Password");
  if (!leaves.read(cds_)) {
    return false;
  }
  if (leaves.element(result) == nullptr) {
    const CElement* queued = leaves.element(document);
    CDeviceCommand command = {device, handle, textOf(queued), textOf(leaves.element(password)),
                              false};
    // By a clock that was set back nobody knows how long it has waited.
    command.expired =
        queued != nullptr && std::fabs(secondsBetween(queued->time(), stamp)) > kMaxWaitSeconds;
    CLeafBatch batch(stamp);
    const auto outcome = handler_.execute(command, stamp, batch);
    if (!outcome) {
      return false;
    }
    batch.add(CPath(answer), CElement(*outcome));
    if (batch.write(cds_, source_) != API_SUCCESS) {
      return false;
    }
    handler_.settle(command);
  }
  api_status_t status = API_NONE;
  const int removed = cds_.remove_node(entry, status, source_);
  return isDone(removed, status);
}

bool CCommandQueues::ageResults(timeval stamp) {
  if (!results_.read(cds_)) {
    return false;
  }
  bool good = true;
  for (const Device& device : devices_) {
    const std::string queue = device.base + "/outQueue/";
    const std::vector<int> handles = handlesOf(results_.text(device.results));
    if (handles.empty()) {
      continue;
    }
    CLeafReader leaves;
    std::vector<std::pair<std::string, CLeafReader::Handle>> nodes;
    for (const int handle : handles) {
      const std::string node = queue + std::to_string(handle);
      nodes.emplace_back(node, leaves.add(node));
    }
    if (!leaves.read(cds_)) {
      return false;
    }
    std::vector<Result> results;
    for (const auto& [node, leaf] : nodes) {
      if (const CElement* document = leaves.element(leaf)) {
        results.emplace_back(node, *document);
      }
    }
    good = age(std::move(results), stamp) && good;
  }
  return good;
}

bool CCommandQueues::age(std::vector<Result> results, timeval stamp) {
  std::stable_sort(results.begin(), results.end(), [](const Result& a, const Result& b) {
    return secondsBetween(a.second.time(), b.second.time()) > 0;
  });
  const std::size_t excess = results.size() - std::min(results.size(), kMaxResults);
  CLeafBatch redated(stamp);
  bool good = true;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const auto& [node, document] = results[i];
    const double age = secondsBetween(document.time(), stamp);
    if (age >= kKeepResultSeconds || i < excess) {
      api_status_t status = API_NONE;
      const int result = cds_.remove_node_if(node, CPath(node), document, status, source_);
      good = isDone(result, status) && good;
    } else if (age < 0) {
      // The clock was set back: its time begins anew.
      redated.add(CPath(node), document);
    }
  }
  return redated.write(cds_, source_) == API_SUCCESS && good;
}

}  // namespace toolkit
