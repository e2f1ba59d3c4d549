#include "toolkit/element.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

using toolkit::CElement;

namespace {

TEST(Element, Texts) {
  const std::tuple<CElement, int, const char*> kCases[] = {
      {CElement(3.14159265358979311600), -5, "3"},
      {CElement(3.14159265358979311600), 1000000, "3.1415926535897931"},
      {CElement(1e6), 6, "1e+06"},
      {CElement(-NAN), 6, "nan"},
      {CElement(timeval{1700000000, 250}), 6, "1700000000.000250"},
      {CElement(timeval{0, 99999999}), 6, "0.999999"},
  };
  for (const auto& [element, precision, text] : kCases) {
    EXPECT_EQ(element.to_string(precision), text);
  }
  EXPECT_EQ(CElement(230.123456789).to_string(), "230.123");
}

TEST(Element, ConversionsAreTotalAndSaturate) {
  const std::tuple<CElement, bool, std::int32_t, std::int64_t, double> kCases[] = {
      {CElement(), false, 0, 0, 0},
      {CElement(INT64_MAX), true, INT32_MAX, INT64_MAX, 9223372036854775807.0},
      {CElement(-2.9), true, -2, -2, -2.9},
      {CElement(-HUGE_VAL), true, INT32_MIN, INT64_MIN, -HUGE_VAL},
      {CElement(9223372036854775808.0), true, INT32_MAX, INT64_MAX, 9223372036854775808.0},
      {CElement(timeval{5, 500000}), true, 5, 5, 5.5},
      {CElement("TRUE"), true, 0, 0, 0},
      {CElement("+12"), true, 12, 12, 12},
      {CElement("+-12"), false, 0, 0, 0},
      {CElement("-99999999999999999999"), true, INT32_MIN, INT64_MIN, -1e20},
      {CElement("1e999"), true, INT32_MAX, INT64_MAX, HUGE_VAL},
  };
  for (const auto& [element, asBool, asInt, asInt64, asDouble] : kCases) {
    const std::string text = element.to_string();
    EXPECT_EQ(element.to_bool(), asBool) << text;
    EXPECT_EQ(element.to_int(), asInt) << text;
    EXPECT_EQ(element.to_int64(), asInt64) << text;
    EXPECT_EQ(element.to_double(), asDouble) << text;
  }
  EXPECT_EQ(CElement(NAN).to_int64(), 0);
  EXPECT_EQ(CElement(-7).to_uint(), 0U);
  EXPECT_EQ(CElement(INT64_MAX).to_uint(), UINT32_MAX);
}

TEST(Element, ConvertTypeKeepsTheTime) {
  const std::tuple<CElement, data_type_t, CElement> kCases[] = {
      {CElement("true"), DATA_BOOLEAN, CElement(true)},
      {CElement("3"), DATA_ENUMERATED, CElement(3, DATA_ENUMERATED)},
      {CElement("-1.5"), DATA_REAL, CElement(-1.5)},
      {CElement(-0.5), DATA_TIMEVAL, CElement(timeval{-1, 500000})},
      {CElement("1700000000.25"), DATA_TIMEVAL, CElement(timeval{1700000000, 250000})},
      {CElement("1.2.3"), DATA_TIMEVAL, CElement(timeval{0, 0})},
      {CElement("8"), DATA_INTEGER64, CElement(std::int64_t{8})},
      {CElement(7), DATA_NONE, CElement()},
      {CElement(7), DATA_SAME_AS_VALUE, CElement(7)},
  };
  for (auto [element, type, expected] : kCases) {
    element.set_time({5, 6});
    expected.set_time({5, 6});
    element.convert_type(type);
    EXPECT_EQ(element, expected) << expected.to_string();
  }
}

TEST(Element, ComparisonCountsTypeAndTime) {
  CElement later = CElement(7);
  later.set_time({0, 1});
  EXPECT_FALSE(later == CElement(7));
  EXPECT_FALSE(CElement(7) == CElement(7, DATA_ENUMERATED));
  EXPECT_EQ(CElement(NAN), CElement(NAN));
}

TEST(Element, SplitGivesOnePieceMoreThanSeparators) {
  using Texts = std::vector<std::string>;
  Texts pieces = {"before"};
  CElement::split_string(pieces, "", ';');
  EXPECT_EQ(pieces, Texts{""});
  CElement::split_string(pieces, "a;;b;", ';');
  EXPECT_EQ(pieces, (Texts{"a", "", "b", ""}));
}

}  // namespace
