#include "command_tree.h"

#include <utility>

#include "alarms/alarm.h"
#include "command_documents.h"
#include "read_batch.h"
#include "toolkit/commands.h"

namespace sim {

using toolkit::CElement;
using toolkit::CPath;

namespace {

constexpr std::int32_t kMaxCount = 8;

struct Leaf {
  std::string path;
  CElement value;
  pcd_tribool_t persist = PCD_FALSE;
};

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

// False when the store cannot be read.
bool collect(const CommandExecutor& executor, std::vector<Leaf>& leaves) {
  // No handle may come twice, whatever restarts.
  leaves.push_back({toolkit::kNextCommandPath + std::string("/Value"), CElement(1), PCD_TRUE});
  for (std::size_t device = 0; device < executor.devices().size(); ++device) {
    const auto offers = executor.offers(device);
    if (!offers) return false;
    const std::string base = toolkit::commandsOf(executor.devices()[device]);
    leaves.push_back({base + "/WsdlVersion/Value", CElement(kCommandVersion)});
    leaves.push_back({base + "/inpQueue/maxCount/Value", CElement(kMaxCount)});
    leaves.push_back({base + "/outQueue:Description", CElement("Results of commands")});
    for (const CommandExecutor::Offer& offer : *offers) {
      leaves.push_back({base + "/cmdList/" + listOf(offer.kind) + "/" + offer.name + "/" +
                            offer.param + ":Description",
                        CElement(offer.description)});
    }
  }
  return true;
}

}  // namespace

bool makeCommandTree(toolkit::CCds& cds, const CommandExecutor& executor, timeval stamp) {
  std::vector<Leaf> leaves;
  if (!collect(executor, leaves)) return false;
  ReadBatch present;
  for (const Leaf& leaf : leaves) present.add(leaf.path);
  if (!present.read(cds)) return false;
  toolkit::CLeafBatch batch(stamp);
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    if (present.at(i) != nullptr) continue;
    batch.add(CPath(leaves[i].path), std::move(leaves[i].value), leaves[i].persist);
  }
  // A device whose name is too long for the tree has none.
  const api_status_t status = batch.write(cds, kSimulationSource);
  return status == API_SUCCESS || status == API_BAD_PATH;
}

}  // namespace sim
