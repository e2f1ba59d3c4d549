#include "service_fixture.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <utility>

namespace fs = std::filesystem;
using toolkit::CElement;

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(10);
constexpr auto kDeadline = std::chrono::seconds(60);

template <class Condition>
bool await(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  return true;
}

void bindMount(const fs::path& source, const fs::path& target) {
  if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
    _exit(125);
  }
}

// Where a build folder below /tmp shows up in the test's own /tmp.
fs::path buildFolderIn(const fs::path& root) {
  const fs::path below = fs::path(BUILD_FOLDER).lexically_relative("/tmp");
  return below.empty() || *below.begin() == ".." ? fs::path() : root / "tmp" / below;
}

// The child's own view of the file system; see the header.
void enterNamespace(const fs::path& root) {
  if (unshare(CLONE_NEWNS) != 0 ||
      mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    _exit(125);
  }
  if (const fs::path build = buildFolderIn(root); !build.empty()) {
    bindMount(BUILD_FOLDER, build);
  }
  bindMount(root / "tmp", "/tmp");
  if (fs::exists("/sbin/reboot")) {
    bindMount("/dev/null", "/sbin/reboot");
  }
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

toolkit::admin::ModelLeaf leaf(const std::string& node, const std::string& name, CElement element) {
  element.set_time({1700000000, 500000});
  return {node, name, std::move(element), ELEMENT_NORMAL};
}

std::string optionsAndPath(const std::string& options, const std::string& path) {
  return "<n:options>" + options + "</n:options><n:path>" + path + "</n:path>";
}

std::string onlyElement(const std::string& xml, const std::string& name) {
  const auto results = elements(xml, name);
  return results.size() == 1 ? results.front() : "no single result in: " + xml;
}

}  // namespace

ServiceTest::ServiceTest() {
  for (const char* folder : {"tmp", "run", "state"}) {
    fs::create_directory(root() / folder);
  }
  if (const fs::path build = buildFolderIn(root()); !build.empty()) {
    fs::create_directories(build);
  }
  setenv("TOOLKIT_RUN", (root() / "run").c_str(), 1);
  setenv("TOOLKIT_STATE", (root() / "state").c_str(), 1);
  setenv("TOOLKIT_LOG", (root() / "log").c_str(), 1);
}

ServiceTest::~ServiceTest() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    collect();
  }
}

void ServiceTest::import(const toolkit::admin::Model& model) {
  ASSERT_EQ(toolkit::admin::importModel(model, true), "");
}

toolkit::admin::Model ServiceTest::testModel() {
  toolkit::admin::Model model;
  model.rights = {{"/", "*", "r"},
                  {"/", "operator", "rw"},
                  {"/Secret", "*", ""},
                  {"/Secret", "admin", "r"},
                  {"/", "admin", "rwd"}};
  model.leaves = {
      leaf("/Software/System Settings/Supported Locales", "Value", CElement("en_US;de_DE;fr_FR")),
      leaf("/M1", "NodeType", CElement("Device")),
      leaf("/M1", ".Quality", CElement(192)),
      leaf("/M1/Va", "Value", CElement(230.123456789)),
      leaf("/M1/Va", "Units", CElement("volts")),
      leaf("/M1/Va", "DisplayName", CElement("Voltage A")),
      leaf("/M1/Va", ".AlarmHighLimit", CElement(253.0)),
      leaf("/M1/Va", "Writable", CElement(true)),
      leaf("/M1/Breaker", "Value", CElement(1)),
      leaf("/M1/Breaker", "ValueType", CElement("Multistate")),
      leaf("/M1/Breaker", "PossibleValues", CElement("Open;Closed;Tripped")),
      leaf("/M1/Enabled", "Value", CElement(true)),
      leaf("/M1/Enabled", "PossibleValues", CElement("Disabled;Enabled")),
      leaf("/M1/Flag", "Value", CElement(false)),
      leaf("/M1/Count", "Value", CElement(42)),
      leaf("/M1/Text", "Value", CElement("é 漢 😀 <&>")),
      leaf("/M1/List", "PossibleValues", CElement("a;b;c;d;e;f;g;h;i;j")),
      leaf("/M1/One", "PossibleValues", CElement("only")),
      leaf("/Secret/Value1", "Value", CElement("hidden")),
  };
  return model;
}

