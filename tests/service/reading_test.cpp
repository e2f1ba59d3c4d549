// The read operations over the real socket.
#include "service_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class Reading : public ServiceTest {
 protected:
  Reading() {
    import(testModel());
    start();
  }

  Texts array(const std::string& operation, const std::string& children) const {
    return elements(call(operation, children), operation + "Result");
  }
  Texts range(const std::string& path, const std::string& index, const std::string& count,
              const std::string& options = "") const {
    return array("getArrayRange", "<n:options>" + options + "</n:options><n:path>" + path +
                                      "</n:path><n:index>" + index + "</n:index><n:count>" + count +
                                      "</n:count>");
  }
};

TEST_F(Reading, OneValueOfEveryKind) {
  const struct {
    const char* path;
    const char* options;
    const char* expected;
  } kCases[] = {
      {"/M1/Va", "", "230.123"},
      {"/M1/Va", "precision=9", "230.123457"},
      {"/M1/Va", "precision=0", "230.123"},
      {"/M1/Va", "precision=1000000", "230.12345678899999"},
      {"/M1/Va:Units", "", "volts"},
      {"/M1/Va/Units", "", "volts"},
      {"/M1/Va:.AlarmHighLimit", "", "253"},
      {"/M1/Va:.Time", "", "1700000000500000"},
      {"/M1/Va:Units.Time", "", "1700000000500000"},
      {"/M1/Va:.Source", "", "Normal"},
      {"/M1/Va:.AttribType", "", "Real"},
      {"/M1/Breaker:.AttribType", "", "Multistate"},
      {"/M1/Enabled:.AttribType", "", "Boolean"},
      {"/M1/Count:.AttribType", "", "Integer"},
      {"/M1/Va:Units.AttribType", "", "String"},
      {"/M1:Children.Source", "", "Automatic"},
      {"/M1/Va:.Foo", "", "? 11 Illegal Attribute : Unknown sub-Attribute .Foo"},
      {"/M1/Breaker", "", "Closed"},
      {"/M1/Breaker", "canonical", "Closed"},
      {"/M1/Breaker:PossibleValues[2]", "", "Tripped"},
      {"/M1/Enabled", "", "Enabled"},
      {"/M1/Enabled", "canonical", "true"},
      {"/M1/Flag", "", "false"},
      {"/M1/Count", "", "42"},
      {"/M1/Text", "", "é 漢 😀 <&>"},
      {"/M1/Gone", "", "? 9 Node Not Found : CDS access failed"},
      {"/M1/Va:Gone", "", "? 9 Node Not Found : CDS access failed"},
      {"/M1/Breaker:PossibleValues[3]", "", "? 9 Node Not Found : CDS access failed"},
      {"/M1//Va", "", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"M1", "", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"", "", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"/M1/Gone", "errorPrefix=#", "#? 9 Node Not Found : CDS access failed"},
      {"/M1/Gone", "errorString=N/A", "N/A"},
      {"/M1/Gone", "errorString=", ""},
      {"/M1/Va", "locale=xx-XX", "? 7 Locale Not Supported : xx-XX"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(value(c.path, c.options), c.expected) << c.path << " " << c.options;
  }
}

TEST_F(Reading, RightsGuardValuesButNotWhatIsToldAboutThem) {
  const struct {
    const char* user;
    const char* path;
    const char* expected;
  } kCases[] = {
      {"operator", "/Secret/Value1", "? 2 Not Authorized : Unauthorized read"},
      {"operator", "/Secret/Value1:Children", "? 2 Not Authorized : Unauthorized read"},
      {"", "/Secret/Value1", "? 2 Not Authorized : Unauthorized read"},
      {"", "/M1/Count", "42"},
      {"admin", "/Secret/Value1", "hidden"},
      {"operator", "/Secret/Value1:.Time", "1700000000500000"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(value(c.path, "", c.user), c.expected) << c.user << " " << c.path;
  }
  const std::string emptyUser =
      post(envelope("getValue", "<n:path>/Secret/Value1</n:path>"), "", {{"REMOTE_USER", ""}})
          .body();
  EXPECT_EQ(elements(emptyUser, "getValueResult"), Texts{"? 2 Not Authorized : Unauthorized read"});
}

TEST_F(Reading, AListAnswersEachPathInItsPlace) {
  const auto list = [this](const std::string& children) { return array("getValues", children); };
  EXPECT_EQ(list("<n:paths><n:string>/M1/Count</n:string><n:string>/M1/Gone</n:string>"
                 "<n:string>bad</n:string><n:string>/Secret/Value1</n:string>"
                 "<n:string>/M1/Breaker:PossibleValues[0]</n:string></n:paths>"),
            (Texts{"42", "? 9 Node Not Found : CDS access failed",
                   "? 8 Bad Path Syntax : CDS access failed",
                   "? 2 Not Authorized : Unauthorized read", "Open"}));
  EXPECT_EQ(list("<n:paths/>"), Texts{"? 17 No Paths Provided : No paths"});
  EXPECT_EQ(list(""), Texts{"? 17 No Paths Provided : No Paths provided"});
  EXPECT_EQ(list("<n:options>locale=xx</n:options><n:paths><n:string>/M1</n:string></n:paths>"),
            Texts{"? 7 Locale Not Supported : xx"});
}

TEST_F(Reading, RelativePathsAreJoinedAsTheyStand) {
  const auto list = [this](const std::string& c) { return array("getRelativeValues", c); };
  EXPECT_EQ(list("<n:basePath>/M1/</n:basePath><n:paths>Count</n:paths><n:paths>Flag</n:paths>"),
            (Texts{"42", "false"}));
  EXPECT_EQ(list("<n:basePath>/M1</n:basePath><n:paths>Count</n:paths>"),
            Texts{"? 9 Node Not Found : CDS access failed"});
  EXPECT_EQ(list("<n:paths>/M1/Count</n:paths>"), Texts{"? 17 No Paths Provided : No paths"});
}

TEST_F(Reading, ArraysAreSplitOrRefused) {
  const auto list = [this](const std::string& path) {
    return array("getArray", "<n:path>" + path + "</n:path>");
  };
  EXPECT_EQ(list("/M1/Breaker:PossibleValues"), (Texts{"Open", "Closed", "Tripped"}));
  EXPECT_EQ(list("/M1:Children"),
            (Texts{"Breaker", "Count", "Enabled", "Flag", "List", "One", "Text", "Va"}));
  EXPECT_EQ(list("/M1/Count"), Texts{"42"}) << "a plain value is an array of one";
  EXPECT_EQ(list("/M1/Va:Units"), Texts{"? 24 Not an Array : Invalid attribute for array"});
  EXPECT_EQ(list("/M1/Gone:PossibleValues"), Texts{"? 9 Node Not Found : CDS access failed"});
  EXPECT_EQ(array("getArray", ""), Texts{"? 8 Bad Path Syntax : No Path provided"});
}

TEST_F(Reading, ArraySizeOfOneIsTheEntryUnlessAPrefixTellsErrorsApart) {
  const auto size = [this](const std::string& path, const std::string& options) {
    return array("getArraySize",
                 "<n:options>" + options + "</n:options><n:path>" + path + "</n:path>");
  };
  EXPECT_EQ(size("/M1/Breaker:PossibleValues", ""), Texts{"3"});
  EXPECT_EQ(size("/M1/One:PossibleValues", ""), Texts{"only"});
  EXPECT_EQ(size("/M1/One:PossibleValues", "errorPrefix=#"), Texts{"1"});
  EXPECT_EQ(size("/M1/Gone:PossibleValues", "errorPrefix=#"),
            Texts{"#? 9 Node Not Found : CDS access failed"});
}

TEST_F(Reading, ArrayRangesCutAndWrap) {
  const std::string list = "/M1/List:PossibleValues";  // a to j
  const struct {
    const char* index;
    const char* count;
    Texts expected;
  } kCases[] = {{"2", "3", {"c", "d", "e"}},
                {"8", "5", {"i", "j"}},
                {"8", "2", {"i", "j"}},
                {"9", "2", {"j"}},
                {"10", "1", {}},
                {"0", "1", {"a"}},
                {"0", "0", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}},
                {"3", "0", {"a", "b", "c"}},
                {"5", "4294967295", {"a", "b", "c", "d"}},
                {"4294967298", "3", {"c", "d", "e"}},
                {"18446744073709551615", "1", {}}};
  for (const auto& c : kCases) {
    EXPECT_EQ(range(list, c.index, c.count), c.expected) << c.index << ", " << c.count;
  }
  EXPECT_EQ(range("/M1/One:PossibleValues", "0", "1"), Texts{});
  EXPECT_EQ(range("/M1/One:PossibleValues", "0", "1", "errorPrefix=#"), Texts{"only"});
}

}  // namespace
