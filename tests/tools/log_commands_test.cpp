// devctl's commands on the log databases, as processes with an input.
#include <fcntl.h>

#include <cmath>

#include "sandbox.h"
#include "toolkit/log.h"

namespace {

using toolkit::CElement;
using toolkit::CEvent;

class LogCommands : public Sandbox {
 protected:
  std::string file(const std::string& name) const { return folder() / name; }
  std::string expectSuccess(const std::vector<std::string>& words,
                            const std::string& in = "") const {
    const Outcome outcome = feed(words, in);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  }
  // Expects a failure that names the file and has these words.
  void expectFailure(const std::vector<std::string>& command, const std::string& in,
                     const std::string& words) const {
    const Outcome outcome = feed(command, in);
    EXPECT_EQ(outcome.status, 1) << in;
    EXPECT_TRUE(outcome.err.starts_with("devctl: " + command.at(2) + ": ")) << outcome.err;
    EXPECT_NE(outcome.err.find(words), std::string::npos) << words << " in: " << outcome.err;
  }
  std::vector<CEvent> eventsOf(const std::string& name) const {
    toolkit::CLog log;
    std::vector<CEvent> events;
    EXPECT_EQ(log.init(file(name), 0, false, false, true, true, 0, 0, 0), 0) << log.last_error();
    EXPECT_EQ(log.retrieve(events, "", nullptr, nullptr, log.kNoMaximum, false, false, 0), 0);
    return events;
  }

 private:
  Outcome feed(const std::vector<std::string>& arguments, const std::string& in) const {
    const std::string input = write("in", in);
    const auto prepare = [&] { dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO); };
    return waitForProcess(startProcess(folder(), DEVCTL, arguments, prepare), folder());
  }
};

TEST_F(LogCommands, AnEventLogIsCopiedExactly) {
  std::vector<CEvent> events(1);
  for (const auto& value :
       {CElement(true), CElement(-7), CElement(7, DATA_ENUMERATED), CElement(std::nan("")),
        CElement(-0.0), CElement(-HUGE_VAL), CElement(INT64_MIN), CElement(timeval{-2, 500000}),
        CElement("\"\\\n\x01\x7F é 漢"), CElement(timeval{9223372036854, 775807})}) {
    events.emplace_back().value = value;
    events.back().message = events.back().note = value.to_string();
  }
  for (const timeval time : {timeval{1700000000, 250000}, timeval{1700000000, 123457},
                             timeval{9223372036854, 775807}, timeval{INT64_MIN, 0}}) {
    events.emplace_back().time = events[0].raised = time;
    events.back().id = UINT64_MAX - events.size();
  }
  events[0].type = events[0].priority = events[0].severity = INT32_MIN;
  events[0].flag = events[0].condition = events[0].autoClosing = true;
  events[0].quality = UINT16_MAX;
  events[0].sequence = UINT32_MAX;
  events[0].ack = events[0].variation = INT32_MAX;
  events[0].path = events[0].source = std::string("\0x", 2);
  toolkit::CLog log;
  ASSERT_EQ(log.init(file("a"), 0, true, false, false, true, 0, 0, 0), 0);
  ASSERT_EQ(log.append(events), 0);
  log.close();
  const std::string lines = expectSuccess({"events", "list", file("a")});
  EXPECT_NE(lines.find("\"time\": 1700000000.25,"), std::string::npos) << lines;
  expectSuccess({"events", "append", file("b")}, lines);
  EXPECT_EQ(eventsOf("b"), eventsOf("a"));

  expectSuccess({"events", "append", file("c")}, R"({"time": 1700000000.1, "value": 3})");
  CEvent event;
  event.value = CElement(3);
  event.time = {1700000000, 100000};
  event.value.set_time(event.time);
  EXPECT_EQ(eventsOf("c"), std::vector{event});
}

TEST_F(LogCommands, EventsAreListedByPagesWhateverTheirTimes) {
  std::string lines = " \r\n";
  std::vector<std::string> all;
  for (int i = 0; i < 4000; ++i) {
    // Pages end within 700 events of one time, and within 2100.
    const int time = i < 1900 ? i / 700 : 3;
    all.push_back("\"id\": " + std::to_string(i) + ",");
    lines += "{" + all.back() + "\"type\": " + std::to_string(i < 10 ? 8 : 1) + ",\"path\": \"/D" +
             std::to_string(i % 2) + "/A\",\"time\": " + std::to_string(time) + ".5}\n";
  }
  expectSuccess({"events", "append", file("a")}, lines);
  const std::tuple<std::vector<std::string>, std::size_t, int, std::size_t> kCases[] = {
      {{}, 0, 1, 4000},
      {{"--reverse"}, 3999, -1, 4000},
      {{"--max", "1500"}, 0, 1, 1500},
      {{"--max", "1500", "--latest"}, 2500, 1, 1500},
      {{"--max", "1500", "--reverse"}, 1499, -1, 1500},
      {{"--max", "2500", "--reverse", "--latest"}, 3999, -1, 2500},
      {{"--from", "1.5", "--to", "2.499999"}, 700, 1, 700},
      {{"--path", "/D1", "--type", "12", "--latest"}, 1, 2, 5}};
  for (auto [command, next, step, count] : kCases) {
    command.insert(command.begin(), {"events", "list", file("a")});
    std::vector<std::string> found;
    CElement::split_string(found, expectSuccess(command), '\n');
    found.pop_back();
    EXPECT_EQ(found.size(), count) << testing::PrintToString(command);
    for (const std::string& line : found) {
      ASSERT_NE(line.find(all.at(next)), std::string::npos) << testing::PrintToString(command);
      next += static_cast<std::size_t>(step);
    }
  }
}

TEST_F(LogCommands, OneBadEventKeepsAllOut) {
  const std::pair<const char*, const char*> kCases[] = {
      {R"({"id": 18446744073709551616})", "line 3: \"id\" must be an integer"},
      {R"({"quality": 65536})", "\"quality\" must be an integer from 0 to 65535"},
      {R"({"raised": "9223372036854.775808"})", "\"raised\" must be seconds"},
      {R"({"value": 1, "valueType": "Reel"})", "\"valueType\": \"Reel\""},
      {R"({"value": 1.5, "valueType": "Integer"})", "\"value\": the value must be an integer"},
      {R"({"colour": 1})", "line 3: unknown name \"colour\""},
      {R"({"note": "", "note": ""})", "\"note\" is given twice"},
      {R"({"id": })", "line 3: parse error at column 8"},
      {"7", "line 3: must be an object"}};
  for (const auto& [line, words] : kCases) {
    expectFailure({"events", "append", file("a")}, std::string("{}\n\n") + line + "\n{}", words);
  }
  EXPECT_FALSE(std::filesystem::exists(file("a")));
}

TEST_F(LogCommands, MissingForeignAndDamagedFilesAreNamed) {
  expectSuccess({"events", "append", file("events")});
  expectFailure({"events", "list", file("missing")}, "", "no such file");
  expectFailure({"events", "append", write("text", "no log at all")}, "{}", "not a database");
  expectFailure({"events", "list", file("events"), "--from", "now"}, "", "--from now");
}

}  // namespace
