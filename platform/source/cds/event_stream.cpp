#include "toolkit/event_stream.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "cds/event_queue.h"
#include "store/layout.h"
#include "store/store.h"
#include "store/tree.h"
#include "toolkit/time.h"
#include "toolkit/utils.h"

namespace toolkit {

namespace {

using store::Table;

using Ring = CEventStream::Ring;

constexpr std::array<const char*, 2> kLastKeys = {"last-acknowledgement", "last-event"};
constexpr const char* kAcknowledgementPrefix = "a";
constexpr std::array<const char*, CEventStream::kRings> kRingPrefixes = {"e", "d"};
// Number of a ring's newest entry that is gone.
constexpr std::array<const char*, CEventStream::kRings> kGoneKeys = {"gone-event", "gone-change"};
// How many entries the ring of changes has had; all others went into the other one.
constexpr const char* kChangesKey = "changes";

// Big-endian, so that the keys sort by number.
std::string keyOf(std::string_view prefix, std::uint64_t number) {
  std::string key(prefix);
  for (int shift = 56; shift >= 0; shift -= 8) {
    key += static_cast<char>(number >> shift);
  }
  return key;
}

std::uint64_t numberOf(std::string_view suffix) {
  std::uint64_t number = 0;
  for (const char c : suffix) {
    number = number << 8 | static_cast<unsigned char>(c);
  }
  return number;
}

std::uint64_t metaNumber(store::Transaction& transaction, const char* key) {
  return numberOf(transaction.get(Table::kMeta, key).value_or(std::string_view()));
}

void putMetaNumber(store::WriteTransaction& live, const char* key, std::uint64_t number) {
  live.put(Table::kMeta, key, keyOf({}, number));
}

std::uint64_t lastNumber(store::Transaction& transaction, CEventStream::Kind kind) {
  return metaNumber(transaction, kLastKeys.at(kind));
}

// Number of the oldest entry; 0 when there is none.
std::uint64_t firstNumber(store::Transaction& transaction, const char* prefix) {
  store::Range range(transaction, Table::kEvent, prefix);
  return range.next() ? numberOf(range.suffix()) : 0;
}

Ring ringOf(const CEvent& event) {
  return event.type == EVENT_DELTA || event.type == EVENT_QUALITY ? CEventStream::kChangeRing
                                                                  : CEventStream::kEventRing;
}

void appendEvent(store::WriteTransaction& live, const CEvent& event) {
  const Ring ring = ringOf(event);
  const char* const prefix = kRingPrefixes.at(ring);
  const std::uint64_t number = lastNumber(live, CEventStream::kEvents) + 1;
  std::uint64_t count = metaNumber(live, kChangesKey);
  if (ring == CEventStream::kChangeRing) {
    putMetaNumber(live, kChangesKey, ++count);
  } else {
    count = number - count;
  }
  if (count > CEventStream::kCapacity) {
    const std::uint64_t oldest = firstNumber(live, prefix);
    live.erase(Table::kEvent, keyOf(prefix, oldest));
    putMetaNumber(live, kGoneKeys.at(ring), oldest);
  }
  live.put(Table::kEvent, keyOf(prefix, number), store::encodeEvent(event));
  putMetaNumber(live, kLastKeys.at(CEventStream::kEvents), number);
}

api_status_t appendAcknowledgement(store::WriteTransaction& live, const CEvent& event) {
  if (!store::nodeExists(live, "/Alarms/" + std::to_string(event.id))) {
    return API_NOT_FOUND;
  }
  const std::uint64_t number = lastNumber(live, CEventStream::kAcknowledgements) + 1;
  const std::uint64_t first = firstNumber(live, kAcknowledgementPrefix);
  if (first != 0 && number - first >= CEventStream::kCapacity) {
    return API_STORE_FULL;
  }
  live.put(Table::kEvent, keyOf(kAcknowledgementPrefix, number), store::encodeEvent(event));
  putMetaNumber(live, kLastKeys.at(CEventStream::kAcknowledgements), number);
  return API_SUCCESS;
}

// Takes the entries after number `after` of one run of keys. Returns their number, readable or not.
std::uint64_t collect(store::Transaction& transaction, const char* prefix, Ring ring,
                      std::uint64_t after, std::vector<CEventStream::Entry>& entries) {
  store::Range range(transaction, Table::kEvent, prefix);
  std::uint64_t count = 0;
  while (range.next()) {
    const std::uint64_t number = numberOf(range.suffix());
    if (number <= after) {
      continue;
    }
    ++count;
    if (auto event = store::decodeEvent(range.value())) {
      entries.push_back({number, std::move(*event), ring});
    }
  }
  return count;
}

// How many of a ring are gone, when some are that came after number `after`.
std::uint64_t goneAfter(store::Transaction& transaction, Ring ring, std::uint64_t after) {
  const std::uint64_t changes = metaNumber(transaction, kChangesKey);
  const std::uint64_t count = ring == CEventStream::kChangeRing
                                  ? changes
                                  : lastNumber(transaction, CEventStream::kEvents) - changes;
  if (count <= CEventStream::kCapacity) {
    return 0;
  }
  const bool isNoted = transaction.contains(Table::kMeta, kGoneKeys.at(ring));
  const std::uint64_t gone = isNoted ? metaNumber(transaction, kGoneKeys.at(ring))
                                     : firstNumber(transaction, kRingPrefixes.at(ring)) - 1;
  return gone > after ? count - CEventStream::kCapacity : 0;
}

CEventStream::Missed collectEvents(store::Transaction& transaction, std::uint64_t after,
                                   std::vector<CEventStream::Entry>& entries) {
  CEventStream::Missed missed;
  std::uint64_t held = collect(transaction, kRingPrefixes[CEventStream::kEventRing],
                               CEventStream::kEventRing, after, entries);
  const auto events = static_cast<std::ptrdiff_t>(entries.size());
  held += collect(transaction, kRingPrefixes[CEventStream::kChangeRing], CEventStream::kChangeRing,
                  after, entries);
  std::inplace_merge(entries.begin(), entries.begin() + events, entries.end(),
                     [](const auto& a, const auto& b) { return a.number < b.number; });
  missed.all = lastNumber(transaction, CEventStream::kEvents) - after - held;
  missed.events = std::min(missed.all, goneAfter(transaction, CEventStream::kEventRing, after));
  missed.changes = std::min(missed.all, goneAfter(transaction, CEventStream::kChangeRing, after));
  return missed;
}

// A number or a state is never as long.
void cutValue(CElement& value) {
  std::string text = value.type() == DATA_STRING ? value.to_string() : std::string();
  if (text.size() > CEventStream::kMaxText) {
    const timeval time = value.time();
    cutText(text, CEventStream::kMaxText);
    value = CElement(std::move(text));
    value.set_time(time);
  }
}

CEvent bounded(CEvent event) {
  for (std::string* text : {&event.path, &event.note, &event.source, &event.message}) {
    cutText(*text, CEventStream::kMaxText);
  }
  cutValue(event.value);
  std::size_t bytes = 0;
  std::erase_if(event.waveforms, [&](const std::string& url) {
    bytes += url.size();
    return bytes > CEventStream::kMaxText;
  });
  return event;
}

}  // namespace

api_status_t enqueueEvent(store::WriteTransaction& live, const CEvent& whole) {
  const CEvent event = bounded(whole);
  if (event.type == EVENT_ACKNOWLEDGE) {
    return appendAcknowledgement(live, event);
  }
  appendEvent(live, event);
  return API_SUCCESS;
}

int CCds::events_send(const std::vector<CEvent>& events, std::vector<api_status_t>& statuses) {
  statuses.assign(events.size(), API_FAILED);
  std::vector<api_status_t> outcomes(events.size(), API_FAILED);
  api_status_t status = API_NONE;
  const int result = change(true, status, [&](store::Change& change) {
    for (std::size_t i = 0; i < events.size(); ++i) {
      outcomes[i] = enqueueEvent(change.live(), events[i]);
    }
    return API_SUCCESS;
  });
  if (status == API_SUCCESS) {
    statuses = outcomes;
  } else {
    statuses.assign(events.size(), status);
  }
  return result;
}

int CCds::syslog_add(const std::string& message, syslog_severity_t severity,
                     const std::string& source, const std::string& path) {
  CEvent event;
  event.type = EVENT_SYSTEM;
  event.path = path;
  event.severity = severity;
  event.source = source;
  event.message = message;
  event.time = qel_now();
  api_status_t status = API_NONE;
  const int result = event_send(event, status);
  return result == 0 && status != API_SUCCESS ? API_FAILED : result;
}

int CEventStream::read(std::uint64_t after, std::vector<Entry>& entries) {
  Missed missed;
  return read(after, entries, missed);
}

int CEventStream::read(std::uint64_t after, std::vector<Entry>& entries, Missed& missed) {
  entries.clear();
  missed = {};
  if (cds_.handle() == nullptr) {
    return 1;
  }
  store::ReadTransaction transaction(cds_.handle()->live());
  if (lastNumber(transaction, kind_) > after) {
    if (kind_ == kEvents) {
      missed = collectEvents(transaction, after, entries);
    } else {
      collect(transaction, kAcknowledgementPrefix, kEventRing, after, entries);
    }
  }
  if (transaction.status() != 0) {
    entries.clear();
    missed = {};
    return 1;
  }
  return 0;
}

int CEventStream::last(std::uint64_t& number) {
  number = 0;
  if (cds_.handle() == nullptr) {
    return 1;
  }
  store::ReadTransaction transaction(cds_.handle()->live());
  number = lastNumber(transaction, kind_);
  return transaction.status() == 0 ? 0 : 1;
}

int CEventStream::remove(std::uint64_t upTo) {
  if (cds_.handle() == nullptr || kind_ != kAcknowledgements) {
    return 1;
  }
  const api_status_t status = cds_.handle()->write([&](store::Change& change) {
    change.removes();
    const std::uint64_t first = firstNumber(change.live(), kAcknowledgementPrefix);
    for (std::uint64_t number = first;
         first != 0 && number <= std::min(upTo, lastNumber(change.live(), kind_)); ++number) {
      change.live().erase(Table::kEvent, keyOf(kAcknowledgementPrefix, number));
    }
  });
  return status == API_SUCCESS ? 0 : 1;
}

}  // namespace toolkit
