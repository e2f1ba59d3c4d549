// The table of active alarms: over the socket, and which of them a request gets.
#include "handler_fixture.h"
#include "service_fixture.h"

namespace {

using toolkit::CElement;
using toolkit::admin::ModelLeaf;

// The seven leaves of an alarm, changed at a time.
std::vector<ModelLeaf> alarmLeaves(const std::string& number, int seconds, int level,
                                   const std::string& source, CElement value) {
  CElement sequence(3);
  sequence.set_time({seconds, 250000});
  const std::string node = "/Alarms/" + number;
  return {{node + "/SourcePath", "Value", CElement(source)},
          {node + "/SourceValue", "Value", std::move(value)},
          {node + "/AlarmMsg", "Value", CElement("Voltage too high : xVoltage too low")},
          {node + "/SequenceID", "Value", sequence},
          {node + "/AlarmLevel", "Value", CElement(level)},
          {node + "/ConditionRaised", "Value", CElement(level == 1)},
          {node + "/Note", "Value", CElement("note " + number)}};
}

class ActiveAlarms : public ServiceTest {
 protected:
  void startWith(const std::vector<std::vector<ModelLeaf>>& alarms) {
    toolkit::admin::Model model = testModel();
    model.leaves.push_back({"/Alarms/AlarmCount", "Value", CElement(9)});
    model.leaves.push_back({"/Alarms/AlarmCountTotal", "Value", CElement(9)});
    for (const auto& alarm : alarms) {
      model.leaves.insert(model.leaves.end(), alarm.begin(), alarm.end());
    }
    import(model);
    start();
  }
  std::string alarms(const std::string& children = "") const {
    return ask("getActiveAlarms", "<request>" + children + "</request>");
  }
};

TEST_F(ActiveAlarms, TellWhatTheTableAndTheSourcePointSay) {
  std::vector<ModelLeaf> bare = alarmLeaves("20", 2, 5, "/Gone/Value", CElement());
  bare.resize(4);  // up to the sequence
  std::vector<ModelLeaf> broken = alarmLeaves("30", 2, 1, "/M1/Va", CElement());
  broken.erase(broken.begin());
  startWith(
      {alarmLeaves("7", 3, 1, "/M1/Va/Value", CElement(260.5)),
       alarmLeaves("8", 3, 3, "/M1/Breaker", CElement(2)),
       alarmLeaves("9", 3, 5, "/M1/Count", CElement(1)),
       alarmLeaves("10", 3, 2, "/M1/Va:Units", CElement("volts")),
       bare,
       broken,
       {{"/M1/Va", ".BasePriority", CElement(77)}, {"/M1/Va", ".AutoClosing", CElement(true)}}});
  const std::string reply = alarms("<options>locale=de</options>");
  const std::tuple<const char*, Texts> kFields[] = {
      {"EventId", {"20", "7", "8", "9", "10"}},
      {"SourcePath", {"/Gone", "/M1/Va", "/M1/Breaker", "/M1/Count", "/M1/Va:Units"}},
      {"Time", {"2250000", "3250000", "3250000", "3250000", "3250000"}},
      {"Description", Texts(5, "Spannung zu hoch : Spannung zu niedrig")},
      {"Value", {"", "260.5", "Ausgelöst", "1", "volts"}},
      {"NumericValue", {"2"}},
      {"BasePriority", {"5000", "77", "5000", "5000", "77"}},
      {"AutoClosing", {"false", "true", "false", "false", "true"}},
      {"AckStatus", {"NotAcked", "NotAcked", "Acked", "Closed", "NotAcked"}},
      {"VariationLevel", {"1", "2", "1", "1", "1"}},
      {"ConditionPresent", {"false", "true", "false", "false", "false"}},
      {"Note", {"", "note 7", "note 8", "note 9", "note 10"}}};
  for (const auto& [name, expected] : kFields) {
    EXPECT_EQ(elements(reply, name), expected) << name;
  }

  const std::tuple<const char*, Texts> kChoices[] = {
      {"<path>M1/Va</path>", {"7", "10"}},
      {"<path>^/M1/(Br|Co)</path><endTime>3250000</endTime>", {"8", "9"}},
      {"<path>(</path>", {}}};
  for (const auto& [children, expected] : kChoices) {
    EXPECT_EQ(elements(alarms(children), "EventId"), expected) << children;
  }
  EXPECT_EQ(elements(alarms("<path>" + std::string(1001, 'a') + "</path>"), "result"),
            Texts{"? The pattern is longer than 1000 characters"});
}

TEST_F(ActiveAlarms, AMissingTableIsAnErrorAndAnEmptyOneIsNot) {
  startWith({});
  EXPECT_EQ(elements(alarms(), "result"), Texts{""});
  toolkit::CCds cds;
  ASSERT_EQ(cds.init(), 0);
  import(testModel());
  EXPECT_EQ(elements(alarms(), "result"), Texts{"? 22 No Data Available : No Alarm table"});
}

class AlarmChoice : public HandlerTest {
 protected:
  AlarmChoice() {
    std::vector<ModelLeaf> leaves = {leaf("/Alarms/AlarmCount", "Value", CElement(0))};
    // The tens of a number are the alarm's second; the store has them in another order.
    for (const int number : {42, 22, 11, 31, 23, 41, 21}) {
      const auto alarm = alarmLeaves(std::to_string(number), number / 10, 1, "/M", CElement(1.0));
      leaves.insert(leaves.end(), alarm.begin(), alarm.end());
    }
    import(leaves);
  }
};

TEST_F(AlarmChoice, IsCutAtItsMovingEdgeAndNeverWithinATime) {
  struct Case {
    int max = 0;
    bool latest = false;
    bool reverse = false;
    bool trim = false;
    int start = 0;  // seconds; 0: no bound
    int end = 0;
    std::vector<ULONG64> ids = {};
    int trimmed = 0;
  };
  const Case kCases[] = {
      {.max = 0, .trim = true, .ids = {11, 21, 22, 23, 31, 41, 42}},
      {.max = -1,
       .latest = true,
       .reverse = true,
       .trim = true,
       .ids = {42, 41, 31, 23, 22, 21, 11}},
      {.max = 7, .latest = true, .trim = true, .ids = {11, 21, 22, 23, 31, 41, 42}},
      {.max = 3, .ids = {11, 21, 22}},
      {.max = 3, .trim = true, .ids = {11}, .trimmed = 1},
      {.max = 3, .latest = true, .trim = true, .ids = {31, 41, 42}},
      {.max = 3, .latest = true, .reverse = true, .ids = {42, 41, 31}},
      {.max = 3, .reverse = true, .ids = {22, 21, 11}},
      {.max = 3, .reverse = true, .trim = true, .ids = {11}, .trimmed = 1},
      {.max = 4, .trim = true, .ids = {11, 21, 22, 23}},
      {.max = 4, .latest = true, .reverse = true, .ids = {42, 41, 31, 23}},
      {.max = 4, .latest = true, .reverse = true, .trim = true, .ids = {42, 41, 31}, .trimmed = 1},
      {.max = 1, .latest = true, .trim = true, .trimmed = 2},
      {.max = 1, .latest = true, .reverse = true, .trim = true, .trimmed = 2},
      {.max = 2, .trim = true, .start = 2, .trimmed = 3},
      {.max = 2, .latest = true, .trim = true, .end = 2, .trimmed = 3},
      {.max = 2, .reverse = true, .trim = true, .start = 2, .end = 3, .trimmed = 3},
      {.max = 9, .trim = true, .start = 3, .end = 3, .ids = {31}},
  };
  for (const Case& wanted : kCases) {
    nsvk__logRetrieveRequest request;
    request.nMaxToReturn = wanted.max;
    request.bLatestEvents = wanted.latest;
    request.bReverseOrder = wanted.reverse;
    request.bTrimIncomplete = wanted.trim;
    request.startTime = wanted.start * 1000000LL;
    request.endTime = wanted.end == 0 ? 0 : wanted.end * 1000000LL + 250000;
    nsvk__getActiveAlarmsResponse response;
    ASSERT_EQ(nsvk__getActiveAlarms(ctx_, &request, response), 0);
    std::vector<ULONG64> ids;
    for (const nss1__AlarmUpdate* alarm : response.alarms) {
      ids.push_back(alarm->EventId);
    }
    const auto index = &wanted - std::begin(kCases);
    EXPECT_EQ(ids, wanted.ids) << index;
    EXPECT_EQ(response.numTrimmedEvents, wanted.trimmed) << index;
  }
}

}  // namespace
