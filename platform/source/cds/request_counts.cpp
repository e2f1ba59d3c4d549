#include "toolkit/request_counts.h"

#include <charconv>
#include <vector>

#include "toolkit/leaf_batch.h"
#include "toolkit/leaf_reader.h"

namespace toolkit {

namespace {

constexpr const char* kSource = "dravixd";

std::string requestsOf(const std::string& node) {
  return node + "/Requests";
}

std::string refusedOf(const std::string& node) {
  return requestsOf(node) + "/Refused";
}

std::string operationsOf(const std::string& node) {
  return requestsOf(node) + "/Operations";
}

CElement elementOf(std::uint64_t count) {
  return CElement(static_cast<std::int64_t>(count));
}

template <std::size_t Size>
std::string listOf(const std::array<std::uint64_t, Size>& counts) {
  std::string list;
  for (const std::uint64_t count : counts) {
    list += (list.empty() ? "" : ";") + std::to_string(count);
  }
  return list;
}

template <std::size_t Size>
void readList(const std::string& list, std::array<std::uint64_t, Size>& counts) {
  std::vector<std::string> texts;
  CElement::split_string(texts, list, ';');
  for (std::size_t i = 0; i < Size && i < texts.size(); ++i) {
    std::from_chars(texts[i].data(), texts[i].data() + texts[i].size(), counts.at(i));
  }
}

// Leaves named after the counts.
template <std::size_t Size>
using Names = std::array<const char*, Size>;

template <std::size_t Size>
void addCounts(CLeafBatch& batch, const std::string& node, const Names<Size>& names,
               const std::array<std::uint64_t, Size>& counts) {
  for (std::size_t i = 0; i < Size; ++i) {
    batch.add(node + ":" + names.at(i), elementOf(counts.at(i)));
  }
}

template <std::size_t Size>
using Handles = std::array<CLeafReader::Handle, Size>;

template <std::size_t Size>
Handles<Size> addLeaves(CLeafReader& leaves, const std::string& node, const Names<Size>& names) {
  Handles<Size> handles;
  for (std::size_t i = 0; i < Size; ++i) {
    handles.at(i) = leaves.add(node + ":" + names.at(i));
  }
  return handles;
}

std::uint64_t countOf(const CLeafReader& leaves, CLeafReader::Handle leaf) {
  const CElement* const element = leaves.element(leaf);
  return element == nullptr ? 0 : static_cast<std::uint64_t>(element->to_int64());
}

template <std::size_t Size>
void takeCounts(const CLeafReader& leaves, const Handles<Size>& handles,
                std::array<std::uint64_t, Size>& counts) {
  for (std::size_t i = 0; i < Size; ++i) {
    counts.at(i) = countOf(leaves, handles.at(i));
  }
}

}  // namespace

api_status_t writeRequestCounts(CCds& cds, const std::string& node, const RequestCounts& counts) {
  const std::string requests = requestsOf(node);
  CLeafBatch batch;
  batch.add(requests + ":ReceivedBytes", elementOf(counts.receivedBytes));
  batch.add(requests + ":SentBytes", elementOf(counts.sentBytes));
  batch.add(requests + ":DurationCounts", CElement(listOf(counts.durations)));
  batch.add(requests + ":DurationSum", CElement(counts.durationSum));
  addCounts(batch, refusedOf(node), RequestCounts::kLimits, counts.refused);
  for (const auto& [operation, outcomes] : counts.operations) {
    addCounts(batch, operationsOf(node) + "/" + operation, RequestCounts::kOutcomes, outcomes);
  }
  return batch.writeOwn(cds, kSource);
}

void clearRequestCounts(CCds& cds, const std::string& node) {
  api_status_t status = API_NONE;
  cds.remove_node(requestsOf(node), status, kSource);
}

bool readRequestCounts(CCds& cds, const std::string& node, RequestCounts& counts) {
  counts = {};
  std::vector<std::string> operations;
  if (!readChildren(cds, operationsOf(node), operations)) {
    return false;
  }
  const std::string requests = requestsOf(node);
  CLeafReader leaves;
  const auto received = leaves.add(requests + ":ReceivedBytes");
  const auto sent = leaves.add(requests + ":SentBytes");
  const auto durations = leaves.add(requests + ":DurationCounts");
  const auto sum = leaves.add(requests + ":DurationSum");
  const auto refused = addLeaves(leaves, refusedOf(node), RequestCounts::kLimits);
  std::vector<Handles<RequestCounts::kOutcomes.size()>> outcomes;
  outcomes.reserve(operations.size());
  for (const std::string& operation : operations) {
    outcomes.push_back(addLeaves(leaves, operation, RequestCounts::kOutcomes));
  }
  if (!leaves.read(cds)) {
    return false;
  }
  counts.receivedBytes = countOf(leaves, received);
  counts.sentBytes = countOf(leaves, sent);
  readList(leaves.text(durations), counts.durations);
  counts.durationSum = leaves.number(sum).value_or(0);
  takeCounts(leaves, refused, counts.refused);
  for (std::size_t i = 0; i < operations.size(); ++i) {
    const std::string name = operations[i].substr(operations[i].rfind('/') + 1);
    takeCounts(leaves, outcomes[i], counts.operations[name]);
  }
  return true;
}

}  // namespace toolkit
