// The platform's clock and time formats.
//
// A 64-bit time is microseconds since 1970-01-01 00:00:00 UTC, signed. Conversions are total: every
// value converts, and what the target cannot hold saturates.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <optional>
#include <utility>

// Now, as a 64-bit time.
std::int64_t qel_UTCtime64();
// Now, as the time stamps of the store's leaves are.
timeval qel_now();
// A time, now unless given, shifted by the offset that the zone of the process (TZ) has at it.
std::int64_t qel_Localtime64(std::int64_t utc = qel_UTCtime64());

// Names of the process's zone: its standard time's ("CET") and its daylight-saving time's ("CEST",
// or the standard one again in a zone that has none). Either may be null. They belong to the
// platform and stay.
std::pair<const char*, const char*> qel_GetLocalTimeZoneName();
// Whether daylight saving is in force now.
bool qel_IsDaylightSavings();

// Seconds of a clock that never jumps; the epoch is arbitrary.
std::int32_t qel_GetMonoTime();

std::int64_t qel_UNIXtoQELtime64(const timeval* unixTime);
// Microseconds of the result are 0 to 999999, also before 1970. Always returns 0.
int qel_QELtoUNIXtime64(std::int64_t time, timeval* unixTime);

// The same pair under the names of the value-writing code: now, and that as a timeval.
std::int64_t qel_UTCtime();
int qel_QELtoUNIXtime(std::int64_t time, timeval* unixTime);

namespace toolkit {

inline timeval presentTime() {
  timeval now = {};
  qel_QELtoUNIXtime64(qel_UTCtime64(), &now);
  return now;
}

inline double secondsBetween(timeval from, timeval to) {
  return static_cast<double>(to.tv_sec - from.tv_sec) +
         static_cast<double>(to.tv_usec - from.tv_usec) / 1e6;
}

// Whether so many seconds have passed since the last time, if there was one. A clock that was set
// back is no reason to wait.
inline bool isDue(const std::optional<timeval>& last, timeval now, double seconds) {
  const double age = last ? secondsBetween(*last, now) : seconds;
  return age < 0 || age >= seconds;
}

}  // namespace toolkit
