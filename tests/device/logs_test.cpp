// What a device keeps, on the test's own clock.
#include <SQLiteCpp/SQLiteCpp.h>

#include <map>
#include <optional>

#include "logs/deltas.h"
#include "logs/recorder.h"
#include "logs/trend_recorder.h"
#include "model_file.h"
#include "sandbox.h"

namespace trend = toolkit::trend;

namespace {

class DeviceLogs : public Sandbox {
 protected:
  timeval now_ = {1700000000, 250000};
};

// Events told: d(elta), s(ystem), q(uality), a(larm), p(lain). Done in between: . a step, r(estart
// of the program), b(oot of the device, which empties the stream), l(ocked alarm log), u(nlocked),
// w(orld: 990 deltas).
TEST_F(DeviceLogs, EachEventIsEnteredOnceWhateverHappens) {
  const std::map<char, std::pair<toolkit::event_type_t, const char*>> kinds = {
      {'d', {toolkit::EVENT_DELTA, "deadband.db"}}, {'s', {toolkit::EVENT_SYSTEM, "system.db"}},
      {'q', {toolkit::EVENT_QUALITY, "alarms.db"}}, {'a', {toolkit::EVENT_ALARM, "alarms.db"}},
      {'p', {toolkit::EVENT_PLAIN, "alarms.db"}},   {'w', {toolkit::EVENT_DELTA, "deadband.db"}}};
  for (const std::string course :
       {"das.qp.", "das.r.dr.", "ra.sd", "das.b.", "das.bdas.", "dasa.bdd.", "das.bdasdas.",
        "sa.brds.", "dddd.brda.r.", "ldas.a.u.", "sa.ld.a.u.b.", "a.w.w.w.s.ra", "sa.ldua.w.w.w.s.",
        "lw.a.w.u.", "a.w.qw.rs.w.r.", "la.w.w.u.r.", "aq.w.w.r.a.ws.w.b.", "qqa.bw.w.rq."}) {
    useStore(course);
    import({});
    std::optional<device::Recorder> recorder;
    ASSERT_TRUE(recorder.emplace(cds_).open(folder() / course));
    std::optional<SQLite::Database> holder;
    std::map<std::string, std::string> told;
    int number = 0;
    for (const char action : course + "u.") {
      if (action == '.') {
        EXPECT_TRUE(recorder->step() || holder) << course << recorder->lastError();
      } else if (action == 'b' || action == 'r') {
        if (action == 'b') {
          cds_.close();
          fs::remove_all(std::getenv("TOOLKIT_RUN"));
        }
        ASSERT_EQ(cds_.init(), 0);
        ASSERT_TRUE(recorder.emplace(cds_).open(folder() / course)) << recorder->lastError();
      } else if (action == 'l') {
        holder.emplace(file(course + "/alarms.db"), SQLite::OPEN_READWRITE).exec("BEGIN IMMEDIATE");
      } else if (action == 'u') {
        holder.reset();
      } else {
        std::vector<CEvent> events(action == 'w' ? 990 : 1);
        for (CEvent& event : events) {
          ++now_.tv_usec;
          event = makeEvent(kinds.at(action).first, "/A/Value", std::to_string(++number), now_);
          event.waveforms = {"http://a", event.message};
          told[kinds.at(action).second] += event.message + " ";
        }
        ASSERT_EQ(send(events), std::vector(events.size(), API_SUCCESS));
      }
    }
    EXPECT_EQ(recorder->takeMissed(), 0U) << course;
    for (const char* log : {"deadband.db", "alarms.db", "system.db"}) {
      const auto text = [](const CEvent& event) { return event.waveforms.at(1); };
      EXPECT_EQ(joined(eventsOf(course + "/" + log), text), told[log]) << course << log;
    }
  }
}

TEST_F(DeviceLogs, AFullDiskIsWaitedFor) {
  const SmallDisk disk(folder() / "logs");
  SKIP_UNLESS(disk.isMounted());
  import({});
  device::Recorder recorder(cds_);
  ASSERT_TRUE(recorder.open(folder() / "logs"));
  std::string told;
  int number = 0;
  const auto tell = [&] {
    for (int i = 0; i < 20; ++i) {
      CEvent alarm = makeEvent(toolkit::EVENT_ALARM, "", std::to_string(++number), now_);
      alarm.note = std::string(2000, 'x');
      told += alarm.message + " ";
      ASSERT_EQ(send({alarm}), std::vector{API_SUCCESS});
    }
  };
  for (int round = 0; round < 3; ++round) {
    tell();
    EXPECT_TRUE(recorder.step());
    const std::string filler = write("logs/filler", std::string(2 << 20, 'x'));
    for (int refused = 0; refused < 2; ++refused) {
      tell();
      EXPECT_FALSE(recorder.step());
    }
    fs::remove(filler);
    EXPECT_TRUE(recorder.step()) << recorder.lastError();
  }
  EXPECT_EQ(recorder.takeMissed(), 0U);
  EXPECT_EQ(joined(eventsOf("logs/alarms.db"), &CEvent::message), told);
}

TEST_F(DeviceLogs, EventsThatAreGoneBeforeTheyAreEnteredAreCounted) {
  import({});
  std::optional<device::Recorder> recorder;
  ASSERT_TRUE(recorder.emplace(cds_).open(folder()));
  const auto stepAfter = [&](std::size_t count, toolkit::event_type_t type) {
    EXPECT_EQ(send(std::vector(count, makeEvent(type, "/A/Value", "", now_))),
              std::vector(count, API_SUCCESS));
    return recorder->step();
  };
  EXPECT_TRUE(stepAfter(1, toolkit::EVENT_ALARM));
  EXPECT_TRUE(stepAfter(1500, toolkit::EVENT_DELTA));
  EXPECT_EQ(recorder->takeMissed(), 500U);
  EXPECT_EQ(recorder->takeMissed(), 0U);
  std::optional<SQLite::Database> holder;
  holder.emplace(file("alarms.db"), SQLite::OPEN_READWRITE).exec("BEGIN IMMEDIATE");
  EXPECT_FALSE(stepAfter(5, toolkit::EVENT_ALARM));
  EXPECT_FALSE(stepAfter(1200, toolkit::EVENT_ALARM));
  holder.reset();
  EXPECT_TRUE(stepAfter(1100, toolkit::EVENT_DELTA));
  EXPECT_EQ(recorder->takeMissed(), 305U) << "5 and 200 alarms, 100 deltas";
  recorder.reset();
  ASSERT_TRUE(recorder.emplace(cds_).open(folder()));
  EXPECT_TRUE(stepAfter(1300, toolkit::EVENT_DELTA));
  EXPECT_EQ(recorder->takeMissed(), 300U);
  EXPECT_EQ(eventsOf("alarms.db").size(), 1001U);
}

constexpr const char* kDevice = R"({"nodes": {
    "/D": {"NodeType": "Device", ".Quality": 192}, "/Else": {"Value": 1.5, ".Deadband": 0},
    "/D/V": {"Value": 230.0, ".Deadband": 0.5}, "/D/Zero": {"Value": 1, ".Deadband": 0},
    "/D/None": {"Value": 1.5}, "/D/Less": {"Value": 1.5, ".Deadband": -1},
    "/D/Text": {"Value": "a", ".Deadband": 0}, "/D/Bool": {"ValueType": "Boolean", "Value": false},
    "/D/Sub/State": {"ValueType": "Multistate", "Value": 1}}})";

