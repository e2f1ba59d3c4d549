#include <ctime>

#include "cds/watchdog.h"
#include "store/layout.h"
#include "store/store.h"
#include "toolkit/cds.h"
#include "toolkit/time.h"
#include "toolkit/watchdog.h"

namespace toolkit {

std::int64_t watchdogSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec;
}

// The table tells of running programs and not of the device: a read-only client pings too.
int CCds::watchdog_register(api_status_t& status, const std::string& name, int periodSeconds,
                            int action) {
  status = API_FAILED;
  if (store_ == nullptr) {
    return 1;
  }
  if (name.empty() || name.size() > store::kMaxKey) {
    status = API_BAD_PATH;
    return 0;
  }
  const std::string record = store::encodeWatchdog({periodSeconds, watchdogSeconds(), action});
  status = writeOwn(
      [&](store::Change& change) { change.live().put(store::Table::kWatchdog, name, record); });
  if (status == API_SUCCESS) {
    watchdogName_ = name;
  }
  return status == API_SUCCESS ? 0 : 1;
}

int CCds::watchdog_ping(api_status_t& status) {
  status = API_FAILED;
  if (store_ == nullptr) {
    return 1;
  }
  store_->clearStaleReaders();
  bool found = false;
  const api_status_t written = writeOwn([&](store::Change& change) {
    const auto bytes = watchdogName_.empty()
                           ? std::nullopt
                           : change.live().get(store::Table::kWatchdog, watchdogName_);
    auto record = bytes ? store::decodeWatchdog(*bytes) : std::nullopt;
    found = record.has_value();
    if (found) {
      record->lastPing = watchdogSeconds();
      change.live().put(store::Table::kWatchdog, watchdogName_, store::encodeWatchdog(*record));
    }
  });
  status = written == API_SUCCESS && !found ? API_NOT_FOUND : written;
  return written == API_SUCCESS ? 0 : 1;
}

int CCds::watchdog_clear(api_status_t& status) {
  status = API_FAILED;
  if (store_ == nullptr) {
    return 1;
  }
  if (watchdogName_.empty()) {
    status = API_NOT_FOUND;
    return 0;
  }
  status = writeOwn(
      [&](store::Change& change) { change.live().erase(store::Table::kWatchdog, watchdogName_); });
  if (status == API_SUCCESS) {
    watchdogName_.clear();
  }
  return status == API_SUCCESS ? 0 : 1;
}

CWatchdog::CWatchdog(CCds& cds, const std::string& name)
    : cds_(cds), name_(name), lastPing_(qel_GetMonoTime()) {
  api_status_t status = API_NONE;
  cds_.watchdog_register(status, name_, kOverdueSeconds, 0);
}

CWatchdog::~CWatchdog() {
  api_status_t status = API_NONE;
  cds_.watchdog_clear(status);
}

void CWatchdog::pingWhenDue() {
  const std::int32_t now = qel_GetMonoTime();
  if (now - lastPing_ >= kPingSeconds) {
    lastPing_ = now;
    api_status_t status = API_NONE;
    cds_.watchdog_ping(status);
    if (status == API_NOT_FOUND) {
      cds_.watchdog_register(status, name_, kOverdueSeconds, 0);
    }
  }
}

}  // namespace toolkit
