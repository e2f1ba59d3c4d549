// What the commands on the log databases share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>

#include "commands.h"

namespace log_commands {

template <typename Log>
void succeed(const Log& log, int result) {
  if (result != 0) {
    throw Failure(log.last_error());
  }
}

// The line, snapshot or other unit `number` (from 1) of the input is wrong.
[[noreturn]] inline void fail(const std::string& file, const char* unit, std::size_t number,
                              const std::string& error) {
  throw Failure(file + ": " + unit + " " + std::to_string(number) + ": " + error);
}

// To be called when there is no more input.
inline void requireWholeInput(const std::string& file) {
  if (std::ferror(stdin) != 0) {
    throw Failure(file + ": the standard input cannot be read");
  }
}

// Removes the rows at the end that have the time of the last one, and returns it.
template <typename Rows, typename TimeOf>
std::int64_t removeLastTime(Rows& rows, const TimeOf& timeOf) {
  const std::int64_t last = timeOf(rows.back());
  while (!rows.empty() && timeOf(rows.back()) == last) {
    rows.pop_back();
  }
  return last;
}

// Takes the first `max` rows that fetch(time, limit) gives, in an order of time, to `take`: a page
// at a time, so that a long log need not fit into memory. `time` is where the rows begin, if
// anywhere. A page ends where the time changes: the next one begins with a time, and no row is
// left out or comes twice when a writer adds and removes some meanwhile.
template <typename Fetch, typename TimeOf, typename Take>
void inPages(std::uint64_t max, const Fetch& fetch, const TimeOf& timeOf, const Take& take) {
  constexpr std::uint64_t kPage = 1000;
  constexpr std::uint64_t kMaxPage = std::numeric_limits<unsigned>::max();
  std::optional<std::int64_t> time;
  std::uint64_t page = kPage;
  bool more = true;
  while (more && max > 0) {
    const std::uint64_t limit = std::min({page, max, kMaxPage});
    auto rows = fetch(time, static_cast<unsigned>(limit));
    more = rows.size() == limit && limit < max;
    if (more) {
      const std::int64_t last = removeLastTime(rows, timeOf);
      page = rows.empty() ? page * 2 : kPage;
      time = rows.empty() ? time : last;
    }
    for (const auto& row : rows) {
      take(row);
    }
    max -= rows.size();
  }
}

}  // namespace log_commands
