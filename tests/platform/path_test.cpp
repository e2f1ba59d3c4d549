// Paths: their grammar, their names, and what the caller may do there.
#include "toolkit/path.h"

#include "store_fixture.h"

using toolkit::CPath;

namespace {

TEST(Path, SplitsIntoNodeLeafAndSubAttribute) {
  const std::tuple<const char*, const char*, const char*, const char*> kCases[] = {
      {"/", "/", "Value", ""},
      {"/NodeType", "/", "NodeType", ""},
      {"/Dev1/Va", "/Dev1/Va", "Value", ""},
      {"/Dev1/Va/Value", "/Dev1/Va", "Value", ""},
      {"/Dev1/Va:Units", "/Dev1/Va", "Units", ""},
      {"/Dev1/.Quality", "/Dev1", ".Quality", ""},
      {"/Dev1/Va:.Time", "/Dev1/Va", "Value", ".Time"},
      {"/Dev1/Va:.AlarmHighLimit.Time", "/Dev1/Va", ".AlarmHighLimit", ".Time"},
      {"/Dev1/Va:Own.Time", "/Dev1/Va", "Own.Time", ""},
      {"/Büro/漢 1", "/Büro/漢 1", "Value", ""},
      {"/Dev1/Row[1]", "/Dev1/Row[1]", "Value", ""}};
  for (const auto& [text, node, leaf, sub] : kCases) {
    CPath path(text);
    ASSERT_EQ(path.normalize(), 0) << text;
    ASSERT_EQ(path.normalize(), 0) << "again: " << text;
    EXPECT_EQ(path.getNodePath(), node) << text;
    EXPECT_EQ(path.getLeafName(), leaf) << text;
    EXPECT_EQ(path.getSubAttribute(), sub) << text;
    EXPECT_FALSE(path.isArrayElement()) << text;
    EXPECT_EQ(path.LopLastSubpath(), leaf) << text;
    EXPECT_EQ(path.LopLastSubpath(), fs::path(node).filename()) << text;
  }
}

TEST(Path, TextOutsideTheGrammarIsBad) {
  const std::string kCases[] = {
      "", "Dev1", "//", "/Dev1/", "//Dev1", "/Dev1//Va", "/.", "/Dev1/..", "/Dev1/../Va", "/...",
      "/Dev1\n", "/Dev\x7f", std::string("/a\0b", 4),
      // names that no node bears
      "/Units/Va", "/Dev1/Value/Va", "/Dev1/Units:Units", "/Dev1/.Time", "/.Source/Va",
      "/Dev1/.AttribType",
      // attributes
      "/Dev1:", "/Dev1/:Units", ":Units", "/Dev1::Units", "/Dev1:Units:Units", "/Dev1:a/b",
      "/Dev1:a\tb", "/Dev1:..", "/Dev1:Units.", "/Dev1:.Foo1", "/Dev1:Units.T-x", "/Dev1:!x",
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
}

TEST(Path, NodeNamesAreDistinctAndReadBack) {
  const std::pair<const char*, const char*> kCases[] = {
      {"/Dev1/Va:.Time", "Dev1.Va!..Time"}, {"/V1.2/a!b", "V1..2.a!!b"}, {"/a./b", "a...b"},
      {"/a/!/.b!", "a.!!!...b!!"},          {"/a!:.b", "a!!!..b"},       {"/.a/!:x", "..a.!!!x"}};
  std::string name;
  std::string path;
  for (const auto& [text, dotted] : kCases) {
    CPath::PathToNodeName(text, name);
    EXPECT_EQ(name, dotted);
    CPath::DottedPathToNodePath(name, path);
    EXPECT_EQ(path, text);
  }
  for (const char* bad : {"", "/", "Dev1", "/Dev1/"}) {
    name = "before";
    CPath::PathToNodeName(bad, name);
    EXPECT_EQ(name, "") << bad;
  }
}

class Rights : public StoreTest {
 protected:
  Rights() {
    use({{"/", "*", "r"},
         {"/", "admin", "rwd"},
         {"/Dev1", "operator", "rw"},
         {"/Dev1/Private", "*", ""},
         {"/Dev1/Private", "admin", "rx"},
         {"/Dev1/Private/Open", "*", "r"}});
  }

  static void use(std::vector<toolkit::admin::Right> rights) {
    ASSERT_EQ(toolkit::admin::importModel({std::move(rights), {}, {}}, true), "");
  }

  // Letters of the rights that the caller has.
  static std::string rights(const char* user, const std::string& text) {
    setenv("REMOTE_USER", user, 1);
    const CPath path = normalized(text);
    return std::string(path.is_read_authorized() ? "r" : "") +
           (path.is_write_authorized() ? "w" : "") + (path.is_remove_authorized() ? "d" : "") +
           (path.is_reset_authorized() ? "x" : "");
  }
};

TEST_F(Rights, TheLongestPathDecidesAndAUsersRowBeatsAnybodys) {
  EXPECT_TRUE(normalized("/Dev1").is_read_authorized()) << "anonymous";
  EXPECT_FALSE(normalized("/Dev1").is_write_authorized()) << "anonymous";
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"operator", "/Dev1", "rw"},          {"Operator", "/Dev1", "r"},
      {"operator", "/Dev10", "r"},          {"*", "/Dev1", "r"},
      {"operator", "/Dev1/Va/Value", "rw"}, {"stranger", "/Dev1/Va", "r"},
      {"operator", "/Dev1/Private", ""},    {"operator", "/Dev1/Private/Deep/Below", ""},
      {"admin", "/Dev1/Va:Units", "rwd"},   {"admin", "/", "rw"},
      {"admin", "/Dev1/Private", "rx"},     {"admin", "/Dev1/Private/Open", "r"},
      {"admin", "/Dev1/Privateer", "rwd"},  {"admin", "/Dev1", "rw"},
      {"admin", "/Dev10", "rwd"},           {"", "/Dev1/Private", ""}};
  for (const auto& [user, path, expected] : kCases) {
    EXPECT_EQ(rights(user, path), expected) << user << " at " << path;
  }
}

TEST_F(Rights, ChangesCountAtOnceAlsoFromAnotherProcess) {
  CCds().close();
  EXPECT_EQ(rights("operator", "/Dev1"), "rw") << "they outlive a client";
  ChildProcess other([] {
    const bool same = rights("operator", "/Dev1") == "rw";
    use({{"/", "operator", "x"}});
    return same ? 0 : 1;
  });
  ASSERT_EQ(other.wait(), 0);
  EXPECT_EQ(rights("operator", "/Dev1"), "x");
  EXPECT_EQ(rights("admin", "/Dev1"), "");
}

}  // namespace
