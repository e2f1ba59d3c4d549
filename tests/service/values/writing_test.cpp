// The write operations over the real socket: what is acknowledged is there, what is refused changed
// nothing. Where the store cannot take it, the old values stay whole and the service goes on.
#include "service_fixture.h"

namespace {

class Writing : public ServiceTest {
 protected:
  Writing() {
    import({leafAt("/M1/Mode:Writable", true), leafAt("/M1/Mode:ValueType", "Multistate"),
            leafAt("/M1/Mode:PossibleValues", "Off;Eco;Day;Night"),
            leafAt("/M1/Mode:WritableValues", "Day;Off"), leafAt("/M1/Mode", 3),
            leafAt("/M1/Enabled:ValueType", "Boolean"), leafAt("/M1/State:Writable", true),
            leafAt("/M1/State:PossibleValues", "Idle;;Busy"),
            leafAt("/M1/State", CElement(1, DATA_ENUMERATED)), leafAt("/M1/Locked", 7),
            leafAt("/M1/Locked:Writable", false)});
    start();
  }
};

TEST_F(Writing, AnswersWithWhatIsThenThere) {
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"/M1/Va", "1.5e2", "150"},
      {"/M1/Va:.AlarmHighLimit", "260", "260"},
      {"/M1/Count", "-99999999999", "-2147483648"},
      {"/M1/Breaker", "Tripped", "Tripped"},
      {"/M1/Mode", "Day", "Day"},
      {"/M1/State", "Busy", "Busy"},
      {"/M1/Enabled", "Disabled", "Disabled"},
      {"/M1/Flag", "TRUE", "true"},
      {"/M1/Text", "漢 &amp; é", "漢 & é"}};
  for (const auto& [path, text, present] : kCases) {
    EXPECT_EQ(set(path, text), present) << path;
    EXPECT_EQ(value(path), present) << path;
  }
  EXPECT_EQ(value("/M1/Va:.Source"), "Normal");
}

TEST_F(Writing, RefusesAndChangesNothing) {
  const char* const noMatch = "? 12 Bad Value Format : Cannot find PossibleValue match to write";
  const std::tuple<std::string, std::string, const char*> kCases[] = {
      {"/M1/Count", "12abc", "? 12 Bad Value Format : Could not transform 12abc"},
      {"/M1/Count", "2147483647", "? 12 Bad Value Format : Could not transform 2147483647"},
      {"/M1/Flag", "yes", "? 12 Bad Value Format : Could not transform yes"},
      {"/M1/Mode", "Eco", noMatch},
      {"/M1/Breaker", "closed", noMatch},
      {"/M1/Enabled", "true", noMatch},
      {"/M1/Locked", "8", "? 15 Not Writable : Value is not Writable"},
      {"/M1/List:PossibleValues", "x",
       "? 11 Illegal Attribute : Attribute PossibleValues is not Writable"},
      {"/M1/Va:.Time", "1", "? 11 Illegal Attribute : Attribute .Time is not Writable"},
      {"/M1/Va:.Foo", "1", "? 16 Write Failed : CDS write access failed"},
      {"/M1/Gone", "1", "? 9 Node Not Found : Node does not exist"},
      {"/M1/", "1", "? 8 Bad Path Syntax : CDS Error in supplied path"},
      {"/M1/Count", "", "? 12 Bad Value Format : No Value provided"},
      {"", "1", "? 8 Bad Path Syntax : No Path provided"}};
  for (const auto& [path, text, answer] : kCases) {
    EXPECT_EQ(set(path, text), answer) << path;
    if (!text.empty()) {
      EXPECT_EQ(setMany({path}, {text}).at(0).substr(0, 2), "? ") << path;
    }
  }
  EXPECT_EQ(value("/M1/Count"), "42");
  EXPECT_EQ(value("/M1/Va"), "230.123");
  EXPECT_EQ(value("/M1/List:PossibleValues"), "a;b;c;d;e;f;g;h;i;j");
  EXPECT_EQ(value("/M1/Locked"), "7");
  EXPECT_EQ(value("/M1/State"), "1") << "a state without a label";
  const std::string one = "<n:path>/M1/Count</n:path><n:value>1</n:value>";
  const FastCgiReply refused = post(envelope("setValue", one), "stranger");
  EXPECT_EQ(refused.status(), 401);
  EXPECT_TRUE(contains(refused.out, "WWW-Authenticate: Basic realm=\"dravixd\""));
  const std::string many = pathsAndValues({"/M1/Count", "/Secret/Value1"}, {"1", "x"});
  EXPECT_EQ(post(envelope("setValues", many)).status(), 401);
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
  // What is refused does not change what the others mean.
  EXPECT_EQ(setMany({"/M1/Mode:PossibleValues", "/M1/Mode"}, {"Day;Night", "Day"}).at(1), "Day");
  EXPECT_EQ(value("/M1/Mode"), "Day");
  EXPECT_NE(setMany({"/M1/Mode:WritableValues", "/M1/Mode"}, {"Eco", "Eco"}).at(1), "Eco");
  EXPECT_NE(setMany({"/M1/Mode:ValueType", "/M1/Mode"}, {"Integer", "1"}).at(1), "1");
  EXPECT_EQ(setMany({"/M1/Count"}, {"1", "2"}),
            Texts{"? 14 Index Out of Range : Mismatched array sizes"});
  EXPECT_EQ(setMany({}, {"1"}), Texts{"? 17 No Paths Provided : No Paths provided"});
  EXPECT_EQ(setMany({"/M1/Count"}, {}), Texts{"? 23 Empty Array : No Values provided"});
}

