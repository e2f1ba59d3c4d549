// RecordQueue: what one subscriber is still to be sent, in order, each record with its number.
//
// Numbers count from 1 and are never used twice. A queue that is full, by number or by bytes, drops
// its oldest records, but none of a message that is on its way; one that is larger than the bound
// is kept alone. Pure: knows neither store nor network.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "backoff.h"
#include "records.h"

namespace wspub {

// The next message. `records` stay valid until the queue is changed.
struct Batch {
  std::uint64_t sequence = 0;  // number of the first record
  std::uint64_t lost = 0;      // records dropped between the last accepted one and the first here
  std::vector<const Record*> records;
};

class RecordQueue {
 public:
  static constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

  explicit RecordQueue(std::size_t bound) : bound_(bound) {}

  bool isEmpty() const { return records_.empty(); }
  std::size_t size() const { return records_.size(); }
  // Since when the oldest record waits. Not on an empty queue.
  Clock::time_point oldest() const { return records_.front().since; }
  std::size_t room() const { return bound_ - records_.size(); }
  // Whether it drops none for this one.
  bool hasRoomFor(const Record& record) const;

  void add(Record record);
  // So many records were lost before they came here: they take numbers, as if they were dropped.
  void skip(std::uint64_t count) { lastNumber_ += count; }

  // At most `limit` records with consecutive numbers: they are on their way until accepted() or
  // refused() is called. Not on an empty queue.
  Batch begin(std::size_t limit);
  // Forgets the records on their way. Returns the highest number in the stream of events
  // among them, 0 without events.
  std::uint64_t accepted();
  // They wait for the next begin().
  void refused() { sending_ = 0; }

 private:
  struct Numbered {
    std::uint64_t number;
    std::size_t bytes;
    Clock::time_point since;
    Record record;
  };

  std::size_t bound_;
  std::size_t bytes_ = 0;
  std::deque<Numbered> records_;
  std::size_t sending_ = 0;       // that many at the front are on their way
  std::uint64_t lastNumber_ = 0;  // of the newest record
  std::uint64_t lastAccepted_ = 0;
};

}  // namespace wspub
