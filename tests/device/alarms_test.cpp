// The alarms' way through the store, on the test's own clock.
#include "alarms/alarm_engine.h"

#include <set>

#include "model_file.h"
#include "store/transaction.h"
#include "store_fixture.h"

using device::AlarmEngine;
using toolkit::store::Environment;

namespace {

using Texts = std::vector<std::string>;

constexpr const char* kDevice = R"({"nodes": {
    "/Dev": {"NodeType": "Device"},
    "/Dev/AlarmsEnabled": {"Value": 1},
    "/Dev/V": {"Value": 230, ".AlarmEnable": 1, ".AlarmHighLimit": 250, ".AlarmHighHighLimit": 260,
               ".AlarmHysteresis": 2},
    "/Dev/Group/T": {"Value": 20, ".AlarmEnable": 1, ".AlarmLowLimit": 10, ".AlarmHysteresis": 2,
                     ".AutoClosing": 1, ".AlarmLowMsg": "Low", ".BasePriority": 5000},
    "/Dev/D": {"Value": 0, ".AlarmEnable": 1, ".AlarmHighLimit": 10, ".AlarmHysteresis": 2,
               ".AlarmDelay": 2, ".AlarmClearDelay": 2},
    "/Dev/Sub": {"NodeType": "Device"},
    "/Dev/Sub/W": {"Value": 1, ".AlarmEnable": 1, ".AlarmHighLimit": 5, ".AlarmClearDelay": 1},
    "/Dev/S": {"Value": 1, ".AlarmEnable": 1, ".AlarmOnValue": 2},
    "/Dev/Breaker": {"Value": 1, "PossibleValues": "Open;Closed;Tripped", ".AlarmEnable": 1,
                     ".AlarmOnValue": 2, ".LatchAlarm": 1}}})";

class Alarms : public ClientTest {
 protected:
  Alarms() { importDevice(); }

  void importDevice(const char* limit = "1000000") {
    toolkit::admin::Model model;
    ASSERT_EQ(model_file::parse(kDevice, model), "");
    setenv("TOOLKIT_STORE_LIMIT", limit, 1);
    import(model.leaves);
    start();
  }
  void start() {
    engine_ = std::make_unique<AlarmEngine>(cds_);
    values_ =
        std::make_unique<device::ValueReader>(cds_, std::vector<device::Watcher*>{engine_.get()});
  }
  static Texts split(const std::string& text, char separator) {
    Texts pieces;
    CElement::split_string(pieces, text, separator);
    return pieces;
  }
  bool step(int seconds = 1) {
    now_.tv_sec += seconds;
    return values_->read(now_) && engine_->step(values_->leaves(), seconds, now_);
  }
  // Paths begin at the device unless they are absolute.
  static std::string whole(const std::string& path) {
    return path[0] == '/' ? path : path[0] == ':' ? "/Dev" + path : "/Dev/" + path;
  }
  std::string text(const std::string& path) { return ClientTest::text(whole(path)); }
  std::set<std::uint64_t> numbers() {
    Texts children;
    normalized("/Alarms").getChildPaths(cds_, children);
    std::set<std::uint64_t> numbers;
    for (const std::string& child : children) {
      numbers.insert(device::alarmNumber(child));
    }
    numbers.erase(0);
    return numbers;
  }
  // "number: level condition sequence" of the newest alarm.
  std::string newest() {
    if (numbers().empty()) {
      return "none";
    }
    const std::string number = std::to_string(*numbers().rbegin());
    const std::string node = "/Alarms/" + number;
    return number + ": " + text(node + "/AlarmLevel") + " " + text(node + "/ConditionRaised") +
           " " + text(node + "/SequenceID");
  }
  // "V 251" writes a value, "rm /Dev/V" removes a node, "ack 1 note" acknowledges the newest alarm.
  void act(const std::string& action) {
    const Texts words = split(action, ' ');
    if (words[0] == "ack") {
      CEvent ack = makeEvent(toolkit::EVENT_ACKNOWLEDGE, "", "", CElement::_invalid_time);
      ack.id = *numbers().rbegin();
      ack.ack = std::stoi(words[1]);
      ack.note = words.size() > 2 ? words[2] : "";
      ack.source = "Web-Services: ann";
      send({ack});
    } else if (words[0] == "restart" || words[0] == "boot" || words[0] == "end") {
      if (words[0] == "end") {
        engine_->release();
      }
      if (words[0] != "restart") {
        toolkit::admin::boot();
      }
      start();
    } else if (words[0] == "rm") {
      remove(words[1]);
    } else {
      CElement number(words[1]);
      number.convert_type(DATA_REAL);
      set(whole(words[0]), number);
    }
  }

