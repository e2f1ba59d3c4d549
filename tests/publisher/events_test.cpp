// Events on their way to the subscribers, and the shape of the messages.
#include <algorithm>
#include <csignal>
#include <fstream>

#include "publisher_fixture.h"
#include "toolkit/admin.h"

namespace {

using toolkit::CElement;
using toolkit::CEvent;

constexpr int kTrend = 1;
constexpr int kNonAlarmEvent = 2;
constexpr int kAlarm = 4;
constexpr int kConfiguration = 8;
constexpr int kQuality = 16;
constexpr int kAll = 31;

CEvent event(int type, const std::string& path, const std::string& message) {
  CEvent event;
  event.type = type;
  event.path = path;
  event.message = message;
  event.time = presentTime();
  return event;
}

CEvent alarm(std::uint64_t id, const std::string& path) {
  CEvent alarm = event(toolkit::EVENT_ALARM, path, "Voltage too high");
  alarm.id = id;
  alarm.sequence = 3;
  alarm.priority = 5000;
  alarm.ack = toolkit::ACK_ACKED;
  alarm.variation = 2;
  alarm.note = "seen & noted";
  alarm.condition = true;
  alarm.value = CElement(254.1);
  return alarm;
}

class PublishedEvents : public PublisherTest {};

TEST_F(PublishedEvents, EachOptionBringsItsKind) {
  put("/Breaker/PossibleValues", CElement("Open;Closed"));
  put("/Breaker", CElement(0));
  toolkit::admin::Model secret;
  secret.rights = {{"/Secret", "*", ""}};
  ASSERT_EQ(toolkit::admin::importModel(secret, false), "");
  Receiver client;
  const struct {
    int option;
    std::vector<std::string> expected;
  } kCases[] = {
      {0, {}},
      {kTrend, {"trend /Breaker = Closed [1] (64)"}},
      {kNonAlarmEvent, {"Event 0 /A: started = -", "Event 0 /A:Units: - = - (192)"}},
      {kAlarm, {"Alarm 7 /A: Voltage too high = 254.1"}},
      {kConfiguration,
       {"Structure 0 /: new device = -", "Structure 0 /: Device Node Structure Changed = -"}},
      {kQuality, {"Event 0 /A: lost = - (0)"}},
  };
  for (const auto& c : kCases) {
    create(std::to_string(c.option), {.uri = client.uri(), .options = c.option});
  }
  create("all", {.uri = client.uri(), .points = {{"/A"}}, .options = kAll});
  start();
  ASSERT_TRUE(awaitLast(client, "/A = 1 (192)"));
  const std::string changed = "/Software/System Settings/Configuration Changed/Value";
  CEvent delta = event(toolkit::EVENT_DELTA, "/Breaker/Value", "");
  delta.value = CElement(1);
  delta.quality = 64;
  CEvent system = event(toolkit::EVENT_SYSTEM, "/A/Units", "");
  system.quality = 0;
  CEvent lost = event(toolkit::EVENT_QUALITY, "/A/Value", "lost");
  lost.quality = 0;
  CEvent complete = event(toolkit::EVENT_SYSTEM, changed, "new device");
  complete.flag = true;
  CEvent unnamed = complete;
  unnamed.message.clear();
  for (const CEvent& one :
       {delta, event(toolkit::EVENT_PLAIN, "/A/Value", "started"), system, alarm(7, "/A/Value"),
        alarm(8, "/Secret/Value"), event(toolkit::EVENT_SYSTEM, changed, "unfinished"), complete,
        unnamed, event(toolkit::EVENT_SYSTEM, "/Software/Other/Value", "inner"), lost}) {
    send(one);
  }
  ASSERT_TRUE(await([&] { return records(client, "all").size() == 8; }));
  settle(client);
  EXPECT_EQ(records(client, "all").size(), 8U);
  for (const auto& c : kCases) {
    EXPECT_EQ(records(client, std::to_string(c.option)), c.expected) << c.option;
  }
}

TEST_F(PublishedEvents, StartAtTheTimeAskedForAndSurviveARestart) {
  const auto at = [](int seconds, const std::string& message) {
    CEvent past = event(toolkit::EVENT_PLAIN, "/A/Value", message);
    past.time = {seconds, 0};
    return past;
  };
  send(at(100, "too old"));
  send(at(200, "old"));
  Receiver client;
  create("since", {.uri = client.uri(), .options = kNonAlarmEvent, .since = {200, 0}});
  create("now", {.uri = client.uri(), .options = kNonAlarmEvent});
  start();
  ASSERT_TRUE(awaitLast(client, "Event 0 /A: old = -"));
  send(at(50, "late"));
  ASSERT_TRUE(await([&] { return records(client).size() == 3; }));
  settle(client);
  stop(SIGKILL);
  send(at(300, "meanwhile"));
  start();
  ASSERT_TRUE(await([&] { return records(client).size() == 5; }));
  settle(client);
  EXPECT_EQ(records(client, "since"),
            (std::vector<std::string>{"Event 0 /A: old = -", "Event 0 /A: late = -",
                                      "Event 0 /A: meanwhile = -"}));
  EXPECT_EQ(records(client, "now"),
            (std::vector<std::string>{"Event 0 /A: late = -", "Event 0 /A: meanwhile = -"}));
}

// The envelope around the schema that the WSDL holds.
constexpr const char* kEnvelopeSchema = R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"
    targetNamespace="http://schemas.xmlsoap.org/soap/envelope/" elementFormDefault="qualified">
  <xs:import namespace="http://tarnix.example/TarnixWSSubscriber" schemaLocation="inner.xsd"/>
  <xs:element name="Envelope"><xs:complexType><xs:sequence>
    <xs:element name="Body"><xs:complexType><xs:sequence>
      <xs:any namespace="http://tarnix.example/TarnixWSSubscriber" processContents="strict"/>
    </xs:sequence></xs:complexType></xs:element>
  </xs:sequence></xs:complexType></xs:element>
</xs:schema>)";

