// Devices whose source falls silent, on the test's own clock.
#include "quality/source_watch.h"

#include "store_fixture.h"

namespace {

class SourceWatch : public ClientTest {
 protected:
  SourceWatch() { begin(); }
  void begin() {
    import({leaf("/D:NodeType", "Device"), leaf("/D/.Quality", 192), leaf("/D/P", 1.0),
            leaf("/D/P:.TrendTraits", "Actual"), leaf("/D/Set", 1.0)});
    watch_ = std::make_unique<Services>(cds_);
  }
  void put(const std::string& path, CElement value, const char* source = "meter") {
    value.set_time(now_);
    api_status_t status = API_NONE;
    cds_.set_leaf(normalized(path), value, status, PCD_FALSE, source);
    EXPECT_EQ(status, API_SUCCESS) << path;
  }
  void act(char action, int number) {
    if (action == 'r') {
      watch_ = std::make_unique<Services>(cds_);
    } else if (action == 'q') {
      put("/D/.Quality", CElement(number));
    } else if (action == 'p' || action == 'o') {
      put("/D/Set", CElement(number), action == 'p' ? "meter" : "an operator");
    } else if (action == 'a') {
      put("/D/P:ValueAge", CElement(number));
      put("/D:ValueAge", CElement(number + 1.5));
    }
    for (; (action == 'w' || action == 's') && number > 0; --number) {
      now_.tv_sec += now_.tv_usec == 0 ? 0 : 1;
      now_.tv_usec = 500'000 - now_.tv_usec;
      if (action == 'w') {
        put("/D/P", CElement(1.0));
      }
      ASSERT_TRUE(watch_->values.read(now_));
      EXPECT_TRUE(watch_->sources.step(watch_->values.leaves(), 0.5, now_));
    }
  }

  struct Services {
    explicit Services(CCds& cds) : points(cds), sources(cds, points), values(cds, {&sources}) {}
    device::PointList points;
    device::SourceWatch sources;
    device::ValueReader values;
  };

  timeval now_ = {1700000000, 0};
  std::unique_ptr<Services> watch_;
};

// Half seconds in which the source (w)rites or is (s)ilent; in between it writes a (q)uality or a
// set(p)oint, an (o)perator does, the model gets an (a)ge, or the program is (r)estarted. Behind
// ">" the quality then; and at last what was told.
const std::tuple<const char*, std::string, const char*> kCourses[] = {
    {"after more than five seconds, and good again with the next write",
     "w20>192 p2 s10>192 s1>0 o3 s20>0 w3>192", "0 192 "},
    {"restarts", "q64 s20 r0 s20>0 w2>64 r0 w10>64", "0 64 "},
    {"what a source says of itself", "q64 w20>64 s20 q28 w3>28 q0 s250 w3>0", "0 "},
    {"ten periods, or the model's limit",
     "s9 w1 s9 w1 s9 w1 s9 w1 s9 w1 s9 w1 s99>192 s2>0 a2 w30 s4>192 s1>0", "0 192 0 "}};

TEST_F(SourceWatch, SilenceIsBad) {
  std::uint64_t last = 0;
  for (const auto& [what, course, expected] : kCourses) {
    begin();
    std::istringstream actions(course);
    for (std::string action; actions >> action;) {
      act(action[0], std::stoi(action.substr(1)));
      const std::size_t wanted = action.find('>');
      EXPECT_TRUE(wanted == std::string::npos || text("/D/.Quality") == action.substr(wanted + 1))
          << what << ": " << action << " " << text("/D/.Quality");
    }
    std::string told;
    for (const auto& [number, event, ring] : events(cds_, last)) {
      EXPECT_EQ(event.path + std::to_string(event.type), "/D/.Quality2");
      told += std::to_string(event.quality) + " ";
      last = number;
    }
    EXPECT_EQ(told, expected) << what;
    EXPECT_EQ(cds_.node_exists("/Software/Silent Devices/D"), course.rfind('s') > course.rfind('w'))
        << what;
  }
}

TEST_F(SourceWatch, AStoreThatRefusesIsTriedAgain) {
  cds_.setReadOnly();
  for (int i = 0; i < 13; ++i) {
    ASSERT_TRUE(watch_->values.read(now_));
    const bool overdue = 0.5 * (i + 1) > device::SourceWatch::kMinSeconds;
    EXPECT_EQ(watch_->sources.step(watch_->values.leaves(), 0.5, now_), !overdue) << i;
  }
  EXPECT_EQ(text("/D/.Quality"), "192");
}

}  // namespace
