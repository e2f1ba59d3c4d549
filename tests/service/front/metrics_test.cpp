// What the service counts, and how devctl shows it to a monitoring system.
#include "front/envelope_server.h"
#include "front/timer.h"
#include "handler_fixture.h"

namespace {

class Metrics : public HandlerTest {
 protected:
  Metrics() {
    import({leafAt("/M1:NodeType", "Device"), leafAt("/M1", 42),
            leafAt("/M\"1\\:NodeType", "Device"), leafAt("/M\"1\\:.Quality", 64)});
    toolkit::admin::Model model;
    model.rights = {{"/M1", "guest", "r"}};
    EXPECT_EQ(toolkit::admin::importModel(model, false), "");
    global_.connxns.emplace(global_.cdsApi, "/Connections", __psyslog);
    global_.localesMap.emplace("en_US", std::locale::classic());
    global_.localesOk = true;
    installHooks(ctx_);
    daemonMode = false;
  }

  void serve(const std::string& body) { serveBytes(ctx_, {"guest", "192.0.2.1"}, body); }
  std::string metrics(const Texts& options = {}) const {
    Texts arguments = {"metrics"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome outcome = waitForProcess(startProcess(folder(), DEVCTL, arguments), folder());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  }
  // Has another program look at the text.
  void expectAccepted(const std::string& text, const Texts& command) const {
    std::ofstream(folder() / "metrics") << text;
    const std::string input = folder() / "metrics";
    const auto prepare = [&] { dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO); };
    const Outcome outcome = waitForProcess(
        startProcess(folder(), command.front(), {command.begin() + 1, command.end()}, prepare),
        folder());
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
  }
};

TEST_F(Metrics, CountWhatWasAnsweredAndHow) {
  const std::tuple<std::string, const char*, const char*> kRequests[] = {
      {envelope("getValue", "<n:path>/M1</n:path>"), "getValue", "ok"},
      {envelope("getValue", "<n:path>/None</n:path>"), "getValue", "error_string"},
      {envelope("getValue", "<n:path>"), "getValue", "fault"},
      {envelope("setValue", "<n:path>/M1</n:path><n:value>1</n:value>"), "setValue",
       "unauthorized"},
      {envelope("noValue", ""), "none", "fault"},
      {"hello", "none", "fault"}};
  for (const auto& [body, operation, outcome] : kRequests) {
    serve(body);
  }
  serve(std::get<0>(kRequests[0]));
  EXPECT_FALSE(contains(metrics(), "getValue")) << "the timer brings them into the store";
  timer_task(&global_);
  const std::string text = metrics({"--logs", folder()});
  for (const auto& [body, operation, outcome] : kRequests) {
    const std::string count =
        outcome == std::string("ok") || operation == std::string("none") ? "2" : "1";
    EXPECT_TRUE(contains(text, std::string("dravixd_requests_total{worker=\"0\",operation=\"") +
                                   operation + "\",outcome=\"" + outcome + "\"} " + count + "\n"));
  }
  for (const char* line : {"dravixd_request_duration_seconds_bucket{worker=\"0\",le=\"+Inf\"} 7\n",
                           "dravixd_request_duration_seconds_count{worker=\"0\"} 7\n",
                           "dravixd_refusals_total{worker=\"0\",limit=\"envelope\"} 1\n",
                           "toolkit_device_quality{device=\"/M\\\"1\\\\\"} 64\n",
                           "toolkit_device_quality{device=\"/M1\"} 192\n",
                           "toolkit_log_readable{log=\"alarms.db\"} 0\n"}) {
    EXPECT_TRUE(contains(text, line));
  }
  expectAccepted(text, {"/usr/bin/promtool", "check", "metrics"});
  expectAccepted(metrics({"--openmetrics"}),
                 {"/usr/bin/python3", "-c",
                  "import sys; from prometheus_client.openmetrics.parser import "
                  "text_string_to_metric_families as p; list(p(sys.stdin.read()))"});
}

TEST_F(Metrics, ReplaceTheirFileInOneStep) {
  const std::string file = folder() / "device.prom";
  std::ofstream(file) << "old";
  EXPECT_EQ(metrics({"--output", file}), "");
  EXPECT_TRUE(contains(contentsOf(file), "toolkit_events_total 0\n"));
  const Outcome outcome = waitForProcess(
      startProcess(folder(), DEVCTL, {"metrics", "--output", folder() / "none/x"}), folder());
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(contains(outcome.err, "none/x: No such file"));
}

class Health : public ServiceTest {};

TEST_F(Health, FollowsTheWatchdogs) {
  start();
  const auto status = [this] {
    return fastCgiRequest(socketPath(), {{"DRAVIXD_HEALTH", "on"}}, "").status();
  };
  EXPECT_EQ(status(), 200);
  toolkit::CCds cds;
  api_status_t done = API_NONE;
  cds.watchdog_register(done, "late", -1, 0);
  EXPECT_EQ(status(), 503);
  cds.watchdog_clear(done);
  EXPECT_EQ(status(), 200);
  EXPECT_EQ(value("/M1/Count"), "42");
}

}  // namespace