const std::string kFailed = "? 16 Write Failed : CDS write access failed";
const std::string kBatchFailed = "? 16 Write Failed : Attempt to write data failed";

class StoreTrouble : public ServiceTest {
 protected:
  void begin(Leaves leaves = {}) {
    leaves.push_back(leafAt("/M1/Text", "old"));
    import(leaves);
    start();
  }
  void expectOldValues() {
    EXPECT_EQ(value("/M1/Count"), "42");
    EXPECT_EQ(value("/M1/Text"), "old");
  }
};

TEST_F(StoreTrouble, AReadOnlyStoreIsOnlyRead) {
  begin({leafAt("/ReadOnlyCDS", true)});
  EXPECT_EQ(set("/M1/Count", "1"), kFailed);
  EXPECT_EQ(setMany({"/M1/Count"}, {"1"}), std::vector{kFailed});
  EXPECT_TRUE(contains(call("createSubscription", tags({{"n:subscriptionId", "a"}})), "Fault"));
  expectOldValues();
  stop(SIGTERM);
  EXPECT_EQ(appStatus(), "2");
}

TEST_F(StoreTrouble, AFullMapTakesNeitherALargeTextNorASmallOneBesideIt) {
  setenv("TOOLKIT_STORE_LIMIT", "1000000", 1);
  begin();
  const std::string large(1000000, 'x');
  for (const char* options : {"", "persist"}) {
    EXPECT_EQ(set("/M1/Text", large, options), kFailed);
    EXPECT_EQ(setMany({"/M1/Count", "/M1/Text"}, {"1", large}, options), Texts(2, kBatchFailed));
    expectOldValues();
    ASSERT_EQ(toolkit::admin::boot(), "");
    expectOldValues();
  }
  EXPECT_EQ(set("/M1/Count", "43", "persist"), "43") << "what fits is still taken";
}

TEST_F(StoreTrouble, AClientThatFillsTheStoreDoesNotStopTheMeter) {
  setenv("TOOLKIT_STORE_LIMIT", "2000000", 1);
  begin();
  std::string reply;
  for (int i = 0; i < 1000 && !contains(reply, "? 16 Write Failed"); ++i) {
    const std::string path = "/M1/New" + std::to_string(i);
    const std::string children = tags({{"n:path", path}, {"n:value", std::string(5000, 'x')}});
    reply = post(envelope("SetLeaf", children, "TarnixWSTest"), "admin").body();
  }
  EXPECT_TRUE(contains(reply, "? 16 Write Failed"));
  EXPECT_EQ(set("/M1/Count", "43"), "43") << "what does not grow is still taken";
  CCds meter;
  for (int i = 0; i < 50; ++i) {
    const CEvent event = makeEvent(toolkit::EVENT_PLAIN, "", std::string(1000, 'x'), {});
    ASSERT_EQ(send(meter, {event}), std::vector{API_SUCCESS}) << meter.last_error();
  }
}

}  // namespace
