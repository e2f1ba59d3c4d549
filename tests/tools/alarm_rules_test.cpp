// Limits, hysteresis and delays, a table a rule.
#include "alarm_rules.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

using sim::Condition;
using sim::Direction;
using sim::Rule;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Values a second apart; "^" where the condition is raised after one, "." where not.
struct Course {
  const char* what;
  Rule rule;
  std::vector<double> values;
  const char* raised;
  Condition from = {};
};

const Course kCourses[] = {
    {"a state is hit exactly", {Direction::kEqual, 2}, {1, 2, 2, 3}, ".^^."},
    {"hysteresis above", {Direction::kAbove, 10, 2}, {10, 11, 8, 7.9, 10, 11}, ".^^..^"},
    {"hysteresis below", {Direction::kBelow, 10, 2}, {10, 9, 12, 12.1, 10, 9}, ".^^..^"},
    {"a delay begins again", {Direction::kAbove, 10, 0, 2}, {11, 11, 9, 11, 11, 11}, ".....^"},
    {"a delay goes on in the band", {Direction::kAbove, 10, 2, 2}, {11, 9, 9}, "..^"},
    {"a clear delay too", {Direction::kAbove, 10, 0, 0, 2}, {11, 9, 9, 11, 9, 9, 9}, "^^^^^^."},
    {"NaN takes no time", {Direction::kAbove, 10, 0, 2}, {11, kNaN, kNaN, 11, 11}, "....^"},
    {"it stands", {Direction::kAbove, 10, 2, 5, 1}, {9, 7, 7}, "^^.", Condition::standing()},
};

TEST(AlarmRules, FollowTheirCourse) {
  for (const Course& course : kCourses) {
    Condition condition = course.from;
    std::string raised;
    for (const double value : course.values) {
      condition.step(course.rule, value, 1);
      raised += condition.raised() ? '^' : '.';
    }
    EXPECT_EQ(raised, course.raised) << course.what;
  }
}

}  // namespace
