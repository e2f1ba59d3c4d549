// CEventStream: what events_send handed over, for the processes that act on it.
//
//   kAcknowledgements   for the alarm engine, which removes what it has dealt with. Takes 1,000;
//                       then events_send fails with API_STORE_FULL.
//   kEvents             all others, for any number of readers, each with its own position. Holds
//                       the newest 1,000 changes (EVENT_DELTA, EVENT_QUALITY), and apart from these
//                       the newest 1,000 of all other events, which no change pushes out. A reader
//                       that falls further behind has missed some, and is told how many.
//
// Of each text of an event the first kMaxText bytes are kept, of its URLs as many as are not
// longer. Both are in the live half of the store: empty after a restart of the device. Entries of a
// stream are numbered from 1 in the order in which they were handed over, and a number is not used
// twice. Calls return 0, or non-zero when the store failed; outputs are then empty.
#pragma once

#include <cstdint>
#include <vector>

#include "toolkit/cds.h"
#include "toolkit/event.h"

namespace toolkit {

class CEventStream {
 public:
  static constexpr std::uint64_t kCapacity = 1000;
  static constexpr std::size_t kMaxText = 4096;

  enum Kind { kAcknowledgements, kEvents };
  // What makes room for what: entries of one ring go in their order.
  enum Ring { kEventRing, kChangeRing };
  static constexpr std::size_t kRings = 2;
  struct Entry {
    std::uint64_t number = 0;
    CEvent event;
    Ring ring = kEventRing;
  };
  // Entries that are gone. Where both rings have lost some, the parts are upper bounds.
  struct Missed {
    std::uint64_t all = 0;
    std::uint64_t events = 0;
    std::uint64_t changes = 0;
  };

  // `cds` must outlive this object.
  CEventStream(CCds& cds, Kind kind) : cds_(cds), kind_(kind) {}

  // The entries after number `after`, oldest first, and those after it that are gone.
  int read(std::uint64_t after, std::vector<Entry>& entries, Missed& missed);
  int read(std::uint64_t after, std::vector<Entry>& entries);
  // Number of the newest entry ever; 0 when there was none.
  int last(std::uint64_t& number);
  // Removes the acknowledgements up to and including number `upTo`.
  int remove(std::uint64_t upTo);

 private:
  CCds& cds_;
  Kind kind_;
};

}  // namespace toolkit
