#include "toolkit/element.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using toolkit::CElement;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr auto kMaxInt = std::numeric_limits<std::int32_t>::max();
constexpr auto kMinInt = std::numeric_limits<std::int32_t>::min();
constexpr auto kMaxInt64 = std::numeric_limits<std::int64_t>::max();
constexpr auto kMinInt64 = std::numeric_limits<std::int64_t>::min();

TEST(Element, Texts) {
  const std::pair<CElement, const char*> kCases[] = {
      {CElement(), ""},
      {CElement(true), "true"},
      {CElement(kMinInt), "-2147483648"},
      {CElement(2, DATA_ENUMERATED), "2"},
      {CElement(kMaxInt64), "9223372036854775807"},
      {CElement(230.123456789), "230.123"},
      {CElement(1e6), "1e+06"},
      {CElement(-0.0001), "-0.0001"},
      {CElement(100000.0), "100000"},
      {CElement(kInfinity), "inf"},
      {CElement(-kInfinity), "-inf"},
      {CElement(kNan), "nan"},
      {CElement(-kNan), "nan"},
      {CElement(timeval{1700000000, 250}), "1700000000.000250"},
      {CElement(timeval{0, 99999999}), "0.999999"},
      {CElement("é 漢 😀"), "é 漢 😀"},
  };
  for (const auto& [element, text] : kCases) {
    EXPECT_EQ(element.to_string(), text);
  }
  const std::pair<int, const char*> kPrecisions[] = {{-5, "3"},
                                                     {0, "3"},
                                                     {1, "3"},
                                                     {3, "3.14"},
                                                     {17, "3.1415926535897931"},
                                                     {1000000, "3.1415926535897931"}};
  for (const auto& [precision, text] : kPrecisions) {
    EXPECT_EQ(CElement(3.14159265358979311600).to_string(precision), text) << precision;
  }
}

TEST(Element, ConversionsAreTotalAndSaturate) {
  const struct {
    CElement element;
    bool asBool;
    std::int32_t asInt;
    std::uint32_t asUint;
    std::int64_t asInt64;
    double asDouble;
  } kCases[] = {
      {CElement(), false, 0, 0, 0, 0},
      {CElement(true), true, 1, 1, 1, 1},
      {CElement(-7), true, -7, 0, -7, -7},
      {CElement(kMaxInt64), true, kMaxInt, 4294967295U, kMaxInt64, 9223372036854775807.0},
      {CElement(-2.9), true, -2, 0, -2, -2.9},
      {CElement(1e300), true, kMaxInt, 4294967295U, kMaxInt64, 1e300},
      {CElement(-kInfinity), true, kMinInt, 0, kMinInt64, -kInfinity},
      {CElement(9223372036854775808.0), true, kMaxInt, 4294967295U, kMaxInt64,
       9223372036854775808.0},
      {CElement(timeval{5, 500000}), true, 5, 5, 5, 5.5},
      {CElement("TRUE"), true, 0, 0, 0, 0},
      {CElement("false"), false, 0, 0, 0, 0},
      {CElement("12abc"), false, 0, 0, 0, 0},
      {CElement(""), false, 0, 0, 0, 0},
      {CElement(" 12"), false, 0, 0, 0, 0},
      {CElement("+12"), true, 12, 12, 12, 12},
      {CElement("+-12"), false, 0, 0, 0, 0},
      {CElement("-2.5"), true, -2, 0, -2, -2.5},
      {CElement("99999999999999999999"), true, kMaxInt, 4294967295U, kMaxInt64, 1e20},
      {CElement("-99999999999999999999"), true, kMinInt, 0, kMinInt64, -1e20},
      {CElement("1e999"), true, kMaxInt, 4294967295U, kMaxInt64, kInfinity},
      {CElement("1e-999"), false, 0, 0, 0, 0},
  };
  for (const auto& c : kCases) {
    const std::string text = c.element.to_string();
    EXPECT_EQ(c.element.to_bool(), c.asBool) << text;
    EXPECT_EQ(c.element.to_int(), c.asInt) << text;
    EXPECT_EQ(c.element.to_uint(), c.asUint) << text;
    EXPECT_EQ(c.element.to_int64(), c.asInt64) << text;
    EXPECT_EQ(c.element.to_double(), c.asDouble) << text;
  }
  EXPECT_EQ(CElement(kNan).to_int64(), 0);
}

TEST(Element, ConvertTypeKeepsTheTime) {
  const struct {
    CElement from;
    data_type_t type;
    CElement to;
  } kCases[] = {
      {CElement("true"), DATA_BOOLEAN, CElement(true)},
      {CElement("3"), DATA_ENUMERATED, CElement(3, DATA_ENUMERATED)},
      {CElement(3.7), DATA_INTEGER, CElement(3)},
      {CElement("-1.5"), DATA_REAL, CElement(-1.5)},
      {CElement(-0.5), DATA_TIMEVAL, CElement(timeval{-1, 500000})},
      {CElement("1700000000.25"), DATA_TIMEVAL, CElement(timeval{1700000000, 250000})},
      {CElement("1.2.3"), DATA_TIMEVAL, CElement(timeval{0, 0})},
      {CElement(7), DATA_STRING, CElement("7")},
      {CElement("8"), DATA_INTEGER64, CElement(std::int64_t{8})},
      {CElement(7), DATA_NONE, CElement()},
      {CElement(7), DATA_SAME_AS_VALUE, CElement(7)},
      {CElement(kNan), DATA_REAL, CElement(kNan)},
  };
  for (const auto& c : kCases) {
    CElement element = c.from;
    CElement expected = c.to;
    element.set_time({5, 6});
    expected.set_time({5, 6});
    element.convert_type(c.type);
    EXPECT_EQ(element, expected) << c.from.to_string();
  }
  CElement later = CElement(7);
  later.set_time({0, 1});
  EXPECT_FALSE(later == CElement(7)) << "the time stamp counts";
  EXPECT_FALSE(CElement(7) == CElement(7, DATA_ENUMERATED)) << "the type counts";
}

TEST(Element, SplitGivesOnePieceMoreThanSeparators) {
  using Texts = std::vector<std::string>;
  const std::pair<const char*, Texts> kCases[] = {{"", {""}},
                                                  {"a", {"a"}},
                                                  {"a;b", {"a", "b"}},
                                                  {";", {"", ""}},
                                                  {"a;;b;", {"a", "", "b", ""}}};
  Texts pieces = {"before"};
  for (const auto& [text, expected] : kCases) {
    CElement::split_string(pieces, text, ';');
    EXPECT_EQ(pieces, expected) << text;
  }
}

}  // namespace
