#include "store_fixture.h"

using toolkit::CCds;
using toolkit::CPath;

namespace {

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
      {"admin", "/Dev1/Va:Units", "rwd"},   {"admin", "/", "rwd"},
      {"admin", "/Dev1/Private", "rx"},     {"admin", "/Dev1/Private/Open", "r"},
      {"admin", "/Dev1/Privateer", "rwd"},  {"", "/Dev1/Private", ""}};
  for (const auto& [user, path, expected] : kCases) {
    EXPECT_EQ(rights(user, path), expected) << user << " at " << path;
  }
}

TEST_F(Rights, ChangesCountAtOnceAlsoFromAnotherProcess) {
  EXPECT_EQ(rights("operator", "/Dev1"), "rw");
  ChildProcess other([] {
    use({{"/", "operator", "x"}});
    return 0;
  });
  ASSERT_EQ(other.wait(), 0);
  EXPECT_EQ(rights("operator", "/Dev1"), "x");
  EXPECT_EQ(rights("admin", "/Dev1"), "");
}

TEST_F(Rights, OutliveTheClientAndFollowTheEnvironment) {
  CCds().close();
  EXPECT_EQ(rights("operator", "/Dev1"), "rw");
  setenv("TOOLKIT_RUN", (folder() / "elsewhere").c_str(), 1);
  EXPECT_EQ(rights("operator", "/Dev1"), "") << "no store there";
  setenv("TOOLKIT_RUN", (folder() / "run").c_str(), 1);
  EXPECT_EQ(rights("operator", "/Dev1"), "rw");
  ChildProcess child([] { return rights("operator", "/Dev1") == "rw" ? 0 : 1; });
  EXPECT_EQ(child.wait(), 0);
}

}  // namespace
