#include "history.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

namespace sim {

using toolkit::trend::CInterval;
using toolkit::trend::CIntervals;
using toolkit::trend::CPeriod;
using toolkit::trend::CPointFile;
using toolkit::trend::kPeriods;

namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kStepsAnInterval = 6;
// Of the shortest period that counts: this many intervals are in memory at once.
constexpr std::int64_t kIntervalsAChunk = 360;
constexpr std::size_t kEntriesAtOnce = 1000;

using Values = std::vector<double>;
using Times = std::array<std::int64_t, kPeriods.size()>;

// A part of the history that is made at once, from hour to hour but for the last one.
struct Chunk {
  std::int64_t start;
  std::int64_t end;
  std::int64_t step;
};

// What is to be made of one device and period: from <= time < until.
struct Wanted {
  std::int64_t from = 0;
  std::int64_t until = std::numeric_limits<std::int64_t>::max();
  // A value each: what a counter comes to at the end, and what is added to get there.
  Values last;
  Values shift;
};

struct Made {
  std::size_t period;
  CInterval interval;
};

std::int64_t floorTo(std::int64_t time, std::int64_t length) {
  return time - (time % length + length) % length;
}

// The oldest snapshot of each period.
Times oldestOf(int days, std::int64_t now) {
  Times times{};
  for (std::size_t i = 0; i < times.size(); ++i) {
    const auto& [id, seconds, maxEntries] = kPeriods.at(i);
    times.at(i) = std::max(floorTo(now, kHour) - days * kDay + seconds,
                           floorTo(now, seconds) - (maxEntries - 1) * seconds);
  }
  return times;
}

// Oldest first. The longer the shortest period that still counts, the longer the steps.
std::vector<Chunk> chunksOf(const Times& oldest, std::int64_t now) {
  std::vector<Chunk> chunks;
  std::int64_t end = floorTo(now, kPeriods[0].seconds);
  for (std::size_t i = 0; i < oldest.size(); ++i) {
    const std::int64_t length = kPeriods.at(i).seconds;
    const std::int64_t begin = floorTo(oldest.at(i) - length, kHour);
    while (end > begin) {
      const std::int64_t start = std::max(begin, floorTo(end - kIntervalsAChunk * length, kHour));
      chunks.push_back({start, end, length / kStepsAnInterval});
      end = start;
    }
  }
  std::reverse(chunks.begin(), chunks.end());
  return chunks;
}

class History {
 public:
  History(const Installation& installation, CPointFile& file, const std::function<bool()>& stop)
      : installation_(installation), file_(file), stop_(stop) {}

  bool run(Plant plant, int days, std::int64_t now);

 private:
  using Periods = std::array<Wanted, kPeriods.size()>;

  bool plan(const Times& oldest, const Values& present);
  static void goOnFrom(const CPointFile::Kept& kept, const CPeriod& period, Wanted& wanted);
  bool isWanted(const Chunk& chunk) const;
  std::vector<Plant> startsOf(const std::vector<Chunk>& chunks, Plant& plant) const;
  void shiftBy(const Values& present, const Values& end);
  std::vector<Made> make(const Chunk& chunk, Plant plant) const;
  bool enter(std::vector<Made>&& made);
  void prepare(Made& made, CPointFile::Entries& entries);
  void anchor(Wanted& wanted, std::size_t device, const CInterval& interval) const;
  void shift(const Wanted& wanted, std::size_t device, CInterval& interval) const;

