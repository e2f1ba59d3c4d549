#include "toolkit/publisher_state.h"

#include <array>

#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"
#include "toolkit/trees.h"

namespace toolkit {

namespace {

constexpr const char* kSource = "wspub";

struct Count {
  const char* leaf;
  int PublisherState::*member;
};
constexpr std::array<Count, 4> kCounts = {{
    {":Subscriptions", &PublisherState::subscriptions},
    {":Points", &PublisherState::points},
    {":Failing", &PublisherState::failing},
    {":Queued", &PublisherState::queued},
}};
constexpr const char* kOldest = ":OldestSeconds";

std::string delivery() {
  return std::string(kPublisherPath) + "/Delivery";
}

}  // namespace

api_status_t writePublisherState(CCds& cds, const PublisherState& state) {
  CLeafBatch batch;
  for (const Count& count : kCounts) {
    batch.add(delivery() + count.leaf, CElement(state.*count.member));
  }
  batch.add(delivery() + kOldest, CElement(state.oldestSeconds));
  return batch.writeOwn(cds, kSource);
}

bool readPublisherState(CCds& cds, PublisherState& state) {
  state = {};
  CLeafReader leaves;
  std::array<CLeafReader::Handle, kCounts.size()> handles;
  for (std::size_t i = 0; i < kCounts.size(); ++i) {
    handles.at(i) = leaves.add(delivery() + kCounts.at(i).leaf);
  }
  const auto oldest = leaves.add(delivery() + kOldest);
  if (!leaves.read(cds)) {
    return false;
  }
  for (std::size_t i = 0; i < kCounts.size(); ++i) {
    state.*kCounts.at(i).member = static_cast<int>(leaves.number(handles.at(i)).value_or(0));
  }
  state.oldestSeconds = leaves.number(oldest).value_or(0);
  return true;
}

}  // namespace toolkit
