// The alarms' way through the store, on the test's own clock.
#include "alarm_engine.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <random>

#include "store_fixture.h"

using sim::AlarmEngine;
using toolkit::CElement;
using toolkit::CEvent;
using toolkit::CEventStream;

namespace {

using Texts = std::vector<std::string>;

class Alarms : public StoreTest {
 protected:
  Alarms() { importDevice(); }

  void importDevice() {
    std::vector<toolkit::admin::ModelLeaf> leaves;
    for (const auto& [node, settings] : std::initializer_list<std::pair<const char*, const char*>>{
             {"/Dev", "NodeType=Device"},
             {"/Dev/AlarmsEnabled", "Value=1"},
             {"/Dev/V",
              "Value=230 .AlarmEnable=1 .AlarmHighLimit=250 .AlarmHighHighLimit=260 "
              ".AlarmHysteresis=2 .AlarmHighMsg=High .BasePriority=5000"},
             {"/Dev/Group/T", "Value=20 .AlarmEnable=1 .AlarmLowLimit=10 .AutoClosing=1"},
             {"/Dev/Sub", "NodeType=Device"},
             {"/Dev/Sub/W", "Value=1 .AlarmEnable=1 .AlarmHighLimit=5 .AlarmClearDelay=1"},
             {"/Dev/Off", "Value=999 .AlarmHighLimit=1"},
             {"/Dev/Breaker",
              "Value=1 PossibleValues=Open;Closed;Tripped .AlarmEnable=1 "
              ".AlarmOnValue=2 .LatchAlarm=1"}}) {
      for (const std::string& setting : split(settings, ' ')) {
        const Texts pair = split(setting, '=');
        CElement element(pair[1]);
        if (std::isdigit(pair[1][0]) != 0) element.convert_type(DATA_INTEGER);
        leaves.push_back(leaf(node, pair[0], element));
      }
    }
    import(std::move(leaves));
    ASSERT_EQ(cds_.init(), 0) << cds_.last_error();
    engine_ = std::make_unique<AlarmEngine>(cds_);
  }
  static Texts split(const std::string& text, char separator) {
    Texts pieces;
    CElement::split_string(pieces, text, separator);
    return pieces;
  }

  bool step(int seconds = 1) {
    now_.tv_sec += seconds;
    return engine_->step(seconds, now_);
  }
  std::string text(const std::string& path) { return StoreTest::text(cds_, path); }
  std::vector<std::uint64_t> numbers() {
    Texts children;
    normalized("/Alarms").getChildPaths(cds_, children);
    std::vector<std::uint64_t> numbers;
    for (const std::string& child : children) numbers.push_back(sim::alarmNumber(child));
    std::erase(numbers, 0U);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
  }
  // "level condition sequence note" of an alarm.
  std::string row(std::uint64_t number) {
    const std::string node = "/Alarms/" + std::to_string(number);
    const std::string note = text(node + "/Note");
    return text(node + "/AlarmLevel") + " " + text(node + "/ConditionRaised") + " " +
           text(node + "/SequenceID") + (note.empty() ? "" : " " + note);
  }
  // That of the newest one, its number before it.
  std::string newest() {
    return numbers().empty() ? "none"
                             : std::to_string(numbers().back()) + ": " + row(numbers().back());
  }
  api_status_t acknowledge(std::uint64_t number, std::int32_t ack, const std::string& note = "") {
    CEvent event;
    event.type = toolkit::EVENT_ACKNOWLEDGE;
    event.id = number;
    event.ack = ack;
    event.note = note;
    event.source = "Web-Services: ann";
    api_status_t status = API_NONE;
    cds_.event_send(event, status);
    return status;
  }
  // "V 251" writes a value below the device, "rm /Dev/V" removes a node, "ack 1 note" acknowledges
  // the newest alarm.
  void act(const std::string& action) {
    const Texts words = split(action, ' ');
    api_status_t status = API_NONE;
    if (words[0] == "ack") {
      acknowledge(numbers().back(), std::stoi(words[1]), words.size() > 2 ? words[2] : "");
    } else if (words[0] == "restart") {
      engine_ = std::make_unique<AlarmEngine>(cds_);
    } else if (words[0] == "boot") {
      EXPECT_EQ(toolkit::admin::boot(), "");
    } else if (words[0] == "rm") {
      cds_.remove_node(words[1], status, "test");
    } else {
      CElement value(words[1]);
      value.convert_type(words[0] == "V" ? DATA_REAL : DATA_INTEGER);
      set(cds_, (words[0][0] == '/' ? "" : "/Dev/") + words[0], value);
    }
  }
  // What has come since the last call.
  std::vector<CEvent> events() {
    std::vector<CEventStream::Entry> entries;
    CEventStream(cds_, CEventStream::kEvents).read(seen_, entries);
    std::vector<CEvent> events;
    events.reserve(entries.size());
    for (const auto& entry : entries) events.push_back(entry.event);
    seen_ += entries.size();
    return events;
  }

