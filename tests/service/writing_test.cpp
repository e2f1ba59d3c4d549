// The write operations over the real socket: what is acknowledged is there, what is refused changed
// nothing.
#include <csignal>
#include <map>

#include "service_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class Writing : public ServiceTest {
 protected:
  Writing() {
    toolkit::admin::Model model = testModel();
    const auto add = [&model](const char* node, const char* name, toolkit::CElement element) {
      model.leaves.push_back({node, name, std::move(element), ELEMENT_NORMAL});
    };
    for (const char* point : {"/M1/Breaker", "/M1/Enabled", "/M1/Flag", "/M1/Count", "/M1/Text"}) {
      add(point, "Writable", toolkit::CElement(true));
    }
    for (const auto& [name, text] :
         std::map<const char*, const char*>{{"ValueType", "Multistate"},
                                            {"PossibleValues", "Off;Eco;Day;Night"},
                                            {"WritableValues", "Day;Off"}}) {
      add("/M1/Mode", name, toolkit::CElement(text));
    }
    add("/M1/Mode", "Value", toolkit::CElement(3));
    add("/M1/Mode", "Writable", toolkit::CElement(true));
    add("/M1/Enabled", "ValueType", toolkit::CElement("Boolean"));
    add("/M1/Locked", "Value", toolkit::CElement(7));
    add("/M1/Locked", "Writable", toolkit::CElement(false));
    import(model);
    start();
  }
};

