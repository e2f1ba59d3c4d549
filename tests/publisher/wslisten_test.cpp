// The receiving program as a process.
#include "delivery.h"
#include "message.h"
#include "publisher_fixture.h"

namespace {

class Wslisten : public PublisherTest {};

bool isTaken(const std::string& uri, const std::string& body) {
  wspub::Delivery delivery({});
  std::vector<wspub::Delivery::Outcome> outcomes;
  for (bool runs = delivery.start("", uri, body); runs && outcomes.empty();) {
    outcomes = delivery.drive(std::chrono::milliseconds(100));
  }
  return !outcomes.empty() && outcomes.front().accepted;
}

TEST_F(Wslisten, PrintsALineARecordAndRefusesEverythingElse) {
  const pid_t pid =
      startProcess(folder(), WSLISTEN, {"--count", "1"}, [] { setenv("TZ", "UTC", 1); });
  const auto out = [this] { return contentsOf(folder() / "out"); };
  ASSERT_TRUE(await([&] { return out().ends_with("/\n"); }));
  const std::string greeting = out();
  const std::string uri = greeting.substr(13, greeting.size() - 14);

  const wspub::Record record = {
      wspub::Value{"/B", wspub::Texts{"Open\r\xC2\x85", "0"}, 192, 58'831'250'000}};
  EXPECT_FALSE(isTaken(uri, "nonsense\x1B[2J"));
  EXPECT_TRUE(isTaken(uri, wspub::messageOf("demo\tx", {1, 0, {&record}})));
  const Outcome outcome = waitForProcess(pid, folder());
  EXPECT_EQ(outcome.out, greeting + "16:20:31.250 demo?x  /B = Open?? [0]  (quality 192)\n");
  EXPECT_NE(outcome.err, "");
  EXPECT_EQ(outcome.err.find('\x1B'), std::string::npos);
}

}  // namespace