  toolkit::CCds cds_;
  timeval now_ = {1700000000, 250000};
  std::unique_ptr<AlarmEngine> engine_;
  std::uint64_t seen_ = 0;
};

// What is done before each step, and the newest alarm after it.
struct Course {
  const char* what;
  const char* turns;
};

const Course kCourses[] = {
    {"by hand",
     "V 251>1: 1 true 1|V 249>1: 1 true 1|V 247>1: 2 false 2|V 252>1: 1 true 3|"
     "ack 0>1: 1 true 3|ack 1>1: 3 true 4|ack 1>1: 3 true 4|ack 0>1: 1 true 5|"
     "ack 1>1: 3 true 6|V nan>1: 3 true 6|V 230>1: 5 false 7|ack 1>1: 5 false 7"},
    {"cleared first", "V 251>1: 1 true 1|V 1>1: 2 false 2|ack 0>1: 2 false 2|ack 1>1: 5 false 3"},
    {"notes",
     "V 251>1: 1 true 1|ack 0 a>1: 1 true 2 a|ack 1>1: 3 true 3 a|ack 2 b>1: 5 true 4 b|"
     "ack 1 c>1: 5 true 4 c"},
    {"no such status", "V 251>1: 1 true 1|ack 3 x>1: 1 true 1|ack -1 x>1: 1 true 1"},
    {"closing itself", "Group/T 9>1: 1 true 1|Group/T 11>1: 5 false 2"},
    {"latched",
     "Breaker 2>1: 1 true 1|Breaker 1>1: 1 true 1|restart>1: 1 true 1|"
     "ack 1>1: 5 false 2|Breaker 2>2: 1 true 1"},
    {"latched, in time", "Breaker 2>1: 1 true 1|ack 1>1: 3 true 2|Breaker 0>1: 5 false 3"},
    {"turned off",
     "V 251>1: 1 true 1|AlarmsEnabled 0>1: 2 false 2|V 300>1: 2 false 2|"
     "restart>1: 2 false 2"},
    {"closed while it stands",
     "V 251>1: 1 true 1|ack 2>1: 5 true 2|V 252>1: 5 true 2|"
     "restart>1: 5 true 2|V 1>1: 5 true 2|V 251>2: 1 true 1"},
    {"other limits",
     "V 230>none|V:.AlarmHighLimit 225>1: 1 true 1|"
     "V:.AlarmEnable 0>1: 5 false 2|V:.AlarmEnable 1>2: 1 true 1|"
     "rm /Dev/V>2: 5 false 2"},
    {"of a device below",
     "Sub/W 9>1: 1 true 1|Sub/W 1>1: 1 true 1|Sub/W 1>1: 2 false 2|AlarmsEnabled 0>1: 2 false 2|"
     "Sub/W 9>1: 1 true 3"},
    {"taken over",
     "V 251>1: 1 true 1|restart>1: 1 true 1|V 1>1: 2 false 2|"
     "restart>1: 2 false 2|V 251>1: 1 true 3"},
    {"no number twice",
     "V 251>1: 1 true 1|boot>none|restart>none|V 251>2: 1 true 1|rm /Alarms/2>3: 1 true 1|"
     "restart>3: 1 true 1"},
    {"behind somebody's node",
     "V 230>none|/Alarms/8:Else 1>8: status 2 status 2 status 2 status 2|V 251>9: 1 true 1"},
};

TEST_F(Alarms, TakeTheirCourse) {
  for (const Course& course : kCourses) {
    importDevice();
    for (const std::string& turn : split(course.turns, '|')) {
      const Texts pair = split(turn, '>');
      act(pair[0]);
      ASSERT_TRUE(step()) << cds_.last_error();
      EXPECT_EQ(newest(), pair[1]) << course.what << ": " << pair[0];
    }
  }
  for (const char* action : {"V 1", "V 255"}) {
    act(action);
    step();
  }
  EXPECT_EQ(text("/Alarms/9/SourceValue"), "255") << "what crossed when it came back";
  for (const auto& [enabled, inAlarm] : {std::pair("0", "false"), {"1", "true"}}) {
    act(std::string("V:.AlarmEnable ") + enabled);
    step();
    EXPECT_EQ(text("/Dev/V:InAlarm"), inAlarm);
  }
  act("rm /Dev/V");
  step(0);
  EXPECT_FALSE(cds_.node_exists("/Dev/V")) << "and not made again";
}

TEST_F(Alarms, StandInTheStoreAsTheyWereRaised) {
  step();
  EXPECT_EQ(text("/Alarms/AlarmCount") + text("/Alarms/AlarmCountTotal"), "00");
  EXPECT_EQ(text("/Dev/V:InAlarm"), "false");
  EXPECT_EQ(text("/Dev/Off:InAlarm"), "status 2");
  set(cds_, "/Dev/V", CElement(261.5));
  step();
  constexpr std::array kTypes = {DATA_STRING,    DATA_REAL,   DATA_STRING,  DATA_STRING,
                                 DATA_STRING,    DATA_STRING, DATA_INTEGER, DATA_INTEGER,
                                 DATA_INTEGER64, DATA_BOOLEAN};
  const Read read = StoreTest::read(
      cds_, {"/Alarms/1/SourcePath", "/Alarms/1/SourceValue", "/Alarms/1/AlarmMsg",
             "/Alarms/1/Limit", "/Alarms/1/Note", "/Alarms/2/AlarmMsg", "/Alarms/2/SequenceID",
             "/Alarms/AlarmCount", "/Alarms/AlarmCountTotal", "/Dev/V:InAlarm"});
  std::vector<CElement> expected;
  for (const char* text : {"/Dev/V/Value", "261.5", "Value far too high", ".AlarmHighHighLimit", "",
                           "High", "1", "2", "2", "true"}) {
    expected.emplace_back(text);
    expected.back().convert_type(kTypes[expected.size() - 1]);
  }
  for (CElement& element : expected) element.set_time(now_);
  EXPECT_EQ(read.elements, expected);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(read.sources[i], i == 8 ? ELEMENT_PERSISTENT : ELEMENT_NORMAL) << i;
  }
}