// What is written, and what is told a second later. "?": by a store that refuses.
constexpr const char* kChanges =
    "?>|>/D/V=230 /D/Zero=1 |/D/V 230.5>|/D/V 229.5>|/D/V 230.51>/D/V=230.51 |/D/V 230.1>|"
    "/D/V 229.9>/D/V=229.9 |/D/V nan>/D/V=nan |/D/V nan>|/D/V 231>/D/V=231 |/D/Zero 1>|"
    "/D/Zero 2>/D/Zero=2 |/D/None 9>|/D/Less 9>|/D/Text b>|/Else 9>|/D/Bool 1>/D/Bool=true |"
    "/D/Bool 1>|?/D/Sub/State 0>|>/D/Sub/State=0 |/D/Sub/State 2>/D/Sub/State=2 |"
    "/D/.Quality 64>/D=64:64 |/D/V 240>/D/V=240:64 |"
    "/E:NodeType Device>/Software/System Settings/Configuration Changed=true ";

TEST_F(DeviceLogs, DeltasAreToldWhenAValueLeavesItsDeadband) {
  toolkit::admin::Model model;
  ASSERT_EQ(model_file::parse(kDevice, model), "");
  import(model.leaves);
  std::optional<CCds> cds(std::in_place);
  device::Deltas deltas(*cds);
  device::ValueReader values(*cds, {&deltas});
  const auto step = [&] { return values.read(now_) && deltas.step(values.leaves(), now_); };
  std::uint64_t last = 0;
  std::vector<std::string> course;
  CElement::split_string(course, kChanges, '|');
  for (const std::string& turn : course) {
    const std::string action = turn.substr(0, turn.find('>'));
    const bool refuses = action.starts_with("?");
    const std::string written = action.substr(refuses ? 1 : 0);
    if (!written.empty()) {
      const toolkit::CPath path = normalized(written.substr(0, written.find(' ')));
      CElement value(written.substr(written.find(' ') + 1));
      const CElement before = StoreTest::read(*cds, {path}).elements[0];
      if (before.type() != DATA_NONE) {
        value.convert_type(before.type());
      } else {
        now_.tv_sec += 10;
      }
      ASSERT_EQ(set(*cds, path.getNodePath() + ":" + path.getLeafName(), value), API_SUCCESS);
    }
    if (refuses) {
      cds->setReadOnly();
    }
    EXPECT_EQ(step(), !refuses) << action;
    cds.emplace();
    ++now_.tv_usec;
    EXPECT_EQ(step(), !refuses) << "it does not look before a second has passed";
    ++now_.tv_sec;
    std::string told;
    for (const auto& [number, event, ring] : events(*cds, last)) {
      last = number;
      const std::string quality = event.quality == 192 ? "" : ":" + std::to_string(event.quality);
      told += normalized(event.path).getNodePath() + "=" + event.value.to_string() + quality + " ";
      EXPECT_EQ(event.type == toolkit::EVENT_QUALITY, event.path == "/D/.Quality");
    }
    EXPECT_EQ(told, turn.substr(action.size() + 1)) << action;
  }
}