  timeval now_ = {1700000000, 250000};
  std::unique_ptr<AlarmEngine> engine_;
  std::unique_ptr<device::ValueReader> values_;
};

// What is done before each step ("&" between several things), and after each ">" the newest alarm
// or a leaf. No time passes with a removal.
const std::pair<const char*, const char*> kCourses[] = {
    {"by hand",
     "V 250>none|V 251>1: 1 true 1|V 248>1: 1 true 1|V 247.9>1: 2 false 2|V 250>1: 2 false 2|"
     "V 252>1: 1 true 3|ack 0|ack 1>1: 3 true 4|ack 1|ack 0>1: 1 true 5|ack 1|V nan>1: 3 true 6|"
     "V 230>1: 5 false 7|ack 1>1: 5 false 7"},
    {"delays, which go on in the band and not without a value",
     "D 11|D 11|D 7|D 11|D nan|D nan|D 9>none|D 9>1: 1 true 1|D 7|D 7|D 11|D 7|D 7>1: 1 true 1|"
     "D 11|D 9|restart>1: 1 true 1|D 7|D 7>1: 1 true 1|D 7>1: 2 false 2"},
    {"a state that is hit exactly", "S 2>1: 1 true 1|S 3>1: 2 false 2"},
    {"cleared first", "V 251|V 1|ack 0>1: 2 false 2|ack 1>1: 5 false 3"},
    {"notes", "V 251|ack 0 a>1: 1 true 2|ack 1>/Alarms/1/Note=a|ack 2|ack 1 c>/Alarms/1/Note=c"},
    {"no such status", "V 251|ack 3 x|ack -1 x>1: 1 true 1"},
    {"closing itself",
     "Group/T 10>none|Group/T 9>1: 1 true 1|Group/T 12>1: 1 true 1|Group/T 12.1>1: 5 false 2"},
    {"latched", "Breaker 2|Breaker 1>1: 1 true 1|restart>Breaker:InAlarm=true|ack 1>1: 5 false 2"},
    {"turned off", "V 251|AlarmsEnabled 0>1: 2 false 2|V 300>1: 2 false 2"},
    {"closed while it stands",
     "V 251|ack 2|V 252>1: 5 true 2|restart>1: 5 true 2|V 1|V 251>2: 1 true 1"},
    {"another limit", "V 230>none|V:.AlarmHighLimit 225>1: 1 true 1"},
    {"a limit gone",
     "V 251|V:.AlarmEnable 0>1: 5 false 2|V:.AlarmEnable 1|rm /Dev/V|Sub/W 1>2: 5 false 2"},
    {"a node gone", "V 251|rm /Dev/V>V:InAlarm=status 2"},
    {"a device below", "Sub/W 9|Sub/W 1>1: 1 true 1|Sub/W 1|AlarmsEnabled 0|Sub/W 9>1: 1 true 3"},
    {"taken over", "V 251|V 249|restart>1: 1 true 1|V 1|restart>1: 2 false 2|V 251>1: 1 true 3"},
    {"the value that raised it last", "V 251|V 1|V 255|V 256>/Alarms/1/SourceValue=255"},
    {"no number twice",
     "V 251|boot>none|V 251>101: 1 true 1|rm /Alarms/101|V 251>102: 1 true 1|end>none|"
     "V 251>103: 1 true 1"},
    {"behind somebody's node", "/Alarms/8:Else 1|V 251>9: 1 true 1"},
    {"two limits", "V 261>/Alarms/AlarmCount=2|ack 2>/Alarms/AlarmCount=1"},
    {"a message of its kind", "V 261>/Alarms/1/AlarmMsg=Value far too high"},
    {"of values that are not good",
     "V 251|:.Quality 64&V 1&Group/T 9>1: 1 true 1|ack 1>1: 3 true 2|"
     ":.Quality 216>2: 1 true 1>/Alarms/1/AlarmLevel=5"},
    {"told at the point",
     "V 251>V:InAlarm=true|V 1>V:InAlarm=false|V 251|V:.AlarmEnable 0>V:InAlarm=false"}};

