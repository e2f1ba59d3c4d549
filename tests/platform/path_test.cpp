#include "toolkit/path.h"

#include <gtest/gtest.h>

#include "toolkit/types.h"

using toolkit::CPath;

namespace {

TEST(Path, SplitsIntoNodeLeafAndSubAttribute) {
  const struct {
    const char* text;
    const char* node;
    const char* leaf;
    const char* sub;
    const char* attribute;
    const char* leafPath;
  } kCases[] = {
      {"/", "/", "Value", "", "", "/Value"},
      {"/NodeType", "/", "NodeType", "", "NodeType", "/NodeType"},
      {"/Value", "/", "Value", "", "", "/Value"},
      {"/:Units", "/", "Units", "", "Units", "/Units"},
      {"/Dev1/Va", "/Dev1/Va", "Value", "", "", "/Dev1/Va/Value"},
      {"/Dev1/Va/Value", "/Dev1/Va", "Value", "", "", "/Dev1/Va/Value"},
      {"/Dev1/Va:Value", "/Dev1/Va", "Value", "", "", "/Dev1/Va/Value"},
      {"/Dev1/Va:Units", "/Dev1/Va", "Units", "", "Units", "/Dev1/Va/Units"},
      {"/Dev1/Va/Units", "/Dev1/Va", "Units", "", "Units", "/Dev1/Va/Units"},
      {"/Dev1/.Quality", "/Dev1", ".Quality", "", ".Quality", "/Dev1/.Quality"},
      {"/Dev1/Va:.AlarmHighLimit", "/Dev1/Va", ".AlarmHighLimit", "", ".AlarmHighLimit",
       "/Dev1/Va/.AlarmHighLimit"},
      {"/Dev1/Va:.Time", "/Dev1/Va", "Value", ".Time", ".Time", "/Dev1/Va/Value"},
      {"/Dev1/Va:Value.Time", "/Dev1/Va", "Value", ".Time", ".Time", "/Dev1/Va/Value"},
      {"/Dev1/Va:Units.Source", "/Dev1/Va", "Units", ".Source", "Units", "/Dev1/Va/Units"},
      {"/Dev1/Va:.AlarmHighLimit.Time", "/Dev1/Va", ".AlarmHighLimit", ".Time", ".AlarmHighLimit",
       "/Dev1/Va/.AlarmHighLimit"},
      {"/Dev1/Va:.Foo", "/Dev1/Va", "Value", ".Foo", ".Foo", "/Dev1/Va/Value"},
      {"/Dev1/Va:Own", "/Dev1/Va", "Own", "", "Own", "/Dev1/Va/Own"},
      {"/Dev1/Va:Own.Time", "/Dev1/Va", "Own.Time", "", "Own.Time", "/Dev1/Va/Own.Time"},
      {"/Dev1/.hidden", "/Dev1/.hidden", "Value", "", "", "/Dev1/.hidden/Value"},
      {"/Büro/漢 1", "/Büro/漢 1", "Value", "", "", "/Büro/漢 1/Value"},
  };
  for (const auto& c : kCases) {
    CPath path(c.text);
    ASSERT_EQ(path.normalize(), 0) << c.text;
    ASSERT_EQ(path.normalize(), 0) << "again: " << c.text;
    EXPECT_EQ(path.getNodePath(), c.node) << c.text;
    EXPECT_EQ(path.getLeafName(), c.leaf) << c.text;
    EXPECT_EQ(path.getSubAttribute(), c.sub) << c.text;
    EXPECT_EQ(path.getPathAttribute(), c.attribute) << c.text;
    EXPECT_EQ(path.getLeafPath(), c.leafPath) << c.text;
    EXPECT_FALSE(path.isArrayElement()) << c.text;
  }
}

TEST(Path, TextOutsideTheGrammarIsBad) {
  const std::string kCases[] = {
      "", " ", "Dev1", "Dev1/Va", "//", "/Dev1/", "//Dev1", "/Dev1//Va", "//Units", "/.", "/..",
      "/Dev1/..", "/Dev1/../Va", "/./Dev1", "/...", "/Dev1\n", "/Dev\x7f", std::string("/a\0b", 4),
      // names that no node bears
      "/Units/Va", "/Dev1/Value/Va", "/Dev1/Units:Units", "/Dev1/.Time", "/.Source/Va",
      "/Dev1/.AttribType",
      // attributes
      "/Dev1:", "/Dev1/:Units", ":Units", "/Dev1::Units", "/Dev1:Units:Units", "/Dev1:a/b",
      "/Dev1:a\tb", "/Dev1:.", "/Dev1:..", "/Dev1:Units.", "/Dev1:.Foo1", "/Dev1:Units.T-x",
      "/Dev1:!x",
      // indices
      "/Dev1:List[]", "/Dev1:List[x]", "/Dev1:List[-1]", "/Dev1:List[1", "/Dev1:List]", "/Dev1:[1]",
      "/Dev1:List[1][2]", "/Dev1:List[1234567890]", "/Dev1:Units[1].Time", "/Dev1:.Time[1]"};
  for (const std::string& text : kCases) {
    CPath path(text);
    EXPECT_NE(path.normalize(), 0) << text;
    EXPECT_EQ(path.getNodePath() + path.getLeafName() + path.getSubAttribute(), "") << text;
    EXPECT_FALSE(path.is_read_authorized()) << text;
  }
}

TEST(Path, LeafPathMayHave511Bytes) {
  const std::string longest = "/" + std::string(CPath::kMaxLength - 7, 'n');  // and "/Value"
  EXPECT_EQ(CPath(longest).normalize(), 0);
  EXPECT_NE(CPath(longest + "n").normalize(), 0);
  EXPECT_EQ(CPath("/:" + std::string(510, 'l')).normalize(), 0);
  EXPECT_NE(CPath("/:" + std::string(511, 'l')).normalize(), 0);
  EXPECT_NE(CPath(std::string(1 << 20, '/')).normalize(), 0);
  EXPECT_NE(CPath("/a:" + std::string(1 << 20, '[')).normalize(), 0);
}

TEST(Path, IndexNamesAnElementOfAList) {
  CPath path("/Dev1/Breaker:PossibleValues[12]");
  ASSERT_EQ(path.normalize(), 0);
  EXPECT_EQ(path.getLeafName(), "PossibleValues");
  EXPECT_EQ(path.arrayIndex(), 12U);
  path.clearArrayElement();
  EXPECT_FALSE(path.isArrayElement());
  CPath node("/Dev1/Row[1]");
  ASSERT_EQ(node.normalize(), 0);
  EXPECT_EQ(node.getNodePath(), "/Dev1/Row[1]");
}

TEST(Path, LopTakesComponentsFromTheEnd) {
  CPath path("/Bay/Dev1:Units");
  path.normalize();
  for (const char* expected : {"Units", "Dev1", "Bay", "", ""}) {
    EXPECT_EQ(path.LopLastSubpath(), expected);
  }
}

TEST(Path, SiblingLeaves) {
  CPath path("/Dev1/Va:.Time");
  path.normalize();
  EXPECT_EQ(path.getNewPath(".AlarmOnValue").getLeafPath(), "/Dev1/Va/.AlarmOnValue");
  CPath again(path.getNewPathStr("Writable"));
  EXPECT_EQ(again.normalize(), 0);
  EXPECT_EQ(again.getLeafPath(), "/Dev1/Va/Writable");
  CPath root("/");
  root.normalize();
  EXPECT_EQ(root.getNewPath("Own").getLeafPath(), "/Own");
}

TEST(Path, NodeNamesAreDistinctAndReadBack) {
  const struct {
    const char* path;
    const char* name;
  } kCases[] = {
      {"/Dev1", "Dev1"},
      {"/Bay/Dev1/VoltageA", "Bay.Dev1.VoltageA"},
      {"/Dev1/Va:Units", "Dev1.Va!Units"},
      {"/Dev1/Va:.Time", "Dev1.Va!..Time"},
      {"/V1.2/a!b", "V1..2.a!!b"},
      {"/a./b", "a...b"},
      {"/a/.b", "a!...b"},
      {"/a!/.b", "a!!!...b"},
      {"/a!:.b", "a!!!..b"},
      {"/a/!/.b!", "a.!!!...b!!"},
      {"/.a/!:x", "..a.!!!x"},
  };
  for (const auto& c : kCases) {
    std::string name;
    CPath::PathToNodeName(c.path, name);
    EXPECT_EQ(name, c.name);
    std::string path;
    CPath::DottedPathToNodePath(name, path);
    EXPECT_EQ(path, c.path);
  }
  for (const char* bad : {"", "/", "Dev1", "/Dev1/", "/Dev1:.", "/a/.../b"}) {
    std::string name = "before";
    CPath::PathToNodeName(bad, name);
    EXPECT_EQ(name, "") << bad;
  }
  std::string path = "before";
  CPath::DottedPathToNodePath("", path);
  EXPECT_EQ(path, "");
}

TEST(AttributeNumbers, FollowTheTable) {
  const std::pair<const char*, int> kCases[] = {{"Attributes", 1},
                                                {"Description", 7},
                                                {"PossibleValues", 14},
                                                {"Units", 16},
                                                {"ShortName", 18},
                                                {"Writable", 21},
                                                {".GroupName", 26},
                                                {".Quality", 34},
                                                {".Source", 35},
                                                {".Time", 36},
                                                {".AttribType", 37},
                                                {".AlarmHighLimit", 40},
                                                {".AlarmLowLowLimit", 43},
                                                {".AlarmHighMsg", 45},
                                                {".AlarmOnValue", 50},
                                                {".TrendPeriod", 56},
                                                {"Value", 0},
                                                {"units", 0},
                                                {"", 0},
                                                {".Foo", 0}};
  for (const auto& [name, number] : kCases) {
    EXPECT_EQ(pcd_attr_str_to_enum(name), number) << name;
  }
}

TEST(TypeWords, ReadBackInAnyCase) {
  for (const int type : {0, 1, 2, 3, 4, 5, 6, 8}) {
    ASSERT_NE(pcd_enum_to_str(type), nullptr) << type;
    EXPECT_EQ(pcd_human_str_to_enum(pcd_enum_to_str(type)), type);
  }
  EXPECT_EQ(pcd_human_str_to_enum("TIMEVAL"), DATA_TIMEVAL);
  EXPECT_EQ(pcd_human_str_to_enum("Multistate"), DATA_NONE);
  for (const int type : {-1, 7, 9}) {
    EXPECT_EQ(pcd_enum_to_str(type), nullptr) << type;
  }
}

}  // namespace