TEST_F(Writing, AnswersWithWhatIsThenThere) {
  const struct {
    const char* path;
    const char* text;
    const char* answer;
    const char* present;
  } kCases[] = {
      {"/M1/Va", "1.5e2", "150", "150"},
      {"/M1/Va:.AlarmHighLimit", "260", "260", "260"},
      {"/M1/Count", "-99999999999", "-2147483648", "-2147483648"},
      {"/M1/Count", "17", "17", "17"},
      {"/M1/Breaker", "Tripped", "Tripped", "Tripped"},
      {"/M1/Enabled", "Disabled", "Disabled", "Disabled"},
      {"/M1/Flag", "TRUE", "true", "true"},
      {"/M1/Text", "漢 &amp; é", "漢 & é", "漢 & é"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(set(c.path, c.text), c.answer) << c.path;
    EXPECT_EQ(value(c.path), c.present) << c.path;
  }
}

TEST_F(Writing, RefusesAndChangesNothing) {
  const struct {
    const char* path;
    const char* text;
    const char* answer;
  } kCases[] = {
      {"/M1/Count", "12abc", "? 12 Bad Value Format : Could not transform 12abc"},
      {"/M1/Count", "2147483647", "? 12 Bad Value Format : Could not transform 2147483647"},
      {"/M1/Va", "1e999", "? 12 Bad Value Format : Could not transform 1e999"},
      {"/M1/Flag", "yes", "? 12 Bad Value Format : Could not transform yes"},
      {"/M1/Breaker", "Ajar", "? 12 Bad Value Format : Cannot find PossibleValue match to write"},
      {"/M1/Locked", "8", "? 15 Not Writable : Value is not Writable"},
      {"/M1/List:PossibleValues", "x",
       "? 11 Illegal Attribute : Attribute PossibleValues is not Writable"},
      {"/M1/Va:.Time", "1", "? 11 Illegal Attribute : Attribute .Time is not Writable"},
      {"/M1/List:PossibleValues[0]", "x",
       "? 11 Illegal Attribute : Attribute PossibleValues is not Writable"},
      {"/M1/Va:.Foo", "1", "? 16 Write Failed : CDS write access failed"},
      {"/M1/Va:Value.Time", "1", "? 11 Illegal Attribute : Attribute .Time is not Writable"},
      {"/M1/Va:.AlarmHighLimit.Time", "1", "? 16 Write Failed : CDS write access failed"},
      {"/M1/Count:Value[0]", "1", "? 16 Write Failed : CDS write access failed"},
      {"/M1/Gone", "1", "? 9 Node Not Found : Node does not exist"},
      {"/M1/", "1", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"/M1/Count", "", "? 12 Bad Value Format : No Value provided"},
      {"", "1", "? 8 Bad Path Syntax : No Path provided"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(set(c.path, c.text), c.answer) << c.path;
    if (*c.text != '\0') {
      EXPECT_EQ(setMany({c.path}, {c.text}).at(0).substr(0, 2), "? ") << c.path;
    }
  }
  EXPECT_EQ(value("/M1/Count"), "42");
  EXPECT_EQ(value("/M1/Va"), "230.123");
  EXPECT_EQ(value("/M1/Va:.AlarmHighLimit"), "253");
  EXPECT_EQ(value("/M1/List:PossibleValues"), "a;b;c;d;e;f;g;h;i;j");
  EXPECT_EQ(value("/M1/Locked"), "7");
}

TEST_F(Writing, WithoutTheRightIsHttp401AndWritesNothing) {
  const FastCgiReply one =
      post(envelope("setValue", "<n:path>/M1/Count</n:path><n:value>1</n:value>"), "stranger");
  EXPECT_EQ(one.status(), 401) << one.out;
  const FastCgiReply many =
      post(envelope("setValues", pathsAndValues({"/M1/Count", "/Secret/Value1"}, {"1", "x"})),
           "operator");
  EXPECT_EQ(many.status(), 401) << many.out;
  EXPECT_EQ(value("/M1/Count"), "42");
}

TEST_F(Writing, ABatchAnswersEachEntryAndEntriesInformEachOther) {
  EXPECT_EQ(setMany({"/M1/Count", "bad", "/M1/Breaker", "/M1/Va:.AlarmLowLimit"},
                    {"5", "1", "Ajar", "1"}),
            (Texts{"5", "? 8 Bad Path Syntax : CDS Error in supplied path",
                   "? 12 Bad Value Format : Cannot find PossibleValue match to write",
                   "? 9 Node Not Found : Node does not exist"}));
  EXPECT_EQ(value("/M1/Count"), "5");
  EXPECT_EQ(setMany({"/M1/Flag", "/M1/Breaker", "/M1/Enabled"}, {"TRUE", "Open", "Disabled"}),
            (Texts{"TRUE", "Open", "Disabled"}));
  EXPECT_EQ(value("/M1/Breaker"), "Open");
  EXPECT_EQ(value("/M1/Enabled"), "Disabled");
  EXPECT_EQ(setMany({"/M1/Count"}, {"1", "2"}),
            Texts{"? 14 Index Out of Range : Mismatched array sizes"});
  EXPECT_EQ(setMany({}, {"1"}), Texts{"? 17 No Paths Provided : No Paths provided"});
  EXPECT_EQ(setMany({"/M1/Count"}, {}), Texts{"? 23 Empty Array : No Values provided"});
}

TEST_F(Writing, OnlyWritableLabelsAreTakenAndEachIsItsOwnState) {
  for (const char* label : {"Day", "Off"}) {
    EXPECT_EQ(set("/M1/Mode", label), label);
    EXPECT_EQ(value("/M1/Mode"), label);
    EXPECT_EQ(setMany({"/M1/Mode"}, {label}), Texts{label});
    EXPECT_EQ(value("/M1/Mode"), label);
  }
  const std::string refusal = "? 12 Bad Value Format : Cannot find PossibleValue match to write";
  for (const char* label : {"Eco", "2", "day", "Lunch"}) {
    EXPECT_EQ(set("/M1/Mode", label), refusal) << label;
    EXPECT_EQ(setMany({"/M1/Mode"}, {label}), Texts{refusal}) << label;
  }
  EXPECT_EQ(value("/M1/Mode"), "Off");
}

TEST_F(Writing, ARefusedEntryDoesNotChangeWhatTheOthersMean) {
  const struct {
    const char* attribute;
    const char* text;
    const char* value;
    const char* answer;
  } kCases[] = {
      {"PossibleValues", "Day;Night", "Day", "Day"},
      {"WritableValues", "Eco", "Eco",
       "? 12 Bad Value Format : Cannot find PossibleValue match to write"},
      {"ValueType", "Integer", "1",
       "? 12 Bad Value Format : Cannot find PossibleValue match to write"},
      {"ValueType", "Multistate", "Off", "Off"},
  };
  for (const auto& c : kCases) {
    const std::string attribute = c.attribute;
    EXPECT_EQ(
        setMany({"/M1/Mode:" + attribute, "/M1/Mode"}, {c.text, c.value}),
        (Texts{"? 11 Illegal Attribute : Attribute " + attribute + " is not Writable", c.answer}));
    if (c.answer[0] != '?') {
      EXPECT_EQ(value("/M1/Mode"), c.value) << attribute;
    }
  }
}

TEST_F(Writing, PersistentValuesSurviveARestartAndOthersDoNot) {
  EXPECT_EQ(set("/M1/Count", "100", "persist"), "100");
  EXPECT_EQ(value("/M1/Count:.Source"), "Persistent");
  EXPECT_EQ(set("/M1/Va", "1"), "1");
  stop(SIGKILL);
  ASSERT_EQ(toolkit::admin::boot(), "");
  start();
  EXPECT_EQ(value("/M1/Count"), "100");
  EXPECT_EQ(value("/M1/Va"), "230.123");
}

}  // namespace
