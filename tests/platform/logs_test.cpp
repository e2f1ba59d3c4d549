// The log databases: what a reader gets, what a writer keeps, and files that are none.
#include <SQLiteCpp/SQLiteCpp.h>
#include <grp.h>
#include <sys/stat.h>

#include "store_fixture.h"
#include "toolkit/trend.h"

namespace {

using toolkit::CLog;
namespace trend = toolkit::trend;

CEvent eventAt(std::int64_t seconds, std::uint64_t id, const std::string& path = "/D/A/Value",
               int type = toolkit::EVENT_DELTA) {
  CEvent event = makeEvent(type, path, "", {seconds, 0});
  event.id = id;
  return event;
}

class Logs : public testing::Test {
 protected:
  std::string file() const { return folder_.path() / "log.db"; }
  int openWriter(CLog& log, unsigned capacity = 0) const {
    return log.openToWrite(file(), {.capacity = capacity});
  }
  int openReader(CLog& log) const { return log.openToRead(file()); }
  int openWriter(trend::CLog& log) const { return log.openToWrite(file(), {.waitMs = 40}); }
  int openReader(trend::CLog& log) const { return log.openToRead(file(), 40); }
  void write(const std::string& bytes) const { std::ofstream(file(), std::ios::binary) << bytes; }
  static int fill(CLog& log) { return log.append(std::vector<CEvent>(500, eventAt(1, 1))); }
  static int fill(trend::CLog& log) {
    std::vector<trend::CPeriodProperties> periods;
    for (std::uint32_t id = 1; id < 900; ++id) {
      periods.push_back({id, 1});
    }
    return log.set_periods(periods);
  }
  static int firstRead(CLog& log) {
    std::vector<CEvent> events;
    return log.retrieve(events, "", nullptr, nullptr, 1, false, false, 0);
  }
  static int firstRead(trend::CLog& log) {
    std::vector<trend::CPeriodProperties> periods;
    return log.get_periods(periods);
  }
  // The bytes of a log with some hundred rows, all of them in the file itself.
  template <class Log>
  std::string intactFile() const {
    Log log;
    EXPECT_EQ(openWriter(log), 0);
    EXPECT_EQ(fill(log), 0);
    log.close();
    SQLite::Database(file(), SQLite::OPEN_READWRITE).exec("PRAGMA journal_mode=DELETE");
    return contentsOf(file());
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(Logs, RetrieveChoosesByPathTypeAndNumber) {
  CLog log;
  ASSERT_EQ(openWriter(log), 0);
  ASSERT_EQ(log.append({eventAt(30, 3), eventAt(10, 1), eventAt(20, 2, "/D/AB/Value"),
                        eventAt(20, 9, "/D/A"), eventAt(40, 4, "/D/A/x", toolkit::EVENT_SYSTEM)}),
            0);
  const unsigned all = CLog::kNoMaximum;
  const std::tuple<const char*, unsigned, unsigned, const char*> kCases[] = {
      {"", all, 0, "4 3 9 2 1 "}, {"/", 0, 0, ""},      {"/D/A", all, 0, "4 3 9 1 "},
      {"/D/A/", 1, 0, "4 "},      {"/D/%", all, 0, ""}, {"D", all, 0, ""},
      {"", all, 256 | 8, "4 "}};
  for (const auto& [path, max, types, ids] : kCases) {
    std::vector<CEvent> events;
    EXPECT_EQ(log.retrieve(events, path, nullptr, nullptr, max, true, true, types), 0);
    const auto id = [](const CEvent& event) { return std::to_string(event.id); };
    EXPECT_EQ(joined(events, id), ids) << path << " " << max;
  }
}

TEST_F(Logs, APageSizeCountsForANewFileOnly) {
  for (const unsigned asked : {8192U, 1024U}) {
    CLog log;
    ASSERT_EQ(log.init(file(), 0, true, false, false, true, asked, 1 << 20, 8 << 20), 0);
    EXPECT_EQ(SQLite::Database(file()).execAndGet("PRAGMA page_size").getInt(), 8192);
  }
}

TEST_F(Logs, TheOldestGoWhenALogIsFullAndTheMarkStays) {
  CLog log;
  ASSERT_EQ(openWriter(log, 10), 0);
  CLog reader;
  ASSERT_EQ(openReader(reader), 0);
  const CLog::Marks marks[] = {{}, {{{7, {5, 250000}}, {9, {6, 0}}}}, {{{}, {12, {8, 0}}}}};
  for (std::uint64_t i = 1; i <= 25; ++i) {
    ASSERT_EQ(log.append({eventAt(static_cast<int>(i), i)}, marks[i < 3 ? i : 0]), 0);
  }
  const auto events = eventsOf(reader);
  ASSERT_EQ(events.size(), 10U);
  EXPECT_EQ(events.front().id, 16U);
  CLog::Marks found;
  EXPECT_EQ(reader.get_marks(found), 0);
  EXPECT_EQ(found[0].number, 7U);
  EXPECT_EQ(found[0].time.tv_usec, 250000);
  EXPECT_EQ(found[1].number, 12U);
  EXPECT_EQ(reader.append({eventAt(1, 1)}), toolkit::LOG_CLOSED);
  fs::remove(file());
  EXPECT_EQ(log.append({eventAt(1, 1)}), toolkit::LOG_MISSING) << "into a file that is gone";
}

TEST_F(Logs, TheOldestGoWhenALogHasTooManyBytes) {
  constexpr std::uint64_t kBytes = 400'000;
  CLog log;
  ASSERT_EQ(log.openToWrite(file(), {.maxBytes = kBytes}), 0);
  CEvent event = eventAt(1, 0);
  for (const std::size_t size : {100, 20'000, 1'000'000, 100}) {
    event.note = std::string(size, 'x');
    for (std::size_t bytes = 0; bytes < 3 * kBytes; bytes += size + 200) {
      ++event.id;
      ASSERT_EQ(log.append({event}), 0);
    }
    const auto events = eventsOf(log);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), event);
    EXPECT_EQ(events.front().id, event.id - events.size() + 1) << "none between is missing";
    EXPECT_LE(events.size() * size, std::max(kBytes, size));
    EXPECT_GE(2 * events.size() * (size + 200), std::min(kBytes, size)) << "no more than needed";
  }
  log.close();
  EXPECT_LE(fs::file_size(file()), 2'100'000U) << "what is free is used again";
}

TEST_F(Logs, TheGroupMayWriteThemWhateverTheUmask) {
  const std::string files[] = {file(), file() + "-wal", file() + "-shm"};
  const mode_t before = umask(0);
  for (const mode_t mask : {077U, 022U}) {
    umask(mask);
    fs::remove(file());
    CLog logs[2];
    for (CLog& log : logs) {  // the other finds files from before
      EXPECT_EQ(openWriter(log) + fill(log), 0);
      for (const std::string& path : files) {
        EXPECT_EQ(fs::status(path).permissions(), fs::perms(0660)) << path;
        fs::permissions(path, fs::perms(0640));
      }
    }
  }
  umask(before);
}

TEST_F(Logs, AnotherUserOfTheGroupGoesOn) {
  SKIP_UNLESS(geteuid() == 0);
  constexpr gid_t kGroup = 64100;
  const std::string folder = fs::path(file()).parent_path();
  ASSERT_EQ(chown(folder.c_str(), 0, kGroup), 0);
  ASSERT_EQ(chmod(folder.c_str(), 02770), 0);
  for (const uid_t user : {64101U, 64102U, 64101U}) {
    ChildProcess writer([&] {
      umask(077);
      if (setgroups(1, &kGroup) + setgid(user) + setuid(user) != 0) {
        return 99;
      }
      CLog log;
      const int result = openWriter(log);
      _exit(result != 0 ? result : fill(log));  // like a kill: the log is not closed
    });
    EXPECT_EQ(writer.wait(), 0) << user;
  }
  EXPECT_EQ(eventsOf(file()).size(), 1500U);
}

TEST_F(Logs, OneOfVersion1IsReadAndTakesWaveformsFromTheFirstAppendOn) {
  CLog log;
  ASSERT_EQ(openWriter(log) + fill(log), 0);
  SQLite::Database(file(), SQLite::OPEN_READWRITE)
      .exec("ALTER TABLE event DROP COLUMN waveforms; PRAGMA user_version=1");
  CLog reader;
  EXPECT_EQ(openReader(reader) + firstRead(reader), 0) << reader.last_error();
  CEvent named = eventAt(2, 2);
  named.waveforms = {"http://a/1", "http://a/2"};
  ASSERT_EQ(openWriter(log) + log.append({named}) + log.append({named}), 0) << log.last_error();
  const auto events = eventsOf(reader);
  EXPECT_TRUE(events.at(499).waveforms.empty());
  EXPECT_EQ(events.at(500).waveforms, named.waveforms);
}

// Each kind of damage, for both kinds of logs.
template <class Log>
class DamagedLogs : public Logs {};

using BothLogs = testing::Types<CLog, trend::CLog>;
TYPED_TEST_SUITE(DamagedLogs, BothLogs, );

TYPED_TEST(DamagedLogs, FailAtOnceUnlessTheyAreOnlyBusy) {
  TypeParam log;
  EXPECT_EQ(this->openReader(log), toolkit::LOG_MISSING);
  EXPECT_FALSE(fs::exists(this->file())) << "a reader makes no file";
  EXPECT_EQ(log.last_error(), this->file() + ": no such file");
  const std::string intact = this->template intactFile<TypeParam>();
  const std::pair<std::string, int> kCases[] = {
      {"", toolkit::LOG_FOREIGN},
      {intact.substr(0, 50), toolkit::LOG_FOREIGN},
      {intact.substr(0, 6000), toolkit::LOG_DAMAGED},
      {intact.substr(0, intact.size() - 4096), toolkit::LOG_DAMAGED},
      {std::string(9000, 'x'), toolkit::LOG_DAMAGED},
      {intact.substr(0, 100) + std::string(intact.size() - 100, '\7'), toolkit::LOG_DAMAGED},
      {intact, toolkit::LOG_OK}};
  for (const auto& [bytes, result] : kCases) {
    this->write(bytes);
    EXPECT_EQ(this->openReader(log), result) << bytes.size();
    EXPECT_EQ(this->firstRead(log), result == 0 ? 0 : toolkit::LOG_CLOSED);
    log.close();
  }

  ASSERT_EQ(this->openReader(log), 0);
  fs::remove(this->file());
  EXPECT_EQ(this->firstRead(log), toolkit::LOG_MISSING);
  this->write(intact);
  EXPECT_EQ(this->firstRead(log), 0) << "the file that has taken its place";

  SQLite::Database other(this->file(), SQLite::OPEN_READWRITE);
  other.exec("PRAGMA user_version=3");
  EXPECT_EQ(this->openReader(log), toolkit::LOG_FOREIGN);
  EXPECT_TRUE(contains(log.last_error(), "schema version 3 and not "));
  other.exec("PRAGMA user_version=1; PRAGMA application_id=7");
  EXPECT_EQ(this->openReader(log), toolkit::LOG_FOREIGN);
  other.exec("PRAGMA user_version=1; PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE");
  EXPECT_EQ(this->openReader(log), 0);
  EXPECT_EQ(this->firstRead(log), toolkit::LOG_BUSY);
  other.exec("COMMIT; PRAGMA locking_mode=NORMAL; SELECT * FROM sqlite_schema");
  EXPECT_EQ(this->firstRead(log), toolkit::LOG_FOREIGN) << "what it is was not checked before";
}

class Trends : public Logs {
 protected:
  Trends() {
    EXPECT_EQ(openWriter(log_), 0);
    EXPECT_EQ(log_.set_periods({{1, 100}, {2, 3}}), 0);
    EXPECT_EQ(log_.set_params({{"/D"}, {param("/D/a"), param("/D/b")}}), 0);
  }
  static trend::CParamProperties param(const char* path) {
    trend::CParamProperties result;
    result.path = path;
    return result;
  }
  static trend::CEntry entry(std::uint32_t period, std::int64_t time,
                             const std::vector<double>& averages, double valid = 100) {
    trend::CEntry result{"/D", {period, time, valid, {}}};
    for (const double average : averages) {
      result.snapshot.data.push_back({{}, {}, trend::COptVal(average), {}});
    }
    return result;
  }
  trend::CDeviceData get(const std::vector<trend::CPeriodProperties>& periods,
                         std::pair<std::int64_t, std::int64_t> range = {-1, -1},
                         unsigned max = trend::CLog::kNoMaximum, unsigned offset = 0,
                         bool ascending = true, bool completeOnly = false) {
    trend::CDeviceParams params{{"/D"}, {}};
    EXPECT_EQ(log_.get_params(params.device, params.params), 0);
    trend::CDeviceData data;
    EXPECT_EQ(
        log_.get_trend_data(data, params, periods, range, max, offset, ascending, completeOnly), 0)
        << log_.last_error();
    return data;
  }
  // "period@time " of each snapshot.
  static std::string keys(const trend::CDeviceData& data) {
    return joined(data.samples, [](const auto& snapshot) {
      return std::to_string(snapshot.period) + "@" + std::to_string(snapshot.time);
    });
  }