TEST_F(Alarms, TellEachChangeAsAnEvent) {
  step();
  act("V 251");
  step();
  const timeval raised = now_;
  act("restart");
  EXPECT_EQ(acknowledge(1, toolkit::ACK_ACKED, "seen"), API_SUCCESS);
  EXPECT_EQ(acknowledge(7, toolkit::ACK_ACKED), API_NOT_FOUND);
  step();
  const std::vector<CEvent> told = events();
  ASSERT_EQ(told.size(), 2U);
  CEvent expected;
  expected.type = toolkit::EVENT_ALARM;
  expected.path = "/Dev/V/Value";
  expected.priority = 5000;
  expected.severity = toolkit::SEVERITY_CAUTION;
  expected.id = 1;
  expected.sequence = 1;
  expected.time = raised;
  expected.raised = raised;
  expected.value = CElement(251.0);
  expected.value.set_time(raised);
  expected.message = "High";
  expected.condition = true;
  expected.variation = 2;
  expected.source = "devsim";
  EXPECT_EQ(told[0], expected);
  expected.sequence = 2;
  expected.time = now_;
  expected.ack = toolkit::ACK_ACKED;
  expected.variation = 1;
  expected.note = "seen";
  expected.source = "Web-Services: ann";
  EXPECT_EQ(told[1], expected);
  std::vector<CEventStream::Entry> waiting;
  CEventStream(cds_, CEventStream::kAcknowledgements).read(0, waiting);
  EXPECT_TRUE(waiting.empty());
}

