// The table of active alarms: over the socket, and which of them a request gets.
#include "handler_fixture.h"

namespace {

// The seven leaves of an alarm, changed at a time.
template <class Value>
Leaves alarmLeaves(const std::string& number, int seconds, int level, const std::string& source,
                   const Value& value) {
  CElement sequence(3);
  sequence.set_time({seconds, 250000});
  const std::string node = "/Alarms/" + number;
  return {leafAt(node + "/SourcePath", source),
          leafAt(node + "/SourceValue", value),
          leafAt(node + "/AlarmMsg", "Voltage too high : xVoltage too low"),
          leafAt(node + "/SequenceID", sequence),
          leafAt(node + "/AlarmLevel", level),
          leafAt(node + "/ConditionRaised", level == 1),
          leafAt(node + "/Note", "note " + number)};
}

class ActiveAlarms : public ServiceTest {
 protected:
  std::string alarms(const std::string& children = "") const {
    return ask("getActiveAlarms", tags({{"request", children}}));
  }
};

TEST_F(ActiveAlarms, TellWhatTheTableAndTheSourcePointSayAndThatThereIsNoTable) {
  Leaves bare = alarmLeaves("20", 2, 5, "/Gone/Value", CElement());
  bare.resize(4);  // up to the sequence
  Leaves broken = alarmLeaves("30", 2, 1, "/M1/Va", CElement());
  broken.erase(broken.begin());
  Leaves leaves = {leafAt("/Alarms/AlarmCount", 9), leafAt("/Alarms/AlarmCountTotal", 9),
                   leafAt("/M1/Va:.BasePriority", 77), leafAt("/M1/Va:.AutoClosing", true)};
  for (const Leaves& alarm :
       {alarmLeaves("7", 3, 1, "/M1/Va/Value", 260.5), alarmLeaves("8", 3, 3, "/M1/Breaker", 2),
        alarmLeaves("9", 3, 5, "/M1/Count", 1), alarmLeaves("10", 3, 2, "/M1/Va:Units", "volts"),
        bare, broken}) {
    leaves.insert(leaves.end(), alarm.begin(), alarm.end());
  }
  import(leaves);
  start();
  expectElements(alarms("<options>locale=de</options>"),
                 {{"EventId", {"20", "7", "8", "9", "10"}},
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
                  {"Note", {"", "note 7", "note 8", "note 9", "note 10"}}});
  const std::string inTime = "<path>^/M1/(Br|Co)</path><endTime>3250000</endTime>";
  expectElements(alarms("<path>M1/Va</path>"), {{"EventId", {"7", "10"}}});
  expectElements(alarms(inTime), {{"EventId", {"8", "9"}}});
  expectElements(alarms("<path>(</path>"), {{"EventId", {}}});
  expectElements(alarms(tags({{"path", std::string(1001, 'a')}})),
                 {{"result", {"? The pattern is longer than 1000 characters"}}});
  CCds cds;
  ASSERT_EQ(cds.init(), 0);
  import({leafAt("/Alarms/AlarmCount", 9), leafAt("/Alarms/AlarmCountTotal", 9)});
  expectElements(alarms(), {{"result", {""}}, {"EventId", {}}});
  import({});
  EXPECT_EQ(elements(alarms(), "result"), Texts{"? 22 No Data Available : No Alarm table"});
}

class AlarmChoice : public HandlerTest {
 protected:
  AlarmChoice() {
    Leaves leaves = {leafAt("/Alarms/AlarmCount", 0)};
    // The tens of a number are the alarm's second; the store has them in another order.
    for (const int number : {42, 22, 11, 31, 23, 41, 21}) {
      const Leaves alarm = alarmLeaves(std::to_string(number), number / 10, 1, "/M", 1.0);
      leaves.insert(leaves.end(), alarm.begin(), alarm.end());
    }
    import(leaves);
  }
};

TEST_F(AlarmChoice, IsCutAtItsMovingEdgeAndNeverWithinATime) {
  // How many, which (l: the latest, r: in reverse order, t: trimmed), from and up to which second
  // (0: no bound); which ones come then, and how many are trimmed.
  const std::tuple<int, std::string, int, int, std::vector<ULONG64>, int> kCases[] = {
      {0, "t", 0, 0, {11, 21, 22, 23, 31, 41, 42}, 0},
      {-1, "lrt", 0, 0, {42, 41, 31, 23, 22, 21, 11}, 0},
      {7, "lt", 0, 0, {11, 21, 22, 23, 31, 41, 42}, 0},
      {3, "", 0, 0, {11, 21, 22}, 0},
      {3, "t", 0, 0, {11}, 1},
      {3, "lt", 0, 0, {31, 41, 42}, 0},
      {3, "lr", 0, 0, {42, 41, 31}, 0},
      {3, "r", 0, 0, {22, 21, 11}, 0},
      {3, "rt", 0, 0, {11}, 1},
      {4, "t", 0, 0, {11, 21, 22, 23}, 0},
      {4, "lr", 0, 0, {42, 41, 31, 23}, 0},
      {4, "lrt", 0, 0, {42, 41, 31}, 1},
      {1, "lt", 0, 0, {}, 2},
      {1, "lrt", 0, 0, {}, 2},
      {2, "t", 2, 0, {}, 3},
      {2, "lt", 0, 2, {}, 3},
      {2, "rt", 2, 3, {}, 3},
      {9, "t", 3, 3, {31}, 0}};
  for (const auto& [max, flags, start, end, expected, trimmed] : kCases) {
    nsvk__logRetrieveRequest request;
    request.nMaxToReturn = max;
    request.bLatestEvents = flags.find('l') != std::string::npos;
    request.bReverseOrder = flags.find('r') != std::string::npos;
    request.bTrimIncomplete = flags.find('t') != std::string::npos;
    request.startTime = start * 1000000LL;
    request.endTime = end == 0 ? 0 : end * 1000000LL + 250000;
    nsvk__getActiveAlarmsResponse response;
    ASSERT_EQ(nsvk__getActiveAlarms(ctx_, &request, response), 0);
    std::vector<ULONG64> ids;
    for (const nss1__AlarmUpdate* alarm : response.alarms) {
      ids.push_back(alarm->EventId);
    }
    EXPECT_EQ(ids, expected) << max << flags << start << end;
    EXPECT_EQ(response.numTrimmedEvents, trimmed) << max << flags << start << end;
  }
}

}  // namespace
