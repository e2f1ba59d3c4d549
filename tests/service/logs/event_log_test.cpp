// The event, system and delta logs over the real socket.
#include "toolkit/log.h"

#include <regex>

#include "service_fixture.h"

namespace {

using toolkit::CLog;

CEvent eventAt(int seconds, const std::string& path, const CElement& value = CElement()) {
  CEvent event;
  event.path = path;
  event.value = value;
  event.time = {seconds, 0};
  return event;
}

CEvent systemEvent(int severity, const std::string& path = "/") {
  CEvent event = eventAt(5, path);
  event.type = toolkit::EVENT_SYSTEM;
  event.severity = severity;
  return event;
}

CEvent configuration(const std::string& message, bool complete) {
  CEvent event = systemEvent(1, "/Software/System Settings/Configuration Changed");
  event.message = message;
  event.flag = complete;
  return event;
}

// The fields of each record of a list, "name=text" with blanks between.
Texts records(const std::string& xml, const std::string& list) {
  const std::regex field("<(" + list + "|nss1:([^/>]+))[^>]*>([^<]*)");
  Texts result;
  for (std::sregex_iterator i(xml.begin(), xml.end(), field), end; i != end; ++i) {
    if ((*i)[2].matched) {
      result.back() += (result.back().empty() ? "" : " ") + i->str(2) + "=" + i->str(3);
    } else {
      result.emplace_back();
    }
  }
  return result;
}

class EventLogs : public ServiceTest {
 protected:
  std::string file(const std::string& name) const { return root() / name; }
  void append(const std::string& name, const std::vector<CEvent>& events) const {
    CLog log;
    ASSERT_EQ(log.openToWrite(file(name), {}), 0) << log.last_error();
    ASSERT_EQ(log.append(events), 0);
  }
  void startWithLogs(const std::string& maxRecords = "10000") {
    start({"-d", "-D", "9", "-a", file("alarms.db"), "-s", file("system.db"), "-h",
           file("deltas.db"), "-m", maxRecords});
  }
  std::string events(const std::string& type, const std::string& children = "") const {
    return ask("getEventLog", tags({{"request", tags({{"rqstType", type}}) + children}}));
  }
  std::string deltas(const std::string& children) const {
    return ask("getDeltaLog", tags({{"request", children}}));
  }
};

TEST_F(EventLogs, AnEventBecomesARecordByItsTypePathAndValue) {
  CEvent alarm = eventAt(1, "/M1/Va/Value", CElement(260.5));
  alarm.type = toolkit::EVENT_ALARM;
  CEvent full = alarm;
  full.id = 0xFFFFFFFFFFFFFFFF;
  full.sequence = 2;
  full.message = "Voltage too high : x <&>";
  full.ack = toolkit::ACK_ACKED;
  full.priority = 100;
  full.quality = 0;
  full.condition = full.autoClosing = true;
  full.note = "n";
  full.waveforms = {"http://a/1?b&c", "2"};
  full.variation = 3;
  CEvent odd = systemEvent(3);
  const std::string breaker = "/M1/Breaker/Value";
  CEvent delta = eventAt(7, breaker, CElement(1));
  odd.quality = delta.quality = 64;
  const auto plain = [](const std::string& path, const std::string& rest,
                        const std::string& type = "Event") {
    return "EventId=0 SequenceIndex=0 EventType=" + type + " SourcePath=" + path +
           " Time=5000000 Description=" + rest;
  };
  const std::pair<CEvent, std::string> kCases[] = {
      {alarm,
       "EventId=0 SequenceIndex=0 EventType=Alarm SourcePath=/M1/Va Time=1000000 Description= "
       "Value=260.5 AckStatus=NotAcked AutoClosing=false ConditionPresent=false VariationLevel=0"},
      {full,
       "EventId=18446744073709551615 SequenceIndex=2 EventType=Alarm SourcePath=/M1/Va "
       "Time=1000000 Description=Voltage too high : x &lt;&amp;&gt; Value=260.5 Quality=0 "
       "ComtradeWaveformUrls= string=http://a/1?b&amp;c string=2 BasePriority=100 AckStatus=Acked "
       "AutoClosing=true ConditionPresent=true Note=n VariationLevel=3"},
      {eventAt(5, breaker, CElement(2)), plain("/M1/Breaker", " Value=Ausgelöst NumericValue=2")},
      {eventAt(5, breaker, CElement(3)), plain("/M1/Breaker", " Value=3 NumericValue=3")},
      {eventAt(5, "/M1/Enabled/Value", CElement(true)),
       plain("/M1/Enabled", " Value=Ein NumericValue=1")},
      {eventAt(5, "/M1/Va/Units", CElement("volts")), plain("/M1/Va:Units", " Value=volts")},
      {eventAt(5, "/Gone/Value", CElement(true)), plain("/Gone", " Value=true NumericValue=1")},
      {eventAt(5, "no path", CElement(3)), plain("no path", " Value=3")},
      {odd, plain("/", "Critical Event Quality=192")},
      {systemEvent(4), plain("/", "System Event")},
      {configuration("", true), plain("/", "Device Node Structure Changed", "StructureChanged")},
      {configuration("Voltage too high", true),
       plain("/", "Spannung zu hoch", "StructureChanged")}};
  std::vector<CEvent> logged = {configuration("", false), eventAt(0, "/Software/x")};
  Texts expected;
  for (const auto& [event, fields] : kCases) {
    logged.push_back(event);
    expected.push_back(fields);
  }
  append("alarms.db", logged);
  append("deltas.db", {eventAt(6, "/Software/x"), delta});
  startWithLogs();
  const std::string reply = events("LgRqTypAlarmEvents", "<options>locale=de_DE</options>");
  EXPECT_EQ(records(reply, "events"), expected);
  EXPECT_EQ(elements(reply, "numTrimmedEvents"), Texts{"2"});

  const std::string deltaReply = deltas("");
  EXPECT_EQ(records(deltaReply, "loggedValues"),
            Texts{"Path=/M1/Breaker Value=Closed NumericValue=1 Quality=64 Time=7000000 "
                  "RealTime=false Trend=true"});
  EXPECT_EQ(elements(deltaReply, "numTrimmedPoints"), Texts{"0"})
      << "what is dropped is not counted";
}

TEST_F(EventLogs, AGroupThatTheMaximumCutsIsTrimmed) {
  std::vector<CEvent> logged;
  for (const int seconds : {10, 20, 20, 30, 30, 30, 30, 30}) {
    logged.push_back(eventAt(seconds, logged.size() == 2 ? "/M1/B" : "/M1/A"));
    logged.back().id = logged.size();
  }
  append("system.db", logged);
  startWithLogs();
  const std::string trim = "<bTrimIncomplete>1</bTrimIncomplete>";
  const std::string latest = "<bLatestEvents>1</bLatestEvents>";
  const std::string reverse = "<bReverseOrder>1</bReverseOrder>";
  const std::string allTimes =
      tags({{"startTime", "-9223372036854775808"}, {"endTime", "9223372036854775807"}});
  const Texts all = {"1", "2", "3", "4", "5", "6", "7", "8"};
  const std::tuple<int, std::string, Texts, const char*> kCases[] = {
      {2, trim, {"1"}, "2"},
      {3, trim, {"1", "2", "3"}, "0"},
      {5, trim, {"1", "2", "3"}, "5"},
      {3, latest + trim, {}, "5"},
      {6, latest + reverse + trim, {"8", "7", "6", "5", "4"}, "2"},
      {8, trim, all, "0"},
      {2, trim + "<path>/M1/A</path>", {"1", "2"}, "0"},
      {3, trim + "<startTime>20000001</startTime>", {}, "5"},
      {-1, allTimes, all, "0"},
      {1, "<startTime>9223372036854775807</startTime>" + trim, {}, "0"}};
  for (const auto& [max, more, ids, trimmed] : kCases) {
    const std::string most = tags({{"nMaxToReturn", std::to_string(max)}});
    const std::string reply = events("LgRqTypDeltas", most + more);
    EXPECT_EQ(elements(reply, "EventId"), ids) << max << more;
    EXPECT_EQ(elements(reply, "numTrimmedEvents"), Texts{trimmed}) << max << more;
  }
}

TEST_F(EventLogs, ARequestIsBoundedByTheShareOfItsLog) {
  append("alarms.db", std::vector<CEvent>(9, eventAt(1, "/M1/A")));
  append("deltas.db", std::vector<CEvent>(20, eventAt(1, "/M1/A")));
  startWithLogs("17");
  const auto ofEvents = [this](const char* max) {
    return events("2", tags({{"nMaxToReturn", max}}));
  };
  EXPECT_EQ(elements(ofEvents("4"), "EventId").size(), 4U);
  EXPECT_EQ(elements(ofEvents("0"), "EventId").size(), 4U);
  const std::string tooBig = "? 34 Result Too Big to Return : Please request less than ";
  const std::string closed = "? 21 No History : Failed to open event log database";
  EXPECT_EQ(elements(ofEvents("5"), "result"), Texts{tooBig + "4 records."});
  EXPECT_EQ(elements(deltas("<nMaxToReturn>-5</nMaxToReturn>"), "Path").size(), 17U);
  EXPECT_EQ(elements(deltas("<nMaxToReturn>18</nMaxToReturn>"), "result"),
            Texts{tooBig + "17 records."});
  EXPECT_EQ(elements(events("3"), "result"), Texts{closed});
}

TEST_F(EventLogs, PagingBesideAWriterMissesNothing) {
  constexpr int kBatches = 600;
  append("deltas.db", {eventAt(1, "/Software/x")});
  startWithLogs();
  // Three events of one time each, as fast as it goes.
  ChildProcess writer([this] {
    CLog log;
    int error = log.openToWrite(file("deltas.db"), {});
    for (int batch = 1; error == 0 && batch <= kBatches; ++batch) {
      error = log.append(std::vector(3, eventAt(batch, "/M1/A")));
    }
    return error;
  });
  std::size_t count = 0;
  std::string next = "1";
  const bool whole = await([&] {
    const Texts times = elements(
        deltas(tags({{"nMaxToReturn", "7"}, {"bTrimIncomplete", "1"}, {"startTime", next}})),
        "Time");
    count += times.size();
    next = times.empty() ? next : std::to_string(std::stoll(times.back()) + 1);
    return next == std::to_string(kBatches * 1000000LL + 1);
  });
  EXPECT_EQ(writer.wait(), 0);
  EXPECT_TRUE(whole) << next;
  EXPECT_EQ(count, 3U * kBatches);
}

}  // namespace
