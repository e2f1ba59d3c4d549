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

namespace toolkit {

namespace {

using store::Table;

constexpr std::array<const char*, 2> kPrefixes = {"a", "e"};
constexpr std::array<const char*, 2> kLastKeys = {"last-acknowledgement", "last-event"};

// Big-endian, so that the keys sort by number.
std::string keyOf(CEventStream::Kind kind, std::uint64_t number) {
  std::string key = kPrefixes.at(kind);
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

std::uint64_t lastNumber(store::Transaction& transaction, CEventStream::Kind kind) {
  return numberOf(transaction.get(Table::kMeta, kLastKeys.at(kind)).value_or(std::string_view()));
}

// Number of the oldest entry, or of the next one when there is none.
std::uint64_t firstNumber(store::Transaction& transaction, CEventStream::Kind kind) {
  store::Range range(transaction, Table::kEvent, kPrefixes.at(kind));
  return range.next() ? numberOf(range.suffix()) : lastNumber(transaction, kind) + 1;
}

void append(store::WriteTransaction& live, CEventStream::Kind kind, const CEvent& event) {
  const std::uint64_t number = lastNumber(live, kind) + 1;
  const std::string key = keyOf(kind, number);
  live.put(Table::kEvent, key, store::encodeEvent(event));
  live.put(Table::kMeta, kLastKeys.at(kind), std::string_view(key).substr(1));
  if (kind == CEventStream::kEvents && number > CEventStream::kCapacity) {
    live.erase(Table::kEvent, keyOf(kind, number - CEventStream::kCapacity));
  }
}

}  // namespace

api_status_t enqueueEvent(store::WriteTransaction& live, const CEvent& event) {
  if (event.type != EVENT_ACKNOWLEDGE) {
    append(live, CEventStream::kEvents, event);
    return API_SUCCESS;
  }
  if (!store::nodeExists(live, "/Alarms/" + std::to_string(event.id))) {
    return API_NOT_FOUND;
  }
  constexpr auto kKind = CEventStream::kAcknowledgements;
  if (lastNumber(live, kKind) + 1 - firstNumber(live, kKind) >= CEventStream::kCapacity) {
    return API_STORE_FULL;
  }
  append(live, kKind, event);
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
  qel_QELtoUNIXtime64(qel_UTCtime64(), &event.time);
  api_status_t status = API_NONE;
  const int result = event_send(event, status);
  return result == 0 && status != API_SUCCESS ? API_FAILED : result;
}

int CEventStream::read(std::uint64_t after, std::vector<Entry>& entries) {
  entries.clear();
  if (cds_.handle() == nullptr) {
    return 1;
  }
  store::ReadTransaction transaction(cds_.handle()->live());
  if (lastNumber(transaction, kind_) > after) {
    store::Range range(transaction, Table::kEvent, kPrefixes.at(kind_));
    while (range.next()) {
      const std::uint64_t number = numberOf(range.suffix());
      if (auto event = number > after ? store::decodeEvent(range.value()) : std::nullopt) {
        entries.push_back({number, std::move(*event)});
      }
    }
  }
  if (transaction.status() != 0) {
    entries.clear();
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
  if (cds_.handle() == nullptr) {
    return 1;
  }
  const api_status_t status = cds_.handle()->write([&](store::Change& change) {
    change.removes();
    for (std::uint64_t number = firstNumber(change.live(), kind_);
         number <= std::min(upTo, lastNumber(change.live(), kind_)); ++number) {
      change.live().erase(Table::kEvent, keyOf(kind_, number));
    }
  });
  return status == API_SUCCESS ? 0 : 1;
}

}  // namespace toolkit