TEST_F(Alarms, TakeTheirCourse) {
  for (const auto& [what, turns] : kCourses) {
    importDevice();
    for (const std::string& turn : split(turns, '|')) {
      const Texts parts = split(turn, '>');
      for (const std::string& action : split(parts[0], '&')) {
        act(action);
      }
      ASSERT_TRUE(step(turn.starts_with("rm") ? 0 : 1)) << cds_.last_error();
      for (std::size_t i = 1; i < parts.size(); ++i) {
        const std::string leaf = parts[i].substr(0, parts[i].find('='));
        EXPECT_EQ(leaf == parts[i] ? newest() : leaf + "=" + text(leaf), parts[i]) << what << turn;
      }
    }
  }
}

TEST_F(Alarms, TellEachChangeAsAnEvent) {
  act("Group/T 9");
  step();
  const CElement raised(now_);
  CElement value(9.0);
  value.set_time(now_);
  act("restart");
  act("ack 1 seen");
  step();
  const auto told = events();
  ASSERT_EQ(told.size(), 2U);
  for (const auto& [number, event, ring] : told) {
    EXPECT_EQ(std::tie(event.type, event.path, event.priority, event.severity, event.id,
                       event.sequence, event.message),
              std::tuple(toolkit::EVENT_ALARM, "/Dev/Group/T/Value", 5000,
                         toolkit::SEVERITY_CAUTION, 1U, number, "Low"));
    EXPECT_EQ(std::tuple(CElement(event.raised), event.value, event.condition, event.autoClosing),
              std::tuple(raised, value, true, true));
  }
  const auto changed = [](const CEvent& event) {
    return std::tuple(CElement(event.time), event.ack, event.variation, event.note, event.source);
  };
  EXPECT_EQ(changed(told[0].event), std::tuple(raised, toolkit::ACK_NOT_ACKED, 2, "", "devmon"));
  EXPECT_EQ(changed(told[1].event),
            std::tuple(CElement(now_), toolkit::ACK_ACKED, 1, "seen", "Web-Services: ann"));
}

TEST_F(Alarms, BreakersTellWhenTheyMove) {
  for (const char* action : {"Breaker 1", "Breaker 0", "Breaker 0", "Breaker 1"}) {
    act(action);
    step();
  }
  EXPECT_EQ(joined(events(), [](const auto& entry) { return entry.event.message + "."; }),
            "Circuit breaker opened. Circuit breaker closed. ");
}

TEST_F(Alarms, ClosedOnesGoAfterAMinuteAndAreAHundredAtMost) {
  for (int i = 0; i < 2 * 102; ++i) {
    act(i % 2 == 0 ? "Group/T 9" : "Group/T 13");
    step(0);
  }
  EXPECT_EQ(*numbers().begin(), 3U);
  act("Group/T 9");
  step(AlarmEngine::kKeepClosedSeconds - 1);
  EXPECT_EQ(numbers().size(), AlarmEngine::kMaxClosed + 1) << "one is not closed";
  step();
  EXPECT_EQ(numbers(), std::set<std::uint64_t>{103});
}