TEST_F(Alarms, BreakersTellWhenTheyMove) {
  step();
  for (const char* action : {"Breaker 0", "Breaker 0", "Breaker 1"}) {
    act(action);
    step();
  }
  Texts told;
  for (const CEvent& event : events()) told.push_back(event.path + " " + event.message);
  EXPECT_EQ(told, (Texts{"/Dev/Breaker/Value Circuit breaker opened",
                         "/Dev/Breaker/Value Circuit breaker closed"}));
}

TEST_F(Alarms, ClosedOnesGoAfterAMinuteAndAreAHundredAtMost) {
  for (int i = 0; i < 102; ++i) {
    for (const char* action : {"Group/T 9", "Group/T 11"}) {
      act(action);
      step(0);
    }
  }
  const std::vector<std::uint64_t> left = numbers();
  EXPECT_EQ(left.size(), AlarmEngine::kMaxClosed);
  EXPECT_EQ(left.front(), 3U);
  act("Group/T 9");
  step(AlarmEngine::kKeepClosedSeconds - 1);
  EXPECT_EQ(numbers().size(), AlarmEngine::kMaxClosed + 1) << "one is not closed";
  step();
  EXPECT_EQ(numbers(), std::vector<std::uint64_t>{103});
}

TEST_F(Alarms, AStoreThatRefusesIsNotRunAheadOf) {
  setenv("TOOLKIT_STORE_LIMIT", "1000000", 1);
  std::filesystem::remove_all(folder() / "run");
  std::filesystem::remove_all(folder() / "state");
  cds_.close();
  importDevice();
  step();
  act("V 251");
  int size = 0;
  for (const int bytes : {5000, 1}) {
    while (set(cds_, "/Fill/N" + std::to_string(size), CElement(std::string(bytes, 'x'))) ==
           API_SUCCESS) {
      ++size;
    }
  }
  EXPECT_FALSE(step());
  EXPECT_FALSE(step());
  api_status_t status = API_NONE;
  cds_.remove_node("/Fill", status, "test");
  ASSERT_EQ(status, API_SUCCESS);
  EXPECT_EQ(numbers().size(), 0U);
  EXPECT_TRUE(step());
  EXPECT_EQ(newest(), "1: 1 true 1");
  EXPECT_EQ(events().size(), 1U);
}

class AlarmWalk : public Alarms {
 protected:
  int pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
  void actAtRandom() {
    static const char* const kActions[] = {"V 251",   "V 249",     "V 230",          "V nan",
                                           "V 300",   "Group/T 9", "Group/T 20",     "Breaker 2",
                                           "restart", "Breaker 1", "AlarmsEnabled 1"};
    act(pick(40) == 0 ? "AlarmsEnabled 0" : kActions[pick(std::size(kActions))]);
    const auto alarms = numbers();
    if (!alarms.empty()) {
      acknowledge(alarms[static_cast<std::size_t>(pick(static_cast<int>(alarms.size())))],
                  pick(5) - 1, pick(3) == 0 ? "note" + std::to_string(pick(9)) : "");
    }
  }
  void expectSound() {
    for (const CEvent& event : events()) {
      if (event.type != toolkit::EVENT_ALARM) continue;
      EXPECT_EQ(event.sequence, ++sequences_[event.id]) << event.id;
    }
    int open = 0;
    for (const std::uint64_t number : numbers()) {
      const std::string now = row(number);
      EXPECT_TRUE(now.starts_with("1 true ") || now.starts_with("2 false ") ||
                  now.starts_with("3 true ") || now.starts_with("5 "))
          << now;
      EXPECT_TRUE((now + " ").find(" " + std::to_string(sequences_[number]) + " ") !=
                  std::string::npos)
          << now;
      open += now.starts_with("5") ? 0 : 1;
    }
    EXPECT_EQ(text("/Alarms/AlarmCount"), std::to_string(open));
    EXPECT_LE(open, 4) << "one a limit";
  }

  std::mt19937 random_{20251121};
  std::map<std::uint64_t, std::uint32_t> sequences_;
};

TEST_F(AlarmWalk, KeepsItsInvariants) {
  for (int i = 0; i < 1500 && !HasFailure(); ++i) {
    actAtRandom();
    ASSERT_TRUE(step(pick(4))) << cds_.last_error();
    expectSound();
  }
  EXPECT_GT(sequences_.size(), 100U);
}

}  // namespace
