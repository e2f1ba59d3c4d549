// The table of active alarms: over the socket, and its choice against a plain reimplementation.
#include <random>

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
  for (const auto& [name, expected] : kFields) EXPECT_EQ(elements(reply, name), expected) << name;

  const std::tuple<const char*, Texts> kChoices[] = {
      {"<path>M1/Va</path>", {"7", "10"}},
      {"<path>^/M1/(Br|Co)</path><endTime>3250000</endTime>", {"8", "9"}},
      {"<path>(</path>", {}}};
  for (const auto& [children, expected] : kChoices) {
    EXPECT_EQ(elements(alarms(children), "EventId"), expected) << children;
  }
  EXPECT_EQ(elements(alarms("<path>" + std::string(1001, 'a') + "</path>"), "result"),
            Texts{"? The pattern is longer than 1000 characters"});
  EXPECT_EQ(elements(ask("getActiveAlarms", ""), "EventId").size(), 5U) << "no request element";
}

TEST_F(ActiveAlarms, AMissingTableIsAnErrorAndAnEmptyOneIsNot) {
  startWith({});
  EXPECT_EQ(elements(alarms(), "result"), Texts{""});
  toolkit::CCds cds;
  ASSERT_EQ(cds.init(), 0);
  import(testModel());
  EXPECT_EQ(elements(alarms(), "result"), Texts{"? 22 No Data Available : No Alarm table"});
}

struct Row {
  LONG64 time;
  ULONG64 id;
};

struct Choice {
  std::vector<ULONG64> ids;
  int trimmed = 0;
};

// The rules in words, one after the other.
Choice plainly(std::vector<Row> rows, const nsvk__logRetrieveRequest& request) {
  std::erase_if(rows, [&](const Row& row) {
    return (request.startTime > 0 && row.time < request.startTime) ||
           (request.endTime > 0 && row.time > request.endTime);
  });
  std::sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) {
    const bool before = std::tie(a.time, a.id) < std::tie(b.time, b.id);
    return request.bReverseOrder ? !before && a.id != b.id : before;
  });
  const int n = static_cast<int>(rows.size());
  const int m = request.nMaxToReturn;
  Choice choice;
  int first = 0;
  int last = n - 1;
  if (m >= 1 && n > m) {
    (request.bLatestEvents != request.bReverseOrder ? first : last) =
        request.bLatestEvents != request.bReverseOrder ? n - m : m - 1;
    if (request.bTrimIncomplete) {
      LONG64 edge = first == 0 ? rows[last].time : rows[first].time;
      while (first == 0 && last >= 0 && rows[last].time == rows[last + 1].time) {
        if (--last >= 0) edge = rows[last].time;
      }
      while (first > 0 && first < n && rows[first].time == rows[first - 1].time) {
        if (++first < n) edge = rows[first].time;
      }
      if (last - first + 1 < m) {
        for (const Row& row : rows) choice.trimmed += row.time == edge ? 1 : 0;
      }
    }
  }
  for (int i = first; i <= last; ++i) choice.ids.push_back(rows[i].id);
  return choice;
}

class AlarmChoice : public HandlerTest {
 protected:
  std::vector<Row> importRandomTable() {
    std::vector<Row> rows(random_() % 12);
    std::vector<ModelLeaf> leaves = {leaf("/Alarms/AlarmCount", "Value", CElement(0))};
    for (Row& row : rows) {
      const int seconds = 1 + static_cast<int>(random_() % 4);
      row = {seconds * 1000000LL + 250000, random_() % 100 * 100 + (&row - rows.data())};
      const auto alarm = alarmLeaves(std::to_string(row.id), seconds, 1, "/M", CElement(1.0));
      leaves.insert(leaves.end(), alarm.begin(), alarm.end());
    }
    import(leaves);
    return rows;
  }
  nsvk__logRetrieveRequest randomRequest() {
    const auto time = [this] { return random_() % 2 == 0 ? 0 : LONG64(random_() % 5) * 1000000; };
    nsvk__logRetrieveRequest request;
    request.nMaxToReturn = static_cast<int>(random_() % 12) - 1;
    request.startTime = time();
    request.endTime = time();
    request.bLatestEvents = random_() % 2 == 0;
    request.bReverseOrder = random_() % 2 == 0;
    request.bTrimIncomplete = random_() % 2 == 0;
    return request;
  }

 private:
  std::mt19937 random_{20};
};

TEST_F(AlarmChoice, IsThatOfTheRulesInWordsOnRandomTables) {
  for (int table = 0; table < 30; ++table) {
    const std::vector<Row> rows = importRandomTable();
    for (int i = 0; i < 100; ++i) {
      nsvk__logRetrieveRequest request = randomRequest();
      const Choice expected = plainly(rows, request);
      nsvk__getActiveAlarmsResponse response;
      ASSERT_EQ(nsvk__getActiveAlarms(ctx_, &request, response), 0);
      std::vector<ULONG64> ids;
      for (const nss1__AlarmUpdate* alarm : response.alarms) ids.push_back(alarm->EventId);
      ASSERT_EQ(ids, expected.ids) << table << " " << i;
      ASSERT_EQ(response.numTrimmedEvents, expected.trimmed) << table << " " << i;
    }
  }
}

}  // namespace