TEST_F(Alarms, AStoreThatRefusesIsNotRunAheadOf) {
  step();
  act("V 251");
  int i = 0;
  for (const std::size_t size : {5000, 1}) {
    const CElement filling(std::string(size, 'x'));
    while (set("/Fill/N" + std::to_string(i), filling) == API_SUCCESS) {
      ++i;
    }
  }
  EXPECT_FALSE(step());
  EXPECT_FALSE(step());
  act("rm /Fill");
  EXPECT_EQ(newest(), "none");
  EXPECT_TRUE(step());
  EXPECT_EQ(newest(), "1: 1 true 1");
  EXPECT_EQ(events().size(), 1U);
}

TEST_F(Alarms, DoNotWaitForAFlashThatIsFullAndHaveNoNumberTwice) {
  cds_.close();
  const SmallDisk disk(folder() / "flash");
  SKIP_UNLESS(disk.isMounted());
  setenv("TOOLKIT_STATE", (folder() / "flash").c_str(), 1);
  importDevice("4000000");
  EXPECT_TRUE(step());
  std::ofstream(folder() / "flash/filler") << std::string(2 << 20, 'x');
  // Keeps the file's free pages from being used again.
  ChildProcess reader([&] {
    std::string error;
    const auto persistent =
        Environment::open(folder() / "flash/persistent.mdb", Environment::Commits::kDurable,
                          Environment::IfMissing::kRefuse, error);
    const toolkit::store::ReadTransaction transaction(*persistent);
    return raise(SIGSTOP);
  });
  reader.awaitStop();
  for (int i = 0; i < 1000 && set("/X", i, PCD_TRUE) == API_SUCCESS; ++i) {
  }
  const auto raise = [&](std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i) {
      act("Group/T 9");
      ASSERT_TRUE(step());
      act("Group/T 13");
      ASSERT_TRUE(step());
    }
  };
  raise(1);
  EXPECT_EQ(newest(), "1: 5 false 2") << "at once";
  raise(AlarmEngine::kReserved + 2);
  EXPECT_NE(engine_->reservationError(), "");
  act("boot");
  raise(2);
  reader.kill();
  fs::remove(folder() / "flash/filler");
  raise(2);
  EXPECT_EQ(engine_->reservationError(), "");
  act("boot");
  raise(1);
  std::vector<std::uint64_t> given;
  for (const auto& entry : events()) {
    if (entry.event.sequence == 1) {
      given.push_back(entry.event.id);
    }
  }
  EXPECT_EQ(given.size(), AlarmEngine::kReserved + 8);
  EXPECT_TRUE(std::is_sorted(given.begin(), given.end(), std::less_equal<>()));
}

// A turn announces a record with a URL, so many seconds old and with these points, and acts; then
// the newest event has this URL.
TEST_F(Alarms, NameTheRecordThatWasAnnouncedOfTheirFall) {
  act("Group/T:.AlarmDelay 3");
  const std::tuple<std::string, int, Texts, const char*, const char*> turns[] = {
      {"/old", 60, {}, "Group/T 9", ""},
      {"", 0, {}, "Group/T 9", ""},
      {"", 0, {}, "Group/T 9", ""},
      {"", 0, {}, "Group/T 9", ""},
      {"", 0, {}, "Group/T 20", ""},
      {"/other", 0, {"V"}, "Group/T 9", ""},
      {"/a", 1, {"V", "Group/T"}, "V 1", ""},
      {"/b", 0, {}, "V 1", ""},
      {"", 0, {}, "V 1", "/a"},
      {"", 0, {}, "Group/T 20", "/a"},
      {"/c", 0, {}, "Group/T 9", "/a"},
      {"", 0, {}, "V 251", ""}};
  for (const auto& [url, age, points, action, expected] : turns) {
    if (!url.empty()) {
      toolkit::CLeafBatch batch(now_);
      announceRecord(batch, "/Dev", {url, {now_.tv_sec + 1 - age, 0}, points});
      EXPECT_EQ(batch.write(cds_, "a source"), API_SUCCESS);
    }
    act(action);
    EXPECT_TRUE(step());
    const auto told = events();
    const Texts named = told.empty() ? Texts() : told.back().event.waveforms;
    EXPECT_EQ(named.empty() ? "" : named[0], expected) << url << action;
  }
}

}  // namespace
