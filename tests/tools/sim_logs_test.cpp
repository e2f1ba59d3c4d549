// What the simulated meter keeps, on the test's own clock.
#include <SQLiteCpp/SQLiteCpp.h>

#include <map>
#include <optional>

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

}  // namespace
