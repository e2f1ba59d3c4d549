#include "record_queue.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace wspub {

void RecordQueue::add(Record record) {
  records_.push_back({++lastNumber_, std::move(record)});
  if (records_.size() > bound_) {
    // With everything on its way, the oldest of the others is the new one.
    records_.erase(records_.begin() + static_cast<std::ptrdiff_t>(sending_));
  }
}

Batch RecordQueue::begin(std::size_t limit) {
  assert(!records_.empty() && limit > 0);
  Batch batch;
  batch.sequence = records_.front().number;
  batch.lost = batch.sequence - lastAccepted_ - 1;
  for (const Numbered& next : records_) {
    if (batch.records.size() == limit || next.number != batch.sequence + batch.records.size()) {
      break;
    }
    batch.records.push_back(&next.record);
  }
  sending_ = batch.records.size();
  return batch;
}

std::uint64_t RecordQueue::accepted() {
  std::uint64_t newest = 0;
  for (; sending_ > 0; --sending_) {
    newest = std::max(newest, records_.front().record.streamNumber);
    lastAccepted_ = records_.front().number;
    records_.pop_front();
  }
  return newest;
}

}  // namespace wspub
