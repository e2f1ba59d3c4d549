#include "record_queue.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace wspub {

namespace {

std::size_t sizeOf(const std::optional<Texts>& texts) {
  return texts ? texts->value.size() : 0;
}

std::size_t sizeOf(const Record& record) {
  if (const auto* value = std::get_if<Value>(&record.content)) {
    return sizeof record + value->path.size() + sizeOf(value->texts);
  }
  const auto& event = std::get<Event>(record.content);
  std::size_t size = sizeof record + event.sourcePath.size() + sizeOf(event.texts) +
                     event.event.note.size() + event.event.message.size();
  for (const std::string& url : event.event.waveforms) {
    size += url.size();
  }
  return size;
}

}  // namespace

bool RecordQueue::hasRoomFor(const Record& record) const {
  return records_.empty() || (records_.size() < bound_ && bytes_ + sizeOf(record) <= kMaxBytes);
}

void RecordQueue::add(Record record) {
  const std::size_t bytes = sizeOf(record);
  records_.push_back({++lastNumber_, bytes, Clock::now(), std::move(record)});
  bytes_ += bytes;
  // With everything on its way, the oldest of the others is the new one.
  while (records_.size() > std::max<std::size_t>(sending_, 1) &&
         (records_.size() > bound_ || bytes_ > kMaxBytes)) {
    const auto oldest = records_.begin() + static_cast<std::ptrdiff_t>(sending_);
    bytes_ -= oldest->bytes;
    records_.erase(oldest);
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
    bytes_ -= records_.front().bytes;
    records_.pop_front();
  }
  return newest;
}

}  // namespace wspub
