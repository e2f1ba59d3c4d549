#include <gtest/gtest.h>

#include <cstdint>

#include "store/layout.h"

using toolkit::CElement;
using namespace toolkit::store;

namespace {

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

TEST(Keys, RootIsTheEmptyPath) {
  EXPECT_EQ(std::string_view(leafKey("/", "NodeType")), std::string_view("\0NodeType", 9));
  EXPECT_EQ(std::string_view(nodeKey("/Bay/Dev1")), std::string_view("/Bay\0Dev1", 9));
  EXPECT_EQ(std::string_view(childPrefix("/Bay")), std::string_view("/Bay\0", 5));
}

}  // namespace
