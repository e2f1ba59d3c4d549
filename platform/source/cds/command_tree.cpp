#include "cds/command_tree.h"

#include <utility>

#include "toolkit/commands.h"

namespace toolkit {

namespace {

constexpr std::int32_t kMaxCount = 8;

struct Leaf {
  std::string path;
  CElement value;
  pcd_tribool_t persist = PCD_FALSE;
};

std::string pathOf(const std::string& base, const CCommandOffer& offer) {
  const std::string list = base + "/cmdList/" + offer.list + "/" + offer.name;
  return list + (offer.param.empty() ? "" : "/" + offer.param) + ":Description";
}

// False when the store cannot be read.
bool collect(const std::vector<std::string>& bases, CCommandHandler& handler,
             std::vector<Leaf>& leaves) {
  // No handle may come twice, whatever restarts.
  leaves.push_back({kNextCommandPath + std::string("/Value"), CElement(1), PCD_TRUE});
  for (std::size_t device = 0; device < bases.size(); ++device) {
    const auto offers = handler.offers(device);
    if (!offers) {
      return false;
    }
    const std::string& base = bases[device];
    leaves.push_back({base + "/WsdlVersion/Value", CElement(CCommandQueues::kCommandVersion)});
    leaves.push_back({base + "/inpQueue/maxCount/Value", CElement(kMaxCount)});
    leaves.push_back({base + "/outQueue:Description", CElement("Results of commands")});
    for (const CCommandOffer& offer : *offers) {
      leaves.push_back({pathOf(base, offer), CElement(offer.description)});
    }
  }
  return true;
}

}  // namespace

bool makeCommandTree(CCds& cds, const std::vector<std::string>& bases, CCommandHandler& handler,
                     const std::string& source, timeval stamp) {
  std::vector<Leaf> leaves;
  if (!collect(bases, handler, leaves)) {
    return false;
  }
  CLeafReader present;
  std::vector<CLeafReader::Handle> handles;
  handles.reserve(leaves.size());
  for (const Leaf& leaf : leaves) {
    handles.push_back(present.add(leaf.path));
  }
  if (!present.read(cds)) {
    return false;
  }
  CLeafBatch batch(stamp);
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    if (present.element(handles[i]) == nullptr) {
      batch.add(CPath(leaves[i].path), std::move(leaves[i].value), leaves[i].persist);
    }
  }
  // A device whose name is too long for the tree has none.
  const api_status_t status = batch.write(cds, source);
  return status == API_SUCCESS || status == API_BAD_PATH;
}

}  // namespace toolkit
