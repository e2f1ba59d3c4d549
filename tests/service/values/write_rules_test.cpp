// Rules of writing that no request of the core namespace reaches: test mode, and a client whose
// store was closed under it. And what the log hears of a refusal, in which order and at which
// level.
#include <algorithm>
#include <regex>

#include "handler_fixture.h"
#include "values/batch_writing.h"
#include "values/error_strings.h"
#include "values/writing.h"

using namespace toolkit::ws;

namespace {

class WriteRules : public HandlerTest {
 protected:
  WriteRules() {
    import({leafAt("/P", 230.5), leafAt("/P:Units", "volts"), leafAt("/P:ValueType", "Real"),
            leafAt("/P:.AlarmOnValue", 3e9), leafAt("/S", 0), leafAt("/S:ValueType", "Integer"),
            leafAt("/S:PossibleValues", "Off;On")});
    parseServiceOptions(nullptr, nullptr, &opts_);
  }

  std::string set(const std::string& path, const std::string& text) {
    std::string reply;
    EXPECT_EQ(pcd_setValue(ctx_, true, &opts_, path, text, reply), 0);
    return reply;
  }
  Texts setMany(const Texts& paths, const Texts& texts) {
    Texts replies;
    EXPECT_EQ(pcd_setValues(ctx_, true, &opts_, paths, texts, replies), 0);
    return replies;
  }
  std::string present(const std::string& path) { return text(global_.cdsApi, path); }
  data_type_t typeOf(const std::string& path) {
    return read(global_.cdsApi, {path}).elements.front().type();
  }

  _service_options_t opts_;
};

TEST_F(WriteRules, TestModeMakesLeavesOfTheTypeThatTheirNameAsksFor) {
  const std::tuple<const char*, const char*, const char*, data_type_t> kCases[] = {
      {"/P:Units", "amperes", "amperes", DATA_STRING},
      {"/P:.AlarmHighLimit", "253", "253", DATA_REAL},
      {"/P:.AlarmDelay", "17", "17", DATA_INTEGER},
      {"/New/Node", "7", "7", DATA_STRING},
      {"/P:HasHistory", "false",
       "? 11 Illegal Attribute : Attribute HasHistory is automatically set to false", DATA_NONE},
      {"/P:.AlarmLowLimit", "low", "? 12 Bad Value Format : Could not transform low", DATA_NONE},
      {"/P:Reference", "x",
       "? 11 Illegal Attribute : Automatic Attribute Reference is not Writable", DATA_NONE},
      {"/P:Units[0]", "x", "? 16 Write Failed : CDS write access failed", DATA_STRING}};
  for (const auto& [path, text, reply, type] : kCases) {
    EXPECT_EQ(set(path, text), reply) << path;
    EXPECT_EQ(typeOf(path), type) << path;
  }
  EXPECT_EQ(present("/P:Units"), "amperes");
}

TEST_F(WriteRules, SingleAndBatchWritesTakeTheSameLabels) {
  import({leafAt("/S:ValueType", "Multistate"), leafAt("/S", 0),
          leafAt("/S:PossibleValues", "Off;On;Auto"), leafAt("/S:Writable", true),
          leafAt("/B:ValueType", "Boolean"), leafAt("/B", false), leafAt("/B:Writable", true)});
  const std::tuple<const char*, const char*, const char*, const char*, bool, bool> kCases[] = {
      // node, its writable and possible values, text, taken by the value operations, by maintenance
      {"/S", "Off;On", "Off;On;Auto", "Auto", false, true},
      {"/S", "Off;On", "Off;On;Auto", "On", true, true},
      {"/S", "A", "A;B", "B", true, true},
      {"/S", "", "A", "A", true, true},
      {"/S", "A", "", "A", false, false},
      {"/B", "", "A", "true", true, true},
      {"/B", "", "A", "A", false, false},
      {"/B", "true", "", "true", true, true},
      {"/B", "true", "", "false", false, true}};
  for (const auto& [node, writable, possible, label, valueTaken, maintenanceTaken] : kCases) {
    const std::string path = node;
    StoreTest::set(global_.cdsApi, path + ":WritableValues", CElement(writable));
    StoreTest::set(global_.cdsApi, path + ":PossibleValues", CElement(possible));
    for (const bool testMode : {false, true}) {
      const std::string expected = (testMode ? maintenanceTaken : valueTaken) ? label : "? 12";
      std::string single;
      Texts batch;
      EXPECT_EQ(pcd_setValue(ctx_, testMode, &opts_, path, label, single), 0);
      const std::string state = present(path);
      EXPECT_EQ(pcd_setValues(ctx_, testMode, &opts_, {path}, {label}, batch), 0);
      const std::string about = path + " " + writable + "/" + possible + " " + label;
      EXPECT_EQ(single.substr(0, expected.size()), expected) << about << testMode;
      EXPECT_EQ(batch.at(0).substr(0, expected.size()), expected) << about << testMode;
      EXPECT_EQ(present(path), state) << about;
    }
  }
}

TEST_F(WriteRules, ANewValueTypeConvertsTheValueOrZeroesIt) {
  const std::tuple<CElement, const char*, data_type_t, const char*> kCases[] = {
      {CElement(230.5), "Integer", DATA_INTEGER, "230"},
      {CElement(3e9), "Integer", DATA_INTEGER, "0"},
      {CElement(-0.0 / 0.0), "Multistate", DATA_INTEGER, "0"},
      {CElement("12 volts"), "Real", DATA_REAL, "0"},
      {CElement("TRUE"), "Boolean", DATA_BOOLEAN, "true"},
      {CElement(42), "unheard of", DATA_STRING, "42"}};
  for (const auto& [before, valueType, type, after] : kCases) {
    for (const pcd_tribool_t persist : {PCD_FALSE, PCD_TRUE}) {
      StoreTest::set(global_.cdsApi, "/P", before, persist);
      EXPECT_EQ(set("/P:ValueType", valueType), valueType);
      EXPECT_EQ(typeOf("/P"), type) << valueType;
      EXPECT_EQ(present("/P"), after) << valueType;
      EXPECT_EQ(typeOf("/P:.AlarmOnValue"), type) << valueType;
      EXPECT_EQ(present("/P:ValueType"), "Real") << "the type itself is left to the caller";
    }
  }
  ASSERT_EQ(toolkit::admin::boot(), "");
  EXPECT_EQ(typeOf("/P"), DATA_STRING) << "a durable value is converted durably";
}

TEST_F(WriteRules, ABatchOfTestModeReadsValuesByItsOwnTypesAndLabels) {
  EXPECT_EQ(setMany({"/S", "/S:ValueType"}, {"On", "Multistate"}), (Texts{"On", "Multistate"}));
  EXPECT_EQ(present("/S"), "1");
  EXPECT_EQ(setMany({"/S:ValueType", "/S:PossibleValues", "/S"}, {"Multistate", "A;B;C", "C"}),
            (Texts{"Multistate", "A;B;C", "C"}));
  EXPECT_EQ(present("/S"), "2");
  EXPECT_EQ(setMany({"/S:PossibleValues[0]", "/S:ValueType", "/S"}, {"D;E", "Multistate", "E"}),
            (Texts{"? 16 Write Failed : CDS write access failed", "Multistate",
                   "? 12 Bad Value Format : Cannot find PossibleValue match to write"}));
  EXPECT_EQ(setMany({"/P:ValueType", "/P"}, {"Boolean", "TRUE"}), (Texts{"Boolean", "TRUE"}));
  EXPECT_EQ(typeOf("/P"), DATA_BOOLEAN);
}

class Refusals : public HandlerTest {
 protected:
  // The lines of a logger of the level, each from its severity on.
  std::string logged(int level, const Refusal& refusal, const std::string& subject) const {
    const std::string file = folder() / "lines";
    setenv("TOOLKIT_LOG", file.c_str(), 1);
    toolkit::CSysLog log("t", level, false, false, true);
    unsetenv("TOOLKIT_LOG");
    __psyslog = &log;
    EXPECT_FALSE(refuse(refusal, "Nothing at %s (%d)", subject.c_str(), 7));
    const std::string lines = contentsOf(file);
    fs::remove(file);
    return std::regex_replace(lines, std::regex("[^\n]*? t ([^\n]*\n)"), "$1");
  }

