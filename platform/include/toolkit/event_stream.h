// CEventStream: what events_send handed over, for the processes that act on it.
//
//   kAcknowledgements   for the alarm engine, which removes what it has dealt with. Takes 1,000;
//                       then events_send fails with API_STORE_FULL.
//   kEvents             all others, for any number of readers, each with its own place. Holds the
//                       newest 1,000: a reader that falls further behind has missed some.
//
// Both are in the live half of the store: empty after a restart of the device. Entries of a stream
// are numbered from 1, without gaps, and a number is not used twice. Calls return 0, or non-zero
// when the store failed; outputs are then empty.
#pragma once

#include <cstdint>
#include <vector>

#include "toolkit/cds.h"
#include "toolkit/event.h"

namespace toolkit {

class CEventStream {
 public:
  static constexpr std::uint64_t kCapacity = 1000;

  enum Kind { kAcknowledgements, kEvents };
  struct Entry {
    std::uint64_t number = 0;
    CEvent event;
  };

  // `cds` must outlive this object.
  CEventStream(CCds& cds, Kind kind) : cds_(cds), kind_(kind) {}

  // The entries behind number `after`, oldest first.
  int read(std::uint64_t after, std::vector<Entry>& entries);
  // Number of the newest entry ever; 0 when there was none.
  int last(std::uint64_t& number);
  // Removes the entries up to and including number `upTo`.
  int remove(std::uint64_t upTo);

 private:
  CCds& cds_;
  Kind kind_;
};

}  // namespace toolkit
