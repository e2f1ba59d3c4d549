#include "store_fixture.h"

using toolkit::CCds;
using toolkit::CPath;
using toolkit::admin::Model;

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
    Model model;
    model.rights = std::move(rights);
    ASSERT_EQ(toolkit::admin::importModel(model, true), "");
  }

  // Letters of the rights that the caller has.
  static std::string rights(const char* user, const std::string& text) {
    if (user != nullptr) {
      setenv("REMOTE_USER", user, 1);
    } else {
      unsetenv("REMOTE_USER");
    }
    CPath path(text);
    path.normalize();
    std::string letters;
    letters += path.is_read_authorized() ? "r" : "";
    letters += path.is_write_authorized() ? "w" : "";
    letters += path.is_remove_authorized() ? "d" : "";
    letters += path.is_reset_authorized() ? "x" : "";
    return letters;
  }
};

TEST_F(Rights, TheLongestPathDecidesAndAUsersRowBeatsAnybodys) {
  const struct {
    const char* user;
    const char* path;
    const char* rights;
  } kCases[] = {
      {nullptr, "/", "r"},
      {"", "/Dev1", "r"},
      {"*", "/Dev1", "r"},
      {"stranger", "/Dev1/Va", "r"},
      {"admin", "/", "rwd"},
      {"admin", "/Dev1/Va:Units", "rwd"},
      {"operator", "/Dev1", "rw"},
      {"operator", "/Dev1/Va/Value", "rw"},
      {"operator", "/Dev10", "r"},
      {"operator", "/Dev1/Private", ""},
      {"operator", "/Dev1/Private/Deep/Below", ""},
      {nullptr, "/Dev1/Private", ""},
      {"admin", "/Dev1/Private", "rx"},
      {"admin", "/Dev1/Private/Open", "r"},
      {"admin", "/Dev1/Privateer", "rwd"},
      {"Operator", "/Dev1", "r"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(rights(c.user, c.path), c.rights)
        << (c.user == nullptr ? "no user" : c.user) << " at " << c.path;
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
  {
    CCds cds;
    cds.close();
  }
  EXPECT_EQ(rights("operator", "/Dev1"), "rw");
  setenv("TOOLKIT_RUN", (folder() / "elsewhere").c_str(), 1);
  EXPECT_EQ(rights("operator", "/Dev1"), "") << "no store there";
  setenv("TOOLKIT_RUN", (folder() / "run").c_str(), 1);
  EXPECT_EQ(rights("operator", "/Dev1"), "rw");
  ChildProcess child([] { return rights("operator", "/Dev1") == "rw" ? 0 : 1; });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(Rights, NoRowsNoRights) {
  use({});
  EXPECT_EQ(rights("admin", "/"), "");
}

}  // namespace