  trend::CLog log_;
};

TEST_F(Trends, AreMergedByTimeOverThePeriods) {
  ASSERT_EQ(log_.append({entry(2, 300, {1}), entry(1, 60, {1}), entry(1, 300, {2}, 50),
                         entry(1, 360, {3}), entry(2, 600, {4})}),
            0);
  const unsigned all = trend::CLog::kNoMaximum;
  EXPECT_EQ(keys(get({{2, 0}, {1, 0}, {2, 0}})), "1@60 1@300 2@300 1@360 2@600 ");
  EXPECT_EQ(keys(get({{1, 0}, {2, 0}}, {-1, -1}, 2, 1, false)), "1@360 2@300 ");
  EXPECT_EQ(keys(get({{1, 0}, {2, 0}}, {300, 360}, 9, 1)), "2@300 1@360 ");
  EXPECT_EQ(keys(get({{1, 0}}, {-1, -1}, all, 0, true, true)), "1@60 1@360 ");
  EXPECT_EQ(keys(get({{2, 0}}, {-1, 300})), "2@300 ");
  EXPECT_EQ(keys(get({{1, 0}}, {-1, -1}, 9, all)), "");
  EXPECT_EQ(keys(get({{3, 0}})), "");
}

TEST_F(Trends, AreBoundedAndEnteredWholeOrNotAtAll) {
  for (int i = 1; i <= 9; ++i) {
    ASSERT_EQ(log_.append({entry(2, i, {1.0 * i, 0.5})}), 0);
  }
  EXPECT_EQ(keys(get({{2, 0}})), "2@7 2@8 2@9 ");
  ASSERT_EQ(log_.append({entry(2, 9, {99})}), 0);
  EXPECT_EQ(keys(get({{2, 0}})), "2@7 2@8 2@9 ") << "one was replaced";

  trend::CEntry stranger = entry(1, 60, {1});
  stranger.device = "/E";
  EXPECT_NE(log_.append({entry(1, 60, {1}), stranger}), 0);
  EXPECT_NE(log_.append({entry(1, 60, {1}), entry(7, 60, {1})}), 0);
  EXPECT_EQ(keys(get({{1, 0}})), "");

  ASSERT_EQ(log_.set_params({{"/D"}, {param("/D/c"), param("/D/a")}}), 0);
  const trend::CDeviceData data = get({{2, 0}});
  ASSERT_EQ(data.params.params.size(), 3U);
  EXPECT_EQ(data.params.params[2].path, "/D/c");
  EXPECT_EQ(*data.samples[0].data[1].avg, 0.5);
  EXPECT_FALSE(data.samples[0].data[1].min.is_valid());
  EXPECT_EQ(*data.samples[2].data[0].avg, 99);
  EXPECT_FALSE(data.samples[2].data[1].avg.is_valid());
  EXPECT_FALSE(data.samples[0].data[2].avg.is_valid()) << "it came later than the snapshot";
}

}  // namespace