void ServiceTest::spawn(const std::vector<std::string>& arguments) {
  pid_ = startProcess(root(), DRAVIXD_BINARY, arguments, [this] { enterNamespace(root()); });
}

Outcome ServiceTest::collect() {
  return waitForProcess(std::exchange(pid_, -1), root());
}

bool ServiceTest::hasEnded() const {
  siginfo_t info = {};
  waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
  return info.si_pid == pid_;
}

bool ServiceTest::answers() const {
  return fastCgiRequest(socketPath(), {}, "").complete;
}

void ServiceTest::start(const std::vector<std::string>& arguments) {
  spawn(arguments);
  const bool settled = await([this] { return answers() || hasEnded(); });
  ASSERT_TRUE(settled && !hasEnded()) << log() << contentsOf(root() / "err");
}

Outcome ServiceTest::run(const std::vector<std::string>& arguments) {
  spawn(arguments);
  return collect();
}

Outcome ServiceTest::stop(int signal) {
  kill(pid_, signal);
  return collect();
}

std::string ServiceTest::log() const {
  return contentsOf(root() / "log");
}

void ServiceTest::awaitLog(const std::string& text) const {
  ASSERT_TRUE(await([&] { return log().find(text) != std::string::npos; }))
      << "no line with: " << text << "\n"
      << log();
}

FastCgiReply ServiceTest::post(const std::string& body, const std::string& user,
                               const FastCgiParams& more) const {
  FastCgiParams params = {{"REQUEST_METHOD", "POST"},
                          {"CONTENT_LENGTH", std::to_string(body.size())},
                          {"REMOTE_ADDR", "192.0.2.1"}};
  if (!user.empty()) {
    params.emplace_back("REMOTE_USER", user);
  }
  params.insert(params.end(), more.begin(), more.end());
  return fastCgiRequest(socketPath(), params, body);
}

std::string ServiceTest::call(const std::string& operation, const std::string& children,
                              const std::string& user, const FastCgiParams& more) const {
  return post(envelope(operation, children), user, more).body();
}

std::string ServiceTest::value(const std::string& path, const std::string& options,
                               const std::string& user) const {
  return onlyElement(call("getValue", optionsAndPath(options, path), user), "getValueResult");
}

std::string ServiceTest::set(const std::string& path, const std::string& text,
                             const std::string& options) const {
  return onlyElement(
      call("setValue", optionsAndPath(options, path) + "<n:value>" + text + "</n:value>"),
      "setValueResult");
}

std::vector<std::string> ServiceTest::setMany(const std::vector<std::string>& paths,
                                              const std::vector<std::string>& texts,
                                              const std::string& options) const {
  const std::string children =
      "<n:options>" + options + "</n:options>" + pathsAndValues(paths, texts);
  return elements(call("setValues", children), "setValuesResult");
}

std::string pathsAndValues(const std::vector<std::string>& paths,
                           const std::vector<std::string>& texts) {
  std::string children;
  for (const std::string& path : paths) {
    children += "<n:paths>" + path + "</n:paths>";
  }
  for (const std::string& text : texts) {
    children += "<n:values>" + text + "</n:values>";
  }
  return children;
}

std::string envelope(const std::string& operation, const std::string& children) {
  return "<E:Envelope xmlns:E=\"http://schemas.xmlsoap.org/soap/envelope/\"><E:Body>"
         "<n:" +
         operation + " xmlns:n=\"http://tarnix.example/TarnixWS\">" + children +
         "</n:" + operation + "></E:Body></E:Envelope>";
}

std::vector<std::string> elements(const std::string& xml, const std::string& name) {
  std::vector<std::string> result;
  const std::string start = ":" + name;
  for (std::size_t at = xml.find(start); at != std::string::npos; at = xml.find(start, at)) {
    at += start.size();
    const std::size_t tag = xml.rfind('<', at);
    if (xml[tag + 1] == '/' || (xml[at] != '>' && xml[at] != '/')) {
      continue;
    }
    std::string text =
        xml[at] == '/' ? std::string() : xml.substr(at + 1, xml.find('<', at) - at - 1);
    replaceAll(text, "&lt;", "<");
    replaceAll(text, "&gt;", ">");
    replaceAll(text, "&quot;", "\"");
    replaceAll(text, "&amp;", "&");
    result.push_back(text);
  }
  return result;
}
