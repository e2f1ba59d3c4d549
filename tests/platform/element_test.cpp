// Values, and the records that the store keeps of them.
#include "toolkit/element.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "store/layout.h"

using toolkit::CElement;
using namespace toolkit::store;

namespace {

TEST(Element, Texts) {
  const std::tuple<CElement, int, const char*> kCases[] = {
      {CElement(3.14159265358979311600), -5, "3"},
      {CElement(-NAN), 6, "nan"},
      {CElement(timeval{1700000000, 250}), 6, "1700000000.000250"},
      {CElement(timeval{0, 99999999}), 6, "0.999999"}};
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
      {CElement("-99999999999999999999"), true, INT32_MIN, INT64_MIN, -1e20},
      {CElement("1e999"), true, INT32_MAX, INT64_MAX, HUGE_VAL}};
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
      {CElement("-1.5"), DATA_REAL, CElement(-1.5)},
      {CElement("nan"), DATA_REAL, CElement(NAN)},
      {CElement(-0.5), DATA_TIMEVAL, CElement(timeval{-1, 500000})},
      {CElement("1700000000.25"), DATA_TIMEVAL, CElement(timeval{1700000000, 250000})},
      {CElement("1.2.3"), DATA_TIMEVAL, CElement(timeval{0, 0})},
      {CElement(7), DATA_NONE, CElement()}};
  for (auto [element, type, expected] : kCases) {
    element.set_time({5, 6});
    expected.set_time({5, 6});
    element.convert_type(type);
    EXPECT_EQ(element, expected) << expected.to_string();
    expected.set_time({5, 7});
    EXPECT_FALSE(element == expected);
  }
  EXPECT_FALSE(CElement(7) == CElement(7, DATA_ENUMERATED));
}

TEST(LeafRecord, EveryTypeReadsBackAndEveryCutIsFound) {
  for (CElement element :
       {CElement(), CElement(true), CElement(INT32_MIN, DATA_ENUMERATED), CElement(-5),
        CElement(-0.1), CElement(timeval{-3, 999999}), CElement(""),
        CElement(std::string("a\0;é", 5)), CElement(std::int64_t{INT64_MIN})}) {
    element.set_time({INT64_MAX, 123456});
    const std::string bytes = encodeLeaf(element, ELEMENT_MPL, "");
    CElement read;
    element_property_t property = ELEMENT_NORMAL;
    ASSERT_TRUE(decodeLeaf(bytes + "who wrote", read, property)) << element.to_string();
    EXPECT_EQ(read, element) << element.to_string();
    EXPECT_EQ(property, ELEMENT_MPL);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      EXPECT_FALSE(decodeLeaf(bytes.substr(0, size), read, property)) << size;
    }
  }
}

TEST(LeafRecord, OddBytesAreRefused) {
  CElement element;
  element_property_t property = ELEMENT_NORMAL;
  for (const auto& [at, value] : {std::pair(0, '\x07'), {0, '\x09'}, {1, '\x04'}, {17, '\x7f'}}) {
    std::string odd = encodeLeaf(CElement("text"), ELEMENT_NORMAL, "");
    odd[static_cast<std::size_t>(at)] = value;
    EXPECT_FALSE(decodeLeaf(odd, element, property)) << at;
  }
}

}  // namespace