  const Installation& installation_;
  CPointFile& file_;
  const std::function<bool()>& stop_;
  std::vector<Periods> wanted_;  // a device each
};

bool History::run(Plant plant, int days, std::int64_t now) {
  const Times oldest = oldestOf(days, now);
  std::vector<Chunk> chunks = chunksOf(oldest, now);
  const Values present = installation_.values(plant);
  if (!plan(oldest, present)) {
    return false;
  }
  chunks.erase(chunks.begin(), std::find_if(chunks.begin(), chunks.end(),
                                            [&](const Chunk& chunk) { return isWanted(chunk); }));
  if (chunks.empty()) {
    return true;
  }
  // More than a day makes it forget how it began, and the time of day at the end is the present
  // one.
  plant.step(static_cast<double>(2 * kDay - (now - chunks.front().start) % kDay));
  const std::vector<Plant> starts = startsOf(chunks, plant);
  shiftBy(present, installation_.values(plant));
  for (std::size_t i = chunks.size(); i-- > 0 && !stop_();) {
    if (isWanted(chunks[i]) && !enter(make(chunks[i], starts[i]))) {
      return false;
    }
  }
  return true;
}

// What the file has stays: only what is older is made, up to its values.
void History::goOnFrom(const CPointFile::Kept& kept, const CPeriod& period, Wanted& wanted) {
  wanted.from = std::max(wanted.from, kept.newest - (period.max_entries - 1) * period.seconds);
  wanted.until = kept.oldest;
  for (std::size_t k = 0; k < wanted.last.size(); ++k) {
    if (!std::isnan(kept.actuals[k])) {
      wanted.last[k] = kept.actuals[k];
    }
  }
}

bool History::plan(const Times& oldest, const Values& present) {
  for (std::size_t device = 0; device < file_.devices(); ++device) {
    const std::size_t first = file_.firstValue(device);
    const std::size_t end = file_.firstValue(device + 1);
    Periods& periods = wanted_.emplace_back();
    for (std::size_t i = 0; i < periods.size(); ++i) {
      Wanted& wanted = periods.at(i);
      std::optional<CPointFile::Kept> kept;
      if (!file_.read(device, kPeriods.at(i).id, kept)) {
        return false;
      }
      wanted.from = oldest.at(i);
      wanted.last.assign(present.begin() + static_cast<std::ptrdiff_t>(first),
                         present.begin() + static_cast<std::ptrdiff_t>(end));
      if (kept) {
        goOnFrom(*kept, kPeriods.at(i), wanted);
      }
    }
  }
  return true;
}

// Also where there is nothing but the snapshot that follows the wanted ones.
bool History::isWanted(const Chunk& chunk) const {
  return std::any_of(wanted_.begin(), wanted_.end(), [&](const Periods& periods) {
    return std::any_of(periods.begin(), periods.end(), [&](const Wanted& wanted) {
      return wanted.from < wanted.until && wanted.from <= chunk.end && wanted.until > chunk.start;
    });
  });
}

// The plant at the beginning of each chunk. It is at the end of the last one then.
std::vector<Plant> History::startsOf(const std::vector<Chunk>& chunks, Plant& plant) const {
  std::vector<Plant> starts;
  starts.reserve(chunks.size());
  for (const auto& [start, end, step] : chunks) {
    starts.push_back(plant);
    for (std::int64_t time = start; time < end && !stop_(); time += step) {
      plant.step(static_cast<double>(step));
    }
  }
  return starts;
}

void History::shiftBy(const Values& present, const Values& end) {
  for (std::size_t device = 0; device < wanted_.size(); ++device) {
    for (Wanted& wanted : wanted_[device]) {
      for (std::size_t i = file_.firstValue(device); i < file_.firstValue(device + 1); ++i) {
        wanted.shift.push_back(present[i] - end[i]);
      }
    }
  }
}

// What ends at a time, of the periods that are long enough for the step.
std::vector<Made> endedAt(std::int64_t time, std::int64_t step, const Values& values,
                          std::vector<CIntervals>& intervals) {
  std::vector<Made> made;
  for (std::size_t i = 0; i < intervals.size(); ++i) {
    if (kPeriods.at(i).seconds < kStepsAnInterval * step) {
      continue;
    }
    std::vector<CInterval> ended;
    intervals[i].step({time, 0}, values, ended);
    for (CInterval& interval : ended) {
      made.push_back({i, std::move(interval)});
    }
  }
  return made;
}

// Newest first. None when it was stopped.
std::vector<Made> History::make(const Chunk& chunk, Plant plant) const {
  std::vector<CIntervals> intervals;
  intervals.reserve(kPeriods.size());
  for (const CPeriod& period : kPeriods) {
    intervals.emplace_back(period.seconds, static_cast<double>(chunk.step));
  }
  std::vector<Made> made;
  for (std::int64_t time = chunk.start; time <= chunk.end; time += chunk.step) {
    if (stop_()) {
      return {};
    }
    if (time > chunk.start) {
      plant.step(static_cast<double>(chunk.step));
    }
    const Values values = installation_.values(plant);
    std::vector<Made> ended = endedAt(time, chunk.step, values, intervals);
    // What ends with the start is the chunk's before.
    if (time > chunk.start) {
      std::move(ended.begin(), ended.end(), std::back_inserter(made));
    }
  }
  std::reverse(made.begin(), made.end());
  return made;
}

// Adds the entries of those devices that want what was made.
void History::prepare(Made& made, CPointFile::Entries& entries) {
  auto& [period, interval] = made;
  for (std::size_t device = 0; device < wanted_.size(); ++device) {
    Wanted& wanted = wanted_[device].at(period);
    if (interval.end == wanted.until) {
      anchor(wanted, device, interval);
    }
    if (interval.end < wanted.from || interval.end >= wanted.until) {
      continue;
    }
    shift(wanted, device, interval);
    entries.push_back(
        file_.entryOf(device, kPeriods.at(period).id, interval, file_.firstValue(device)));
  }
}

bool History::enter(std::vector<Made>&& made) {
  CPointFile::Entries entries;
  for (Made& one : made) {
    prepare(one, entries);
    if (entries.size() < kEntriesAtOnce) {
      continue;
    }
    if (stop_()) {
      return true;
    }
    if (!file_.append(entries)) {
      return false;
    }
    entries.clear();
  }
  return entries.empty() || file_.append(entries);
}

void History::anchor(Wanted& wanted, std::size_t device, const CInterval& interval) const {
  for (std::size_t i = 0; i < wanted.shift.size(); ++i) {
    wanted.shift[i] = wanted.last[i] - interval.trends[file_.firstValue(device) + i].actual;
  }
}

void History::shift(const Wanted& wanted, std::size_t device, CInterval& interval) const {
  for (std::size_t i = 0; i < wanted.shift.size(); ++i) {
    const std::size_t index = file_.firstValue(device) + i;
    if (!file_.point(index).isCounter()) {
      continue;
    }
    double& actual = interval.trends[index].actual;
    actual = std::min(wanted.last[i], std::max(0.0, actual + wanted.shift[i]));
  }
}

}  // namespace

bool makeHistory(const Installation& installation, const Plant& plant, CPointFile& file, int days,
                 timeval now, const std::function<bool()>& stop) {
  return days == 0 || History(installation, file, stop).run(plant, days, now.tv_sec);
}

}  // namespace sim
