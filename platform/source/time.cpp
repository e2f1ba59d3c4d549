#include "toolkit/time.h"

#include <ctime>
#include <limits>

namespace {

constexpr std::int64_t kMicroseconds = 1000000;

std::int64_t saturatingSum(std::int64_t a, std::int64_t b) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) {
    return sum;
  }
  using Limits = std::numeric_limits<std::int64_t>;
  return b < 0 ? Limits::min() : Limits::max();
}

std::int64_t saturatingMicroseconds(std::int64_t seconds) {
  std::int64_t product = 0;
  if (!__builtin_mul_overflow(seconds, kMicroseconds, &product)) {
    return product;
  }
  using Limits = std::numeric_limits<std::int64_t>;
  return seconds < 0 ? Limits::min() : Limits::max();
}

// In the process's zone. Empty where the year is beyond what `tm` holds.
tm localAt(std::time_t time) {
  tm local = {};
  tzset();
  localtime_r(&time, &local);
  return local;
}

tm localNow() {
  return localAt(std::time(nullptr));
}

}  // namespace

std::int64_t qel_UTCtime64() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * kMicroseconds + now.tv_nsec / 1000;
}

timeval qel_now() {
  timeval now = {};
  qel_QELtoUNIXtime64(qel_UTCtime64(), &now);
  return now;
}

std::int64_t qel_Localtime64(std::int64_t utc) {
  timeval time = {};
  qel_QELtoUNIXtime64(utc, &time);
  return saturatingSum(utc, localAt(time.tv_sec).tm_gmtoff * kMicroseconds);
}

std::pair<const char*, const char*> qel_GetLocalTimeZoneName() {
  // The zone's present names: the C library's own pair may hold those of another year.
  const tm local = localNow();
  return local.tm_isdst > 0 ? std::pair<const char*, const char*>(tzname[0], local.tm_zone)
                            : std::pair<const char*, const char*>(local.tm_zone, tzname[1]);
}

bool qel_IsDaylightSavings() {
  return localNow().tm_isdst > 0;
}

std::int32_t qel_GetMonoTime() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int32_t>(now.tv_sec);
}

std::int64_t qel_UNIXtoQELtime64(const timeval* unixTime) {
  std::int64_t seconds = unixTime->tv_sec;
  std::int64_t micros = unixTime->tv_usec;
  if (seconds < 0 && micros > 0) {
    // The whole second below the earliest time is out of range, and the sum is not.
    ++seconds;
    micros -= kMicroseconds;
  }
  return saturatingSum(saturatingMicroseconds(seconds), micros);
}

int qel_QELtoUNIXtime64(std::int64_t time, timeval* unixTime) {
  unixTime->tv_sec = time / kMicroseconds;
  unixTime->tv_usec = time % kMicroseconds;
  if (unixTime->tv_usec < 0) {
    unixTime->tv_usec += kMicroseconds;
    --unixTime->tv_sec;
  }
  return 0;
}

std::int64_t qel_UTCtime() {
  return qel_UTCtime64();
}

int qel_QELtoUNIXtime(std::int64_t time, timeval* unixTime) {
  return qel_QELtoUNIXtime64(time, unixTime);
}
