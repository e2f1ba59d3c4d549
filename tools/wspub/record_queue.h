// RecordQueue: what one subscriber is still to be sent, in order, each record with its number.
//
// Numbers count from 1 and are never used twice. A queue that is full, by number or by bytes, drops
// its oldest records, but none of a message that is on its way; one that is larger than the bound
// is kept alone. All queues together have a bound, too: beyond it the largest one drops its oldest
// record, so that who keeps to an equal share loses nothing by the others. Pure: knows neither
// store nor network.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
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

class RecordQueue;

// What the queues that share it may hold together.
class QueueBudget {
 public:
  static constexpr std::size_t kMaxBytes = std::size_t{8} << 20;

  explicit QueueBudget(std::size_t bytes = kMaxBytes) : max_(bytes) {}

 private:
  friend class RecordQueue;

  std::size_t share() const;
  // Whether a queue of this size may grow by so much.
  bool allows(std::size_t queue, std::size_t more) const;
  // What is on its way stays.
  void keep();

  std::size_t max_;
  std::size_t bytes_ = 0;
  std::vector<RecordQueue*> queues_;
};

class RecordQueue {
 public:
  static constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

  explicit RecordQueue(std::size_t bound,
                       std::shared_ptr<QueueBudget> budget = std::make_shared<QueueBudget>());
  ~RecordQueue();
  RecordQueue(const RecordQueue&) = delete;
  RecordQueue& operator=(const RecordQueue&) = delete;

  bool isEmpty() const { return records_.empty(); }
  std::size_t size() const { return records_.size(); }
  // Since when the oldest record waits. Not on an empty queue.
  Clock::time_point oldest() const { return records_.front().since; }
  // Records of a usual size that it takes without dropping any, at most.
  std::size_t room() const;
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
  friend class QueueBudget;

  struct Numbered {
    std::uint64_t number;
    std::size_t bytes;
    Clock::time_point since;
    Record record;
  };

  bool hasRoomFor(std::size_t bytes) const;
  void count(std::size_t bytes);
  void discount(std::size_t bytes);
  bool hasWaiting() const { return records_.size() > sending_; }
  void dropOldest();

  std::size_t bound_;
  std::shared_ptr<QueueBudget> budget_;
  std::size_t bytes_ = 0;
  std::deque<Numbered> records_;
  std::size_t sending_ = 0;       // that many at the front are on their way
  std::uint64_t lastNumber_ = 0;  // of the newest record
  std::uint64_t lastAccepted_ = 0;
};

}  // namespace wspub
