// Events on their way to the subscribers, and the shape of the messages.
#include "message.h"
#include "publisher_fixture.h"
#include "subscription.h"
#include "toolkit/time.h"

namespace {

using toolkit::CEvent;
using enum wspub::LogOption;

CEvent event(int type, const std::string& path, const std::string& message, int quality = 192) {
  return makeEvent(type, path, message, qel_now(), quality);
}

using PublishedEvents = PublisherTest;

TEST_F(PublishedEvents, EachOptionBringsItsKind) {
  put("/Breaker/PossibleValues", CElement("Open;Closed"));
  put("/Breaker", CElement(0));
  toolkit::admin::Model secret;
  secret.rights = {{"/Secret", "*", ""}};
  ASSERT_EQ(toolkit::admin::importModel(secret, false), "");
  Receiver client;
  const int wishes[] = {0, kTrend, kNonAlarmEvent, kAlarm, kConfiguration, kQuality, 31 - kTrend};
  for (const int options : wishes) {
    create(std::to_string(options), {.uri = client.uri(), .options = options});
  }
  start();
  const std::string changed = "/Software/System Settings/Configuration Changed/Value";
  CEvent trend = event(toolkit::EVENT_DELTA, "/Breaker/Value", "", 64);
  trend.value = CElement(1);
  CEvent complete = event(toolkit::EVENT_SYSTEM, changed, "");
  complete.flag = true;
  const std::tuple<CEvent, int, std::string> kCases[] = {
      {trend, kTrend, "trend /Breaker = Closed [1] (64)"},
      {event(toolkit::EVENT_PLAIN, "/A/Value", "started"), kNonAlarmEvent,
       "Event 0 /A: started = -"},
      {event(toolkit::EVENT_SYSTEM, "/A/Units", "", 0), kNonAlarmEvent,
       "Event 0 /A:Units: - = - (192)"},
      {event(toolkit::EVENT_ALARM, "/A/Value", "high"), kAlarm, "Alarm 0 /A: high = -"},
      {event(toolkit::EVENT_ALARM, "/Secret/Value", "high"), 0, ""},
      {event(toolkit::EVENT_SYSTEM, changed, "unfinished"), 0, ""},
      {complete, kConfiguration, "Structure 0 /: Device Node Structure Changed = -"},
      {event(toolkit::EVENT_SYSTEM, "/Software/Other/Value", "inner"), 0, ""},
      {event(toolkit::EVENT_QUALITY, "/A/Value", "lost", 0), kQuality, "Event 0 /A: lost = - (0)"},
  };
  for (const auto& [event, option, line] : kCases) {
    send(event);
  }
  for (const int options : wishes) {
    Texts expected;
    for (const auto& [event, option, line] : kCases) {
      if ((option & options) != 0) {
        expected.push_back(line);
      }
    }
    EXPECT_EQ(settled(client, std::to_string(options)), expected) << options;
  }
}

TEST_F(PublishedEvents, StartAtTheTimeAskedForAndSurviveARestart) {
  const auto sendAt = [this](int seconds, const std::string& message) {
    CEvent past = event(toolkit::EVENT_PLAIN, "/A/Value", message);
    past.time = {seconds, 0};
    send(past);
  };
  sendAt(100, "too old");
  sendAt(200, "old");
  Receiver client;
  create("since", {.uri = client.uri(), .options = kNonAlarmEvent, .since = {200, 0}});
  create("now", {.uri = client.uri(), .options = kNonAlarmEvent});
  start();
  settled(client, "now");
  sendAt(50, "late");
  settled(client, "since");
  settled(client, "now");
  stop(SIGKILL);
  sendAt(300, "meanwhile");
  start();
  Texts expected = {"Event 0 /A: late = -", "Event 0 /A: meanwhile = -"};
  EXPECT_EQ(settled(client, "now"), expected);
  expected.insert(expected.begin(), "Event 0 /A: old = -");
  EXPECT_EQ(settled(client, "since"), expected);
}

TEST_F(PublishedEvents, ChangesPushOutNoAlarmAndWhatIsGoneIsTold) {
  send(event(toolkit::EVENT_ALARM, "/A/Value", "high"));
  for (int i = 0; i < 1200; ++i) {
    send(event(toolkit::EVENT_QUALITY, "/A/Value", ""));
  }
  Receiver client;
  create("alarms", {.uri = client.uri(), .options = kAlarm, .since = {1, 0}});
  create("all", {.uri = client.uri(), .options = kAlarm | kQuality, .since = {1, 0}});
  create("now", {.uri = client.uri(), .options = kQuality});
  start({"--queue", "2000"});
  const Texts alarm = {"Alarm 0 /A: high = -"};
  EXPECT_EQ(settled(client, "alarms"), alarm);
  const Texts all = settled(client, "all");
  ASSERT_EQ(all.size(), 1002U);
  EXPECT_TRUE(all[0].ends_with("200 records lost = 200")) << all[0];
  EXPECT_EQ(all[1], alarm[0]);
  EXPECT_EQ(settled(client, "now"), Texts{});
}

TEST_F(PublishedEvents, MessagesAreWhatTheDescriptionSays) {
  wspub::Event alarm = {wspub::EventKind::kAlarm, "/A", wspub::Texts{"254.1", std::nullopt}, {}};
  toolkit::CEvent acknowledged = event(toolkit::EVENT_ALARM, "/A/Value", "high", 64);
  acknowledged.sequence = 3;
  acknowledged.condition = true;
  acknowledged.priority = 5000;
  acknowledged.ack = toolkit::ACK_ACKED;
  acknowledged.variation = 2;
  acknowledged.note = "seen & noted";
  acknowledged.waveforms = {"http://a/1", "http://a/2"};
  alarm.event = std::make_shared<const toolkit::CEvent>(acknowledged);
  const std::vector<wspub::Record> records = {
      {alarm},
      {wspub::Event{}},
      {wspub::Event{wspub::EventKind::kStructureChanged, "/", {}}},
      {wspub::Value{"/Missing", {}}},
      {wspub::Value{"/A", wspub::Texts{"\x01\t<&\xC3(", "1"}, 0, 0, true}}};
  const Texts parts = {"Event xsi:type=\"nss1:AlarmUpdate\"",
                       "SequenceIndex>3<",
                       "string>http://a/2<",
                       "BasePriority>5000<",
                       "AckStatus>Acked<",
                       "ConditionPresent>true<",
                       "Note>seen &amp; noted<",
                       "VariationLevel>2<",
                       "Description>11 records lost<",
                       "sequence>12<",
                       "Value>\xEF\xBF\xBD\t&lt;&amp;\xEF\xBF\xBD(<"};
  wspub::Batch batch = {12, 11, {}};
  for (const wspub::Record& record : records) {
    batch.records.push_back(&record);
  }
  const std::string message = wspub::messageOf("a<b", batch);
  for (const std::string& part : parts) {
    EXPECT_TRUE(contains(message, part));
  }
  const std::string wsdl = contentsOf(SUBSCRIBER_WSDL);
  const std::size_t begin = wsdl.find("<xsd:schema");
  const std::size_t end = wsdl.find("</xsd:schema>") + 13;
  std::ofstream(folder() / "publish.xsd") << wsdl.substr(begin, end - begin);
  const std::size_t body = message.find("<nss1:publish>") + 13;
  std::ofstream(folder() / "message.xml")
      << "<nss1:publish xmlns:nss1=\"http://tarnix.example/TarnixWSSubscriber\" "
         "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
      << message.substr(body, message.find("</SOAP-ENV:Body>") - body);
  const pid_t lint =
      startProcess(folder(), "/usr/bin/xmllint",
                   {"--noout", "--schema", folder() / "publish.xsd", folder() / "message.xml"});
  const Outcome outcome = waitForProcess(lint, folder());
  EXPECT_EQ(outcome.status, 0) << outcome.err << message;
}

}  // namespace
