#include "service_fixture.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <regex>

namespace fs = std::filesystem;

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

std::string only(const Texts& results) {
  return results.size() == 1 ? results.front()
                             : "no single result: " + testing::PrintToString(results);
}

}  // namespace

ServiceTest::ServiceTest() {
  fs::create_directory(root() / "tmp");
  unsetenv("TOOLKIT_STORE_LIMIT");
  setenv("TOOLKIT_RUN", (root() / "run").c_str(), 1);
  setenv("TOOLKIT_STATE", (root() / "state").c_str(), 1);
  setenv("TOOLKIT_LOG", (root() / "log").c_str(), 1);
  import({});
}

ServiceTest::~ServiceTest() {
  if (pid_ > 0) {
    stop(SIGKILL);
  }
}

void ServiceTest::import(const Leaves& more, const std::vector<toolkit::admin::Right>& rights) {
  toolkit::admin::Model model;
  model.rights = {{"/", "*", "r"},
                  {"/", "operator", "rw"},
                  {"/Secret", "*", ""},
                  {"/Secret", "admin", "r"},
                  {"/", "admin", "rwd"}};
  model.leaves = {leafAt("/Software/System Settings/Supported Locales", "en_US;de_DE;fr_FR"),
                  leafAt("/M1:NodeType", "Device"),
                  leafAt("/M1:.Quality", 192),
                  leafAt("/M1/Va", 230.123456789),
                  leafAt("/M1/Va:Units", "volts"),
                  leafAt("/M1/Va:.AlarmHighLimit", 253.0),
                  leafAt("/M1/Breaker", 1),
                  leafAt("/M1/Breaker:ValueType", "Multistate"),
                  leafAt("/M1/Breaker:PossibleValues", "Open;Closed;Tripped"),
                  leafAt("/M1/Enabled", true),
                  leafAt("/M1/Enabled:PossibleValues", "Disabled;Enabled"),
                  leafAt("/M1/Flag", false),
                  leafAt("/M1/Count", 42),
                  leafAt("/M1/Text", "é 漢 😀 <&>"),
                  leafAt("/M1/List:PossibleValues", "a;b;c;d;e;f;g;h;i;j"),
                  leafAt("/M1/One:PossibleValues", "only"),
                  leafAt("/Secret/Value1", "hidden")};
  for (const char* node :
       {"/M1/Va", "/M1/Breaker", "/M1/Enabled", "/M1/Flag", "/M1/Count", "/M1/Text"}) {
    model.leaves.push_back(leafAt(node + std::string(":Writable"), true));
  }
  for (toolkit::admin::ModelLeaf& leaf : model.leaves) {
    leaf.element.set_time({1700000000, 500000});
  }
  model.leaves.insert(model.leaves.end(), more.begin(), more.end());
  model.rights.insert(model.rights.end(), rights.begin(), rights.end());
  ASSERT_EQ(toolkit::admin::importModel(model, true), "");
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

pid_t ServiceTest::startDaemon(const std::string& where) {
  EXPECT_EQ(run({"-D", "2"}).status, 0) << "the first process ends at once";
  awaitLog("FCGI app listening at " + where + " [0]");
  const std::string lines = log();
  return std::stoi(lines.substr(lines.rfind("dravixd[", lines.find("listening")) + 8));
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
  return only(results("getValue", tags({{"n:options", options}, {"n:path", path}}), user));
}

std::string ServiceTest::set(const std::string& path, const std::string& text,
                             const std::string& options) const {
  return only(
      results("setValue", tags({{"n:options", options}, {"n:path", path}, {"n:value", text}})));
}

Texts ServiceTest::setMany(const Texts& paths, const Texts& texts,
                           const std::string& options) const {
  return results("setValues", tags({{"n:options", options}}) + pathsAndValues(paths, texts));
}

std::string ServiceTest::stored(const std::string& path) {
  toolkit::CCds cds;
  return StoreTest::text(cds, path);
}

std::vector<toolkit::admin::Watchdog> watchdogs() {
  std::vector<toolkit::admin::Watchdog> result;
  EXPECT_EQ(toolkit::admin::watchdogs(result), "");
  return result;
}

std::string tags(const std::vector<std::pair<std::string, std::string>>& contents) {
  std::string result;
  for (const auto& [name, content] : contents) {
    result.append("<").append(name).append(">").append(content);
    result.append("</").append(name).append(">");
  }
  return result;
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

std::string pathsAndValues(const Texts& paths, const Texts& texts) {
  std::string children;
  for (const std::string& path : paths) {
    children += tags({{"n:paths", path}});
  }
  for (const std::string& text : texts) {
    children += tags({{"n:values", text}});
  }
  return children;
}

std::string envelope(const std::string& operation, const std::string& children,
                     const std::string& name) {
  return "<E:Envelope xmlns:E=\"" + kSoap11 + "\"><E:Body><n:" + operation +
         " xmlns:n=\"http://tarnix.example/" + name + "\">" + children + "</n:" + operation +
         "></E:Body></E:Envelope>";
}

Texts elements(const std::string& xml, const std::string& name) {
  static const std::pair<std::string, char> kReferences[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&amp;", '&'}};
  const std::regex tag("<([A-Za-z0-9-]+:)?" + name + "/?>");
  Texts result;
  for (std::sregex_iterator i(xml.begin(), xml.end(), tag), end; i != end; ++i) {
    const auto text = static_cast<std::size_t>(i->position() + i->length());
    result.push_back(xml.substr(text, xml.find('<', text) - text));
    for (const auto& [reference, character] : kReferences) {
      for (std::size_t at = 0; (at = result.back().find(reference, at)) != std::string::npos;
           ++at) {
        result.back().replace(at, reference.size(), 1, character);
      }
    }
  }
  return result;
}

void expectElements(const std::string& xml,
                    const std::vector<std::pair<std::string, Texts>>& expected) {
  for (const auto& [name, texts] : expected) {
    EXPECT_EQ(elements(xml, name), texts) << name << " in: " << xml.substr(0, 4000);
  }
}
