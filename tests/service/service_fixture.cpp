#include "service_fixture.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace fs = std::filesystem;
using toolkit::CElement;

namespace {

void bindMount(const fs::path& source, const fs::path& target) {
  if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
    _exit(125);
  }
}

// The child's own view of the file system; see the header.
void enterNamespace(const fs::path& root) {
  if (unshare(CLONE_NEWNS) != 0 ||
      mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    _exit(125);
  }
  // A build folder below /tmp is there in the test's own too.
  if (const fs::path build = fs::path(BUILD_FOLDER).lexically_relative("/tmp");
      *build.begin() != "..") {
    fs::create_directories(root / "tmp" / build);
    bindMount(BUILD_FOLDER, root / "tmp" / build);
  }
  bindMount(root / "tmp", "/tmp");
  if (fs::exists("/sbin/reboot")) {
    bindMount("/dev/null", "/sbin/reboot");
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
  fs::create_directory(root() / "tmp");
  unsetenv("TOOLKIT_STORE_LIMIT");
  setenv("TOOLKIT_RUN", (root() / "run").c_str(), 1);
  setenv("TOOLKIT_STATE", (root() / "state").c_str(), 1);
  setenv("TOOLKIT_LOG", (root() / "log").c_str(), 1);
}

ServiceTest::~ServiceTest() {
  if (pid_ > 0) {
    stop(SIGKILL);
  }
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
      leaf("/M1/Va", ".AlarmHighLimit", CElement(253.0)),
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
  for (const char* node :
       {"/M1/Va", "/M1/Breaker", "/M1/Enabled", "/M1/Flag", "/M1/Count", "/M1/Text"}) {
    model.leaves.push_back(leaf(node, "Writable", CElement(true)));
  }
  return model;
}

void ServiceTest::spawn(const Texts& arguments) {
  pid_ = startBeside(arguments);
}

pid_t ServiceTest::startBeside(const Texts& arguments) const {
  return startProcess(root(), DRAVIXD_BINARY, arguments, [this] {
    if (prepare_) {
      prepare_();
    }
    enterNamespace(root());
  });
}

bool ServiceTest::hasEnded() const {
  siginfo_t info = {};
  waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
  return info.si_pid == pid_;
}

void ServiceTest::start(const Texts& arguments) {
  spawn(arguments);
  const bool settled =
      await([this] { return fastCgiRequest(socketPath(), {}, "").complete || hasEnded(); });
  ASSERT_TRUE(settled && !hasEnded()) << log() << contentsOf(root() / "err");
}

Outcome ServiceTest::run(const Texts& arguments) {
  spawn(arguments);
  return waitForEnd();
}

Outcome ServiceTest::stop(int signal) {
  kill(pid_, signal);
  return waitForEnd();
}

void ServiceTest::awaitLog(const std::string& text) const {
  ASSERT_TRUE(await([&] { return log().find(text) != std::string::npos; }))
      << "no line with: " << text << "\n"
      << log();
}

FastCgiReply ServiceTest::post(const std::string& body, const std::string& user,
                               const FastCgiParams& more) const {
  FastCgiParams params = more;  // the first one of a name counts
  params.emplace_back("CONTENT_LENGTH", std::to_string(body.size()));
  params.emplace_back("REMOTE_ADDR", "192.0.2.1");
  if (!user.empty()) {
    params.emplace_back("REMOTE_USER", user);
  }
  return fastCgiRequest(socketPath(), params, body);
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

Texts ServiceTest::setMany(const Texts& paths, const Texts& texts,
                           const std::string& options) const {
  const std::string children =
      "<n:options>" + options + "</n:options>" + pathsAndValues(paths, texts);
  return elements(call("setValues", children), "setValuesResult");
}

std::string pathsAndValues(const Texts& paths, const Texts& texts) {
  std::string children;
  for (const std::string& path : paths) {
    children += "<n:paths>" + path + "</n:paths>";
  }
  for (const std::string& text : texts) {
    children += "<n:values>" + text + "</n:values>";
  }
  return children;
}

std::string envelope(const std::string& operation, const std::string& children,
                     const std::string& name) {
  return "<E:Envelope xmlns:E=\"http://schemas.xmlsoap.org/soap/envelope/\"><E:Body>"
         "<n:" +
         operation + " xmlns:n=\"http://tarnix.example/" + name + "\">" + children +
         "</n:" + operation + "></E:Body></E:Envelope>";
}

Texts elements(const std::string& xml, const std::string& name) {
  static const std::pair<std::string, char> kReferences[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&amp;", '&'}};
  Texts result;
  for (std::size_t at = xml.find(name); at != std::string::npos; at = xml.find(name, at)) {
    const std::size_t open = xml.rfind('<', at);
    const bool whole = open + 1 == at || (xml[at - 1] == ':' && xml[open + 1] != '/');
    at += name.size();
    if (!whole || (xml[at] != '>' && xml[at] != '/')) {
      continue;
    }
    const std::size_t text = xml.find('>', at) + 1;
    result.push_back(xml.substr(text, xml.find('<', text) - text));
    for (const auto& [reference, character] : kReferences) {
      for (std::size_t i = 0; (i = result.back().find(reference, i)) != std::string::npos; ++i) {
        result.back().replace(i, reference.size(), 1, character);
      }
    }
  }
  return result;
}
