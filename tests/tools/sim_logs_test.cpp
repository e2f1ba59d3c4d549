// What the simulated meter keeps, on the test's own clock.
#include <SQLiteCpp/SQLiteCpp.h>

#include <map>
#include <optional>

#include "deltas.h"
#include "model_file.h"
#include "recorder.h"
#include "sandbox.h"

using toolkit::CElement;
using toolkit::CEvent;

namespace {

class SimLogs : public Sandbox {
 protected:
  std::string file(const std::string& log) const { return folder() / (log + ".db"); }
  std::vector<CEvent> entered(const std::string& log) const {
    std::vector<CEvent> events;
    toolkit::CLog reader;
    EXPECT_EQ(reader.init(file(log), 0, false, false, true, true, 0, 0, 0), toolkit::LOG_OK);
    reader.retrieve(events, "/", nullptr, nullptr, toolkit::CLog::kNoMaximum, false, false, 0);
    return events;
  }
  timeval now_ = {1700000000, 250000};
};

// Events told: d(elta), s(ystem), q(uality), a(larm), p(lain). Done in between: . a step, r(estart
// of the meter), b(oot of the device), l(ocked alarm log), u(nlocked), w(orld: 990 deltas).
TEST_F(SimLogs, EachEventIsEnteredOnceWhateverHappens) {
  const std::map<char, std::pair<toolkit::event_type_t, const char*>> kinds = {
      {'d', {toolkit::EVENT_DELTA, "deadband"}}, {'s', {toolkit::EVENT_SYSTEM, "system"}},
      {'q', {toolkit::EVENT_QUALITY, "alarms"}}, {'a', {toolkit::EVENT_ALARM, "alarms"}},
      {'p', {toolkit::EVENT_PLAIN, "alarms"}},   {'w', {toolkit::EVENT_DELTA, "deadband"}}};
  for (const std::string course :
       {"das.qp.", "das.r.dr.", "ra.sd", "das.b.", "das.bdas.", "dasa.bdd.", "das.bdasdas.",
        "sa.brds.", "dddd.brda.r.", "ldas.a.u.", "sa.ld.a.ub.", "a.w.w.w.s.ra", "sa.ldua.w.w.w.s.",
        "lw.a.w.u."}) {
    useStore(course);
    import({leaf("/A", "Value", CElement(1.0))});
    for (const char* log : {"deadband", "alarms", "system"}) std::filesystem::remove(file(log));
    toolkit::CCds cds;
    ASSERT_EQ(cds.init(), 0);
    std::optional<sim::Recorder> recorder;
    ASSERT_TRUE(recorder.emplace(cds).open(folder()));
    std::optional<SQLite::Database> holder;
    std::map<std::string, std::string> told;
    int number = 0;
    for (const char action : course + "u.") {
      if (action == '.') {
        EXPECT_TRUE(recorder->step() || holder) << course << recorder->lastError();
      } else if (action == 'b') {
        toolkit::admin::boot();
      } else if (action == 'r') {
        ASSERT_TRUE(recorder.emplace(cds).open(folder())) << recorder->lastError();
      } else if (action == 'l') {
        holder.emplace(file("alarms"), SQLite::OPEN_READWRITE).exec("BEGIN IMMEDIATE");
      } else if (action == 'u') {
        holder.reset();
      } else {
        std::vector<CEvent> events(action == 'w' ? 990 : 1);
        for (CEvent& event : events) {
          event.type = kinds.at(action).first;
          event.path = "/A/Value";
          event.message = std::to_string(++number) + " ";
          ++now_.tv_usec;
          event.time = now_;
          told[kinds.at(action).second] += event.message;
        }
        std::vector<api_status_t> statuses;
        ASSERT_EQ(cds.events_send(events, statuses), 0);
      }
    }
    for (const char* log : {"deadband", "alarms", "system"}) {
      std::string texts;
      for (const CEvent& event : entered(log)) texts += event.message;
      EXPECT_EQ(texts, told[log]) << course << log;
    }
  }
}

constexpr const char* kDevice = R"({"nodes": {
    "/D": {"NodeType": "Device", ".Quality": 192},
    "/D/V": {"Value": 230.0, ".Deadband": 0.5},
    "/D/Zero": {"Value": 1, ".Deadband": 0},
    "/D/None": {"Value": 1.5},
    "/D/Less": {"Value": 1.5, ".Deadband": -1},
    "/D/Text": {"Value": "a", ".Deadband": 0},
    "/D/Bool": {"ValueType": "Boolean", "Value": false},
    "/D/Sub/State": {"ValueType": "Multistate", "Value": 1},
    "/Else": {"Value": 1.5, ".Deadband": 0}}})";

