// The receiving program as a process.
#include <sys/wait.h>

#include <algorithm>
#include <csignal>

#include "delivery.h"
#include "publisher_fixture.h"

namespace {

using toolkit::CElement;

class Wslisten : public PublisherTest {
 protected:
  Wslisten() { setenv("TZ", "UTC", 1); }
  ~Wslisten() override {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    unsetenv("TZ");
  }

  // Starts it and returns its address.
  std::string listen(const std::vector<std::string>& arguments) {
    pid_ = startProcess(folder(), WSLISTEN, arguments);
    EXPECT_TRUE(await([&] { return out().find("/\n") != std::string::npos; }));
    const std::string first = out().substr(0, out().find('\n'));
    EXPECT_TRUE(first.starts_with("listening on http://127.0.0.1:")) << first;
    return first.substr(first.find("http"));
  }
  std::string out() const { return contentsOf(folder() / "out"); }
  std::string err() const { return contentsOf(folder() / "err"); }
  bool ends() const {
    return await([&] {
      siginfo_t end = {};
      return waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
             end.si_pid == pid_;
    });
  }

  static wspub::Delivery::Outcome post(const std::string& uri, const std::string& body) {
    wspub::Delivery delivery({});
    EXPECT_TRUE(delivery.start("", uri, body));
    std::vector<wspub::Delivery::Outcome> outcomes;
    await([&] {
      outcomes = delivery.drive(std::chrono::milliseconds(10));
      return !outcomes.empty();
    });
    return outcomes.empty() ? wspub::Delivery::Outcome() : outcomes.front();
  }

 private:
  pid_t pid_ = -1;
};

std::string soap(const std::string& body) {
  return "<E:Envelope xmlns:E=\"http://schemas.xmlsoap.org/soap/envelope/\" "
         "xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" "
         "xmlns=\"http://tarnix.example/TarnixWSSubscriber\"><E:Body>" +
         body + "</E:Body></E:Envelope>";
}

constexpr const char* kTwoRecords = R"(<publish xmlns:s="http://tarnix.example/TarnixWSSubscriber">
  <subscriptionId>demo&#9;x</subscriptionId><sequence>1</sequence>
  <values><PublishedValue><Path>/Feeder1/Breaker</Path><Value>Open&#13;&#x85;</Value>
    <NumericValue>0</NumericValue><Quality>192</Quality><Time>58831250000</Time>
    <RealTime>true</RealTime><Trend>false</Trend></PublishedValue></values>
  <events><Event i:type="s:AlarmUpdate"><EventId>7</EventId><SequenceIndex>1</SequenceIndex>
    <EventType>Alarm</EventType><SourcePath>/Feeder1/VoltageA</SourcePath><Time>-1</Time>
    <Description>Voltage too high</Description><Value>254.1</Value><AckStatus>NotAcked</AckStatus>
    <AutoClosing>false</AutoClosing><ConditionPresent>true</ConditionPresent>
    <VariationLevel>0</VariationLevel></Event></events></publish>)";

TEST_F(Wslisten, PrintsALineARecordAndRefusesEverythingElse) {
  const std::string uri = listen({"--count", "4"});
  const std::string greeting = out();
  int refused = 0;
  for (const std::string& body : {std::string("nonsense\x1B[2J"), soap("<other/>"), soap(""),
                                  soap("<publish><sequence>x</sequence></publish>"),
                                  soap(kTwoRecords).substr(0, soap(kTwoRecords).size() - 30)}) {
    EXPECT_FALSE(post(uri, body).accepted) << body;
    ++refused;
    EXPECT_TRUE(await([&] { return std::ranges::count(err(), '\n') >= refused; })) << err();
  }
  EXPECT_EQ(err().find('\x1B'), std::string::npos);
  EXPECT_EQ(out(), greeting) << "nothing of a message that is not whole";
  EXPECT_TRUE(post(uri, soap(kTwoRecords)).accepted);
  const std::string expected =
      "16:20:31.250 demo?x  /Feeder1/Breaker = Open?? [0]  (quality 192)\n"
      "23:59:59.999 demo?x  ALARM 7 /Feeder1/VoltageA: Voltage too high, new, present, value "
      "254.1\n";
  EXPECT_EQ(out(), greeting + expected);
  EXPECT_TRUE(post(uri, soap(kTwoRecords)).accepted);
  EXPECT_TRUE(ends());
}

TEST_F(Wslisten, ShowsWhatThePublisherSends) {
  const std::string uri = listen({"--count", "2"});
  create("demo", {uri, {{"/A"}}});
  start();
  ASSERT_TRUE(
      await([&] { return out().find(" demo  /A = 1  (quality 192)\n") != std::string::npos; }));
  put("/A", CElement(231.2));
  EXPECT_TRUE(ends());
  EXPECT_NE(out().find(" demo  /A = 231.2  (quality 192)\n"), std::string::npos) << out();
}

}  // namespace
