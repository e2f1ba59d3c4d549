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
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Values a second apart; "^" where the condition is raised after one, "." where not.
struct Course {
  const char* what;
  Rule rule;
  std::vector<double> values;
  const char* raised;
};

const Course kCourses[] = {
    {"at the limit is not above it", {Direction::kAbove, 10}, {10, 10.1, 10, 9.9}, ".^^."},
    {"at the limit is not below it", {Direction::kBelow, 10}, {10, 9.9, 10, 10.1}, ".^^."},
    {"a state is hit exactly", {Direction::kEqual, 2}, {1, 2, 2, 3}, ".^^."},
    {"hysteresis above", {Direction::kAbove, 10, 2}, {9, 11, 8, 7.9, 9, 11}, ".^^..^"},
    {"hysteresis below", {Direction::kBelow, 10, 2}, {11, 9, 12, 12.1, 11, 9}, ".^^..^"},
    {"none of it for a state", {Direction::kEqual, 2, 5}, {2, 3}, "^."},
    {"a delay holds", {Direction::kAbove, 10, 0, 2}, {11, 11, 11, 9}, "..^."},
    {"a delay begins again", {Direction::kAbove, 10, 0, 2}, {11, 11, 9, 11, 11, 11}, ".....^"},
    {"a delay goes on in the band", {Direction::kAbove, 10, 2, 2}, {11, 9, 9}, "..^"},
    {"a clear delay holds", {Direction::kAbove, 10, 0, 0, 2}, {11, 9, 9, 9}, "^^^."},
    {"it begins again", {Direction::kAbove, 10, 0, 0, 2}, {11, 9, 9, 11, 9, 9, 9}, "^^^^^^."},
    {"NaN raises nothing", {Direction::kBelow, 10}, {kNaN, kNaN, 9}, "..^"},
    {"NaN clears nothing", {Direction::kAbove, 10}, {11, kNaN, kNaN, 9}, "^^^."},
    {"NaN takes no time", {Direction::kAbove, 10, 0, 2}, {11, kNaN, kNaN, 11, 11}, "....^"},
    {"infinity is above", {Direction::kAbove, 10}, {kInfinity, -kInfinity}, "^."},
};

TEST(AlarmRules, FollowTheirCourse) {
  for (const Course& course : kCourses) {
    Condition condition;
    std::string raised;
    for (const double value : course.values) {
      condition.step(course.rule, value, 1);
      raised += condition.raised() ? '^' : '.';
    }
    EXPECT_EQ(raised, course.raised) << course.what;
  }
}

TEST(AlarmRules, AStandingConditionGoesByItsClearDelay) {
  const Rule rule = {Direction::kAbove, 10, 2, 5, 1};
  Condition condition = Condition::standing();
  for (const auto& [value, raised] : {std::pair(9.0, true), {7.0, true}, {7.0, false}}) {
    condition.step(rule, value, 1);
    EXPECT_EQ(condition.raised(), raised) << value;
  }
}

}  // namespace