// What is written, and what is told a second later. "?": by a store that refuses.
TEST_F(SimLogs, DeltasAreToldWhenAValueLeavesItsDeadband) {
  const std::pair<std::string, std::string> course[] = {{"?", ""},
                                                        {"", "/D/V=230 /D/Zero=1 "},
                                                        {"/D/V 230.5", ""},
                                                        {"/D/V 229.5", ""},
                                                        {"/D/V 230.51", "/D/V=230.51 "},
                                                        {"/D/V 230.1", ""},
                                                        {"/D/V 229.9", "/D/V=229.9 "},
                                                        {"/D/V nan", "/D/V=nan "},
                                                        {"/D/V nan", ""},
                                                        {"/D/V 231", "/D/V=231 "},
                                                        {"/D/Zero 1", ""},
                                                        {"/D/Zero 2", "/D/Zero=2 "},
                                                        {"/D/None 9", ""},
                                                        {"/D/Less 9", ""},
                                                        {"/D/Text b", ""},
                                                        {"/Else 9", ""},
                                                        {"/D/Bool 1", "/D/Bool=true "},
                                                        {"/D/Bool 1", ""},
                                                        {"?/D/Sub/State 0", ""},
                                                        {"", "/D/Sub/State=0 "},
                                                        {"/D/Sub/State 2", "/D/Sub/State=2 "},
                                                        {"/D/.Quality 64", "/D=64:64 "},
                                                        {"/D/V 240", "/D/V=240:64 "}};
  toolkit::admin::Model model;
  ASSERT_EQ(model_file::parse(kDevice, model), "");
  import(model.leaves);
  std::optional<toolkit::CCds> cds(std::in_place);
  sim::Deltas deltas(*cds);
  std::uint64_t last = 0;
  for (const auto& [action, expected] : course) {
    const bool refuses = action.starts_with("?");
    const std::string written = action.substr(refuses ? 1 : 0);
    if (!written.empty()) {
      const toolkit::CPath path = normalized(written.substr(0, written.find(' ')));
      CElement value(written.substr(written.find(' ') + 1));
      value.convert_type(StoreTest::read(*cds, {path}).elements[0].type());
      ASSERT_EQ(set(*cds, path.getNodePath() + ":" + path.getLeafName(), value), API_SUCCESS);
    }
    if (refuses) cds->setReadOnly();
    EXPECT_EQ(deltas.step(now_), !refuses) << action;
    cds.emplace();
    ++now_.tv_usec;
    EXPECT_EQ(deltas.step(now_), !refuses) << "it does not look before a second has passed";
    ++now_.tv_sec;
    std::vector<toolkit::CEventStream::Entry> entries;
    toolkit::CEventStream(*cds, toolkit::CEventStream::kEvents).read(last, entries);
    std::string told;
    for (const auto& [number, event] : entries) {
      last = number;
      const std::string quality = event.quality == 192 ? "" : ":" + std::to_string(event.quality);
      told += normalized(event.path).getNodePath() + "=" + event.value.to_string() + quality + " ";
      EXPECT_EQ(event.type == toolkit::EVENT_QUALITY, event.path == "/D/.Quality");
    }
    EXPECT_EQ(told, expected) << action;
  }
}

}  // namespace
