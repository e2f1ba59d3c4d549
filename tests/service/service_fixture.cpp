#include "service_fixture.h"

#include <fastcgi.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <boost/algorithm/string/replace.hpp>
#include <cstdlib>
#include <regex>
#include <string_view>

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

constexpr int kRequestId = 1;
constexpr std::size_t kMaxContent = 32768;
constexpr int kTimeoutSeconds = 60;

std::string record(unsigned char type, std::string_view content) {
  const auto high = static_cast<char>(content.size() >> 8);
  const auto low = static_cast<char>(content.size() & 0xFF);
  std::string result = {FCGI_VERSION_1, static_cast<char>(type), 0, kRequestId, high, low, 0, 0};
  return result.append(content);
}

// A stream is its content in records and an empty record.
std::string stream(unsigned char type, std::string_view content) {
  std::string result;
  for (; !content.empty(); content.remove_prefix(std::min(kMaxContent, content.size()))) {
    result += record(type, content.substr(0, kMaxContent));
  }
  return result + record(type, {});
}

std::string encodedLength(std::size_t length) {
  return {static_cast<char>((length >> 24) | 0x80), static_cast<char>(length >> 16),
          static_cast<char>(length >> 8), static_cast<char>(length)};
}

std::string encodedParams(const Pairs& params) {
  std::string result;
  for (const auto& [name, value] : params) {
    result.append(encodedLength(name.size())).append(encodedLength(value.size()));
    result.append(name).append(value);
  }
  return result;
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace

// The service sees another /tmp.
ServiceTest::ServiceTest() : StoreTest("/var/tmp") {
  fs::create_directory(root() / "tmp");
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
  model.rights = {{"/", "*", "r"}, {"/", "operator", "rw"}, {"/", "admin", "rwd"}};
  model.rights.insert(model.rights.end(), {{"/Secret", "*", ""}, {"/Secret", "admin", "r"}});
  model.leaves =
      Leaves({leafAt("/Software/System Settings/Supported Locales", "en_US;de_DE;fr_FR"),
              leafAt("/M1:NodeType", "Device"), leafAt("/M1:.Quality", 192),
              leafAt("/M1/Va", 230.123456789), leafAt("/M1/Va:Units", "volts"),
              leafAt("/M1/Va:.AlarmHighLimit", 253.0), leafAt("/M1/Breaker", 1),
              leafAt("/M1/Breaker:ValueType", "Multistate"),
              leafAt("/M1/Breaker:PossibleValues", "Open;Closed;Tripped"),
              leafAt("/M1/Enabled", true), leafAt("/M1/Enabled:PossibleValues", "Disabled;Enabled"),
              leafAt("/M1/Flag", false), leafAt("/M1/Count", 42), leafAt("/M1/Text", "é 漢 😀 <&>"),
              leafAt("/M1/List:PossibleValues", "a;b;c;d;e;f;g;h;i;j"),
              leafAt("/M1/One:PossibleValues", "only"), leafAt("/Secret/Value1", "hidden")});
  for (const std::string node : {"Va", "Breaker", "Enabled", "Flag", "Count", "Text"}) {
    model.leaves.push_back(leafAt("/M1/" + node + ":Writable", true));
  }
  for (toolkit::admin::ModelLeaf& leaf : model.leaves) {
    leaf.element.set_time({1700000000, 500000});
  }
  model.leaves.insert(model.leaves.end(), more.begin(), more.end());
  model.rights.insert(model.rights.end(), rights.begin(), rights.end());
  ASSERT_EQ(toolkit::admin::importModel(model, true), "");
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
  pid_ = startBeside(arguments);
  const bool settled =
      await([this] { return fastCgiRequest(socketPath(), {}, "").complete || hasEnded(); });
  ASSERT_TRUE(settled && !hasEnded()) << log() << contentsOf(root() / "err");
}

Outcome ServiceTest::run(const Texts& arguments) {
  pid_ = startBeside(arguments);
  return waitForEnd();
}

void ServiceTest::copyWaveform(const std::string& from, const std::string& to,
                               const Texts& extensions) const {
  fs::create_directory(waves());
  for (const std::string& extension : extensions) {
    fs::copy_file(fs::path(RECORDS_FOLDER) / (from + extension), waves() / (to + extension));
  }
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
                               const Pairs& more) const {
  Pairs params = more;  // the first one of a name counts
  params.emplace_back("CONTENT_LENGTH", std::to_string(body.size()));
  params.emplace_back("REMOTE_ADDR", "192.0.2.1");
  if (!user.empty()) {
    params.emplace_back("REMOTE_USER", user);
  }
  return fastCgiRequest(socketPath(), params, body);
}

std::string ServiceTest::result(const std::string& operation, const std::string& children,
                                const std::string& user, const std::string& name) const {
  const FastCgiReply reply = post(envelope(operation, children, name), user);
  const Texts results = elements(reply.body(), operation + "Result");
  return results.size() == 1 ? results.front() : "no single result: " + reply.out;
}

std::string ServiceTest::value(const std::string& path, const std::string& options,
                               const std::string& user) const {
  return result("getValue", tags({{"n:options", options}, {"n:path", path}}), user);
}

std::string ServiceTest::set(const std::string& path, const std::string& text,
                             const std::string& options) const {
  return result("setValue", tags({{"n:options", options}, {"n:path", path}, {"n:value", text}}));
}

Texts ServiceTest::setMany(const Texts& paths, const Texts& texts,
                           const std::string& options) const {
  return results("setValues", tags({{"n:options", options}}) + pathsAndValues(paths, texts));
}

std::string tags(const Pairs& contents) {
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

std::string tagged(const std::string& name, const Texts& texts) {
  std::string result;
  for (const std::string& text : texts) {
    result += tags({{name, text}});
  }
  return result;
}

std::string envelope(const std::string& operation, const std::string& children,
                     const std::string& name) {
  return "<E:Envelope xmlns:E=\"" + kSoap11 + "\"><E:Body><n:" + operation +
         " xmlns:n=\"http://tarnix.example/" + name + "\">" + children + "</n:" + operation +
         "></E:Body></E:Envelope>";
}

Texts elements(const std::string& xml, const std::string& name) {
  static constexpr std::pair<const char*, const char*> kReferences[] = {
      {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&amp;", "&"}};
  const std::regex tag("<([A-Za-z0-9-]+:)?" + name + "/?>");
  Texts result;
  for (std::sregex_iterator i(xml.begin(), xml.end(), tag), end; i != end; ++i) {
    const auto text = static_cast<std::size_t>(i->position() + i->length());
    result.push_back(xml.substr(text, xml.find('<', text) - text));
    for (const auto& [reference, character] : kReferences) {
      boost::replace_all(result.back(), reference, character);
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

int FastCgiReply::status() const {
  const std::size_t at = out.find("Status: ");
  return at == std::string::npos ? 200 : std::atoi(out.c_str() + at + 8);
}

std::string FastCgiReply::body() const {
  const std::size_t end = out.find("\r\n\r\n");
  return end == std::string::npos ? std::string() : out.substr(end + 4);
}

std::string encodedRequest(const Pairs& params, const std::string& body) {
  return record(FCGI_BEGIN_REQUEST, {"\0\1\0\0\0\0\0\0", 8}) +
         stream(FCGI_PARAMS, encodedParams(params)) + stream(FCGI_STDIN, body);
}

FastCgiReply fastCgiRequest(const std::string& socketPath, const Pairs& params,
                            const std::string& body) {
  return SilentPeer(socketPath, encodedRequest(params, body)).reply();
}

int boundSocket(const std::string& path, int type) {
  const sockaddr_un address = addressOf(path);
  const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  return bind(descriptor, generic, sizeof address) == 0 ? descriptor : -1;
}

// Where nobody listens, nothing is sent and the reply stays incomplete.
SilentPeer::SilentPeer(const std::string& socketPath, const std::string& bytes)
    : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_un address = addressOf(socketPath);
  const timeval timeout = {kTimeoutSeconds, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
}

SilentPeer::~SilentPeer() {
  close(descriptor_);
}

FastCgiReply SilentPeer::reply() const {
  FastCgiReply reply;
  FCGI_Header header = {};
  while (recv(descriptor_, &header, sizeof header, MSG_WAITALL) == sizeof header) {
    const std::size_t length = header.contentLengthB1 * 256U + header.contentLengthB0;
    std::string content(length + header.paddingLength, 0);
    if (!content.empty()) {
      recv(descriptor_, content.data(), content.size(), MSG_WAITALL);
    }
    if (header.type == FCGI_STDOUT) {
      reply.out += content.substr(0, length);
    }
    reply.complete = reply.complete || header.type == FCGI_END_REQUEST;
  }
  return reply;
}
