// devctl's commands on the log databases, as processes with an input.
#include <cmath>

#include "sandbox.h"

namespace {

using toolkit::CElement;
using toolkit::CEvent;

class LogCommands : public Sandbox {
 protected:
  // Expects a failure that names the file and has these words.
  void expectFailure(const std::vector<std::string>& command, const std::string& in,
                     const std::string& words) const {
    Sandbox::expectFailure(command, {"devctl: " + command.at(2) + ": ", words}, in);
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
  events[0].waveforms = {"https://192.0.2.1/é?a=1&b", "\"\\"};
  toolkit::CLog log;
  ASSERT_EQ(log.openToWrite(file("a"), {}), 0);
  ASSERT_EQ(log.append(events), 0);
  log.close();
  const std::string lines = expectSuccess({"events", "list", file("a")});
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
      ASSERT_TRUE(contains(line, all.at(next))) << testing::PrintToString(command);
      next += static_cast<std::size_t>(step);
    }
  }
}

TEST_F(LogCommands, OneBadEventKeepsAllOut) {
  const std::pair<const char*, const char*> kCases[] = {
      {R"({"quality": 65536})", "\"quality\" must be an integer from 0 to 65535"},
      {R"({"raised": "9223372036854.775808"})", "\"raised\" must be seconds"},
      {R"({"value": 1.5, "valueType": "Integer"})", "\"value\": the value must be an integer"},
      {R"({"waveforms": "http://a"})", "line 3: \"waveforms\" must be a list of texts"},
      {R"({"waveforms": ["http://a", "b\nc"]})", "\"waveforms\" must be URLs"},
      {R"({"colour": 1})", "line 3: unknown name \"colour\""}};
  for (const auto& [line, words] : kCases) {
    expectFailure({"events", "append", file("a")}, std::string("{}\n\n") + line + "\n{}", words);
  }
  EXPECT_FALSE(std::filesystem::exists(file("a")));
}

constexpr const char* kTrends = R"({
  "periods": [
    {"id": 1, "maxEntries": 1000},
    {"id": 7, "maxEntries": 0}
  ],
  "devices": [
    {"path": "/Dev1", "params": [{"path": "/Dev1/A", "type": 0, "min": true, "max": true, "avg": true, "actual": false},
      {"path": "/Dev1/é", "type": 2, "min": false, "max": false, "avg": false, "actual": true}]},
    {"path": "/Dev2", "params": []}
  ],
  "snapshots": [
    {"device": "/Dev1", "period": 7, "time": 5, "valid": 0.5, "data": [[-0.0,"inf",0.1,null],[null,null,null,1e+300]]},
    {"device": "/Dev1", "period": 1, "time": 1700000000, "valid": 100.0, "data": [[1.0,2.0,1.5,null],[null,null,null,3.0]]},
    {"device": "/Dev1", "period": 7, "time": 1700000000, "valid": 100.0, "data": [[null,null,null,null],[null,null,null,null]]}
  ]
}
)";

TEST_F(LogCommands, TrendsAreCopiedAndListedInPart) {
  const std::string db = file("a");
  expectSuccess({"trends", "append", db}, kTrends);
  EXPECT_EQ(expectSuccess({"trends", "list", db}), kTrends);
  // By the order of the parameters here, and not in the log.
  expectSuccess({"trends", "append", db}, R"({"devices": [{"path": "/Dev1", "params": [
      {"path": "/Dev1/new"}, {"path": "/Dev1/A"}]}], "snapshots": [
      {"device": "/Dev1", "period": 1, "time": 6, "valid": 9, "data": [[1,1,1,1],[2,2,2,2]]}]})");
  // By the log's order.
  expectSuccess({"trends", "append", db}, R"({"snapshots": [
      {"device": "/Dev1", "period": 1, "time": 7, "valid": 9, "data": [[3,3,3,3]]}]})");
  const std::string part = expectSuccess({"trends", "list", db, "--device", "/Dev1", "--period",
                                          "1", "--from", "5", "--to", "1700000000", "--max", "2"});
  for (const char* data : {"[[2.0,2.0,2.0,2.0],[null,null,null,null],[1.0,1.0,1.0,1.0]]},\n",
                           "[[3.0,3.0,3.0,3.0],[null,null,null,null],[null,null,null,null]]}\n"}) {
    EXPECT_TRUE(contains(part, data));
  }
  expectFailure({"trends", "list", db, "--device", "/Dev3"}, "", "no device \"/Dev3\"");
  expectFailure({"trends", "list", db, "--period", "2"}, "", "no period 2");
}

TEST_F(LogCommands, FaultyTrendsEnterNothing) {
  const std::string good = R"({"periods": [{"id": 3}], "devices": [{"path": "/New"}], "snapshots": [
      {"device": "/Dev1", "period": 1, "time": 8, "valid": 0, "data": []}, {"device": "/Dev1", )";
  // Whole, or what follows the good begin.
  const std::pair<std::string, const char*> kCases[] = {
      {R"("period": 1, "time": 8, "valid": 0, "data": []}]})",
       "snapshot 2: \"/Dev1\", period 1, time 8 is given twice"},
      {R"("period": 2, "time": 9, "valid": 0, "data": []}]})", "snapshot 2: there is no period 2"},
      {R"("period": 3, "time": 9, "valid": 0, "data": [[1,1,1,1],[1,1,1,1],[1,1,1,1]]}]})",
       "\"/Dev1\" has 2"},
      {R"("period": 1, "time": 9, "valid": 0, "data": [[1]]}]})", "snapshot 2: data 1: "},
      {R"({"periods": [{"id": 3}, {"id": 4294967296}]})", "period 2: \"id\""},
      {R"({"devices": [{"path": "/New", "params": [{"path": "/A", "type": 3}]}]})",
       "device 1: parameter 1: \"type\""}};
  const std::vector<std::string> append = {"trends", "append", file("a")};
  expectFailure(append, good + kCases[1].first, "snapshot 1: there is no device \"/Dev1\"");
  EXPECT_FALSE(std::filesystem::exists(file("a")));
  expectSuccess(append, kTrends);
  for (const auto& [text, words] : kCases) {
    expectFailure(append, text.find_first_of("{[") == 0 ? text : good + text, words);
  }
  EXPECT_EQ(expectSuccess({"trends", "list", file("a")}), kTrends);
}

TEST_F(LogCommands, MissingForeignAndDamagedFilesAreNamed) {
  expectSuccess({"events", "append", file("events")});
  expectFailure({"events", "list", file("missing")}, "", "no such file");
  expectFailure({"trends", "append", file("events")}, kTrends, "trend log");
  expectFailure({"events", "append", write("text", "no log at all")}, "{}", "not a database");
}

}  // namespace