// Steps "seconds value" from 1200 on, and then the intervals of 60 s, with gaps of up to 40 s:
// "end percent min max avg actual".
constexpr std::pair<const char*, const char*> kIntervals[] = {
    {"0 1|30 2|60 6", "1200 0 1 1 1 1|1260 100 2 6 4 6"},
    {"15 1|45 3|75 9|119 9|121 0", "1260 75 1 3 2 3|1320 26.6667 9 9 9 9"},
    {"1 1|35 nan|61 2", "1260 98.3333 1 1 1 nan"},
    {"1 nan|35 nan|61 2", "1260 98.3333 nan nan nan nan"},
    {"30 1|71 2|100 2|121 2", "1260 0 1 1 1 1|1320 81.6667 2 2 2 2"},
    {"30 1|40 2|9000 3|9030 4|9060 5",
     "1260 16.6667 1 2 1.5 2|10200 0 3 3 3 3|10260 100 4 5 4.5 5"},
    {"30 1|40 2|-9000 3|-8970 4|-8940 5",
     "1260 16.6667 1 2 1.5 2|-7800 0 3 3 3 3|-7740 100 4 5 4.5 5"},
    {"5 1|40 2|20 1|59 3|61 0", "1260 100 1 3 1.75 3"}};

TEST_F(DeviceLogs, IntervalsKnowWhatWasMeasured) {
  for (const auto& [steps, expected] : kIntervals) {
    trend::CIntervals intervals(60, 40);
    std::vector<trend::CInterval> ended;
    std::istringstream words(steps);
    for (std::string second, value; words >> second && std::getline(words, value, '|');) {
      intervals.step({1200 + std::stol(second), 0}, {std::stod(value)}, ended);
    }
    std::ostringstream found;
    for (const trend::CInterval& interval : ended) {
      const trend::CTrend& trend = interval.trends.at(0);
      found << "|" << interval.end << " " << interval.percentValid << " " << trend.min << " "
            << trend.max << " " << trend.avg << " " << trend.actual;
    }
    EXPECT_EQ(found.str(), "|" + std::string(expected)) << steps;
  }
}