TEST_F(PublishedEvents, MessagesAreWhatTheDescriptionSays) {
  const std::string wsdl = contentsOf(SUBSCRIBER_WSDL);
  const std::string end = "</xsd:schema>";
  const std::size_t begin = wsdl.find("<xsd:schema");
  ASSERT_NE(begin, std::string::npos);
  std::ofstream(folder() / "inner.xsd") << wsdl.substr(begin, wsdl.find(end) + end.size() - begin);
  std::ofstream(folder() / "outer.xsd") << kEnvelopeSchema;
  const auto lint = [&](const std::vector<std::string>& arguments) {
    const Outcome outcome =
        waitForProcess(startProcess(folder(), "/usr/bin/xmllint", arguments), folder());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  };
  lint({"--noout", SUBSCRIBER_WSDL});

  Receiver client(Manner::kFail);
  put("/Door", CElement(true));
  put("/Text", CElement("<&\"'\x07\xFF>"));
  create("a<b", {client.uri(), {{"/Door"}, {"/Text"}, {"/Missing"}}, kAll});
  start({"--queue", "6"});
  ASSERT_TRUE(await([&] { return client.attempts() >= 1; }));
  CEvent trend = event(toolkit::EVENT_DELTA, "/Door/Value", "");
  trend.value = CElement(false);
  CEvent quality = event(toolkit::EVENT_QUALITY, "/A/Value", "gone");
  quality.quality = 0;
  for (const CEvent& one : {alarm(7, "/A/Value"), CEvent(), trend, quality, alarm(8, "/B/Value")}) {
    send(one);
  }
  client.behave(Manner::kAccept);
  ASSERT_TRUE(await([&] {
    const auto all = records(client);
    return std::ranges::find(all, "Alarm 8 /B: Voltage too high = 254.1") != all.end();
  }));
  for (const std::string& request : client.taken()) {
    EXPECT_EQ(parsed(request).subscriptionId, "a<b");
    std::ofstream(folder() / "message.xml") << request.substr(request.find("\r\n\r\n") + 4);
    lint({"--noout", "--schema", folder() / "outer.xsd", folder() / "message.xml"});
  }
  const std::string last = client.taken().back();
  for (const char* part :
       {"<nss1:Event xsi:type=\"nss1:AlarmUpdate\">", "<nss1:BasePriority>5000</nss1:BasePriority>",
        "<nss1:AckStatus>Acked</nss1:AckStatus>", "<nss1:Note>seen &amp; noted</nss1:Note>",
        "<nss1:VariationLevel>2</nss1:VariationLevel>",
        "<nss1:SequenceIndex>3</nss1:SequenceIndex>",
        "<nss1:ConditionPresent>true</nss1:ConditionPresent>"}) {
    EXPECT_NE(last.find(part), std::string::npos) << part << "\n" << last;
  }
}

}  // namespace