  std::string out_ = "before";
};

TEST_F(Refusals, TheLineComesBeforeTheErrorString) {
  const Refusal refusal = {WS_NO_DATA, "Gone", out_, nullptr, Refusal::Line::kInfo, "byte 3"};
  const std::string first = "info: Nothing at /a%s (7)\n";
  const std::string last = "info: BnwsErrMsg: ? 22 No Data Available : Gone\n";
  EXPECT_EQ(logged(2, refusal, "/a%s"), first + "info: byte 3\n" + last);
  EXPECT_EQ(logged(1, refusal, "/a%s"), first + last);
  EXPECT_EQ(out_, "? 22 No Data Available : Gone");
  EXPECT_EQ(logged(0, {WS_NO_DATA, nullptr, out_, nullptr}, "/a"), "");
  EXPECT_EQ(out_, "? 22 No Data Available") << "also where nothing is logged";
}

TEST_F(Refusals, ALineHasItsSeverityLevelAndTheLogsLength) {
  const std::string answer = "info: BnwsErrMsg: ? 16 Write Failed\n";
  const Refusal notice = {WS_WRITE_FAILED, "", out_, nullptr, Refusal::Line::kNotice};
  EXPECT_EQ(logged(1, notice, "/a"), "notice: Nothing at /a (7)\n" + answer);
  const Refusal detail = {WS_WRITE_FAILED, "", out_, nullptr, Refusal::Line::kDetail};
  EXPECT_EQ(logged(5, detail, "/a"), answer);
  EXPECT_EQ(logged(6, detail, "/a"), "info: Nothing at /a (7)\n" + answer);
  const std::string lines = logged(1, {WS_NO_DATA, nullptr, out_, nullptr}, std::string(5000, 'x'));
  EXPECT_EQ(lines.find('\n'), std::string("info: ").size() + 2000);
}

TEST_F(Refusals, AFloodOfOneKindHidesNoOther) {
  const std::string file = folder() / "flood";
  setenv("TOOLKIT_LOG", file.c_str(), 1);
  toolkit::CSysLog log("t", 1, false, false, true);
  unsetenv("TOOLKIT_LOG");
  __psyslog = &log;
  const Refusal refusal = {WS_NO_DATA, nullptr, out_, nullptr};
  for (int i = 0; i < 1000; ++i) {
    refuse(refusal, "Nothing at %d", i);
  }
  refuse(refusal, "Another reason: %d", 7);
  const std::string lines = contentsOf(file);
  EXPECT_LT(std::count(lines.begin(), lines.end(), '\n'), 110);
  EXPECT_TRUE(contains(lines, "Another reason: 7"));
}

}  // namespace