// Kept by "Old" and "P" before. The quality is bad in the second minute; nothing is taken until the
// end. A point that comes later is recorded too.
TEST_F(DeviceLogs, TrendsWaitForAFileThatIsHeldAndFindTheirPlaces) {
  const auto point = [](const std::string& path, const char* traits) {
    trend::CPoint point{"/D", {}};
    point.param.path = path;
    EXPECT_TRUE(trend::readTraits(traits, point.param));
    return point;
  };
  {
    trend::CPointFile file;
    ASSERT_TRUE(file.open(this->file("t")) &&
                file.setPoints({point("/D/Old", "actual"), point("/D/P", "Min;PowerFactor")}));
  }
  import({leaf("/D:NodeType", "Device"), leaf("/D/.Quality", 192), leaf("/D/Count", 7),
          leaf("/D/Count:.TrendTraits", "Actual"), leaf("/D/P", 0.5),
          leaf("/D/P:.TrendTraits", "Min;Max;Avg;Actual;PowerFactor"), leaf("/D/None", 1.5),
          leaf("/D/Text", "a")});
  device::PointList points(cds_);
  device::TrendRecorder recorder(points, 60);
  ASSERT_TRUE(recorder.open(file("t"))) << recorder.lastError();
  device::ValueReader values(cds_, {&recorder});
  const auto step = [&](std::int64_t minute) {
    const timeval now = {60 * minute, 0};
    return values.read(now) && recorder.step(values.leaves(), now);
  };
  EXPECT_TRUE(step(0) && step(1));
  std::optional<SQLite::Database> holder(std::in_place, file("t"), SQLite::OPEN_READWRITE);
  holder->exec("BEGIN IMMEDIATE");
  set("/D/.Quality", 0);
  EXPECT_FALSE(step(2));
  set("/D/.Quality", 192);
  for (std::int64_t minute = 3; minute <= 1000; ++minute) {
    step(minute);
  }
  holder.reset();
  EXPECT_TRUE(step(1000));
  const trend::CDeviceData data = snapshots("t", "/D", {{1}, {2}, {3}, {4}});
  ASSERT_EQ(data.samples.size(), device::TrendRecorder::kMaxPending + 5) << "5 were taken before";
  EXPECT_EQ(data.samples.back().time, 60000);
  std::ostringstream found;
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& [min, max, avg, actual] = data.samples.back().data.at(i);
    const auto& param = data.params.params.at(i);
    found << param.path << param.type << param.hasMin << " " << *min << " " << *actual << "|";
  }
  EXPECT_EQ(found.str(), "/D/Old00 nan nan|/D/P11 0.5 0.5|/D/Count00 nan 7|");
  set("/D/Text:.TrendTraits", "Max");
  EXPECT_TRUE(step(1002) && step(1003));
  EXPECT_EQ(snapshots("t", "/D", {{1}}).params.params.size(), 4U);
}

}  // namespace
