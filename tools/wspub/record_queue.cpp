#include "record_queue.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace wspub {

namespace {

constexpr std::size_t kUsualRecord = 1024;  // bytes, or less

std::size_t sizeOf(const std::optional<Texts>& texts) {
  return texts ? texts->value.size() : 0;
}

std::size_t sizeOf(const Record& record) {
  if (const auto* value = std::get_if<Value>(&record.content)) {
    return sizeof record + value->path.size() + sizeOf(value->texts);
  }
  const auto& event = std::get<Event>(record.content);
  std::size_t size = sizeof record + event.sourcePath.size() + sizeOf(event.texts) +
                     sizeof *event.event + event.event->note.size() + event.event->message.size();
  for (const std::string& url : event.event->waveforms) {
    size += url.size();
  }
  return size;
}

}  // namespace

std::size_t QueueBudget::share() const {
  return max_ / std::max<std::size_t>(1, queues_.size());
}

bool QueueBudget::allows(std::size_t queue, std::size_t more) const {
  return bytes_ + more <= max_ || queue + more <= share();
}

void QueueBudget::keep() {
  while (bytes_ > max_) {
    RecordQueue* largest = nullptr;
    for (RecordQueue* const queue : queues_) {
      if (queue->hasWaiting() && (largest == nullptr || queue->bytes_ > largest->bytes_)) {
        largest = queue;
      }
    }
    if (largest == nullptr || largest->bytes_ <= share()) {
      return;
    }
    largest->dropOldest();
  }
}

RecordQueue::RecordQueue(std::size_t bound, std::shared_ptr<QueueBudget> budget)
    : bound_(bound), budget_(std::move(budget)) {
  budget_->queues_.push_back(this);
}

RecordQueue::~RecordQueue() {
  budget_->bytes_ -= bytes_;
  std::erase(budget_->queues_, this);
}

bool RecordQueue::hasRoomFor(std::size_t bytes) const {
  return records_.empty() || (records_.size() < bound_ && bytes_ + bytes <= kMaxBytes &&
                              budget_->allows(bytes_, bytes));
}

bool RecordQueue::hasRoomFor(const Record& record) const {
  return hasRoomFor(sizeOf(record));
}

std::size_t RecordQueue::room() const {
  return hasRoomFor(kUsualRecord) ? bound_ - records_.size() : 0;
}

void RecordQueue::count(std::size_t bytes) {
  bytes_ += bytes;
  budget_->bytes_ += bytes;
}

void RecordQueue::discount(std::size_t bytes) {
  bytes_ -= bytes;
  budget_->bytes_ -= bytes;
}

void RecordQueue::dropOldest() {
  const auto oldest = records_.begin() + static_cast<std::ptrdiff_t>(sending_);
  discount(oldest->bytes);
  records_.erase(oldest);
}

void RecordQueue::add(Record record) {
  const std::size_t bytes = sizeOf(record);
  records_.push_back({++lastNumber_, bytes, Clock::now(), std::move(record)});
  count(bytes);
  // With everything on its way, the oldest of the others is the new one.
  while (records_.size() > std::max<std::size_t>(sending_, 1) &&
         (records_.size() > bound_ || bytes_ > kMaxBytes)) {
    dropOldest();
  }
  budget_->keep();
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
    discount(records_.front().bytes);
    records_.pop_front();
  }
  return newest;
}

}  // namespace wspub
