// Fuzzes requests, from the bytes that the web server sends to those that it gets: the service's
// own envelope server serves them, in memory. " ++ " parts the requests of one input; the next
// input finds the store, and all but the caches, as the first one did.
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <vector>

#include "front/engine.h"
#include "front/envelope_server.h"
#include "model_file.h"
#include "support.h"
#include "toolkit/event_stream.h"
#include "toolkit/log.h"
#include "toolkit/trend.h"
#include "values/locales.h"

namespace {

using toolkit::CElement;
using toolkit::CEvent;
namespace trend = toolkit::trend;

constexpr const char* kPath = "/Software/Data Servers/BACnet WebServices";
constexpr std::string_view kSeparator = " ++ ";
constexpr std::size_t kMaxRequests = 4;
constexpr const char* kSecret = "k7-n0-0ne-r34ds-1t";  // store.json: the caller may not read it

CEvent eventAt(int seconds, int type, const char* path, double value) {
  CEvent event;
  event.type = type;
  event.path = path;
  event.time = {seconds, 0};
  event.value = CElement(value);
  event.message = "Voltage too high : xVoltage too low";
  event.waveforms = {"/waveforms/same-binary.cfg"};
  return event;
}

void makeLog(const std::string& file, int type) {
  toolkit::CLog log;
  require(log.init(file, 0, true, false, false, true, 0, 0, 0) == 0);
  const CEvent first = eventAt(1, type, "/M1/Va/Value", 230);
  const CEvent second = eventAt(2, type, "/M1/Breaker/Value", 1);
  require(log.append({first, second, eventAt(2, type, "/M1/Va", 260.5), first}) == 0);
}

void makeTrends(const std::string& file) {
  trend::CLog log;
  require(log.open(file, false, true, 0, false, 0, 0, 0, false) == 0);
  require(log.set_periods({{1, 1440}, {2, 100}}) == 0);
  const trend::CParamProperties point{"/M1/Va", trend::SAMPLE_NORMAL, true, true, true, true, 0};
  require(log.set_params({{"/M1"}, {point}}) == 0);
  const trend::COptVal value(230);
  for (const std::int64_t time : {60, 120, 180}) {
    require(log.append({{"/M1", {1, time, 100, {{value, value, value, value}}}}}) == 0);
  }
}

// The service on a device of its own, without a socket.
class Service {
 public:
  Service() {
    scratch_.useForStore();
    setenv("TOOLKIT_LOG", "/dev/null", 1);
    log_ = std::make_unique<toolkit::CSysLog>("request_fuzz", 9, false, false, true);
    __psyslog = global_.syslog = log_.get();
    require(model_file::load(STORE_FILE, model_).empty());
    require(toolkit::admin::importModel(model_, true).empty());
    require(global_.cdsApi.init() == 0);
    makeLogs();
    global_.waveFolder = RECORDS_FOLDER;
    global_.pause = [](std::chrono::microseconds) {};
    // Nothing here may restart the machine.
    global_.execute = [](const char*, char* const[]) {
      errno = ENOENT;
      return -1;
    };
    global_.swInfo.emplace(global_.cdsApi, kPath);
    global_.connxns.emplace(global_.cdsApi, kPath, global_.syslog);
    global_.localesOk = initializeLocales(&global_);
    require(global_.localesOk && global_.localesMap.size() == 3);
    engine_ = createEngine(global_);
    enableLocaleModes(engine_.get());
    installHooks(engine_.get());
    serve({});
    restore();
  }

  std::string serve(std::string_view body) {
    static const Caller kOperator = {"operator", "127.0.0.1", "de, en;q=0.5", false};
    return serveBytes(engine_.get(), kOperator, body);
  }

  void restore() {
    if (global_.cdsApi.state() == restored_) {
      return;
    }
    require(toolkit::admin::importModel(model_, true).empty());
    toolkit::CEventStream waiting(global_.cdsApi, toolkit::CEventStream::kAcknowledgements);
    std::uint64_t last = 0;
    require(waiting.last(last) == 0 && waiting.remove(last) == 0);
    restored_ = global_.cdsApi.state();
  }

 private:
  void makeLogs() {
    global_.deltaLog = scratch_.folder() / "deltas.db";
    global_.eventLog = scratch_.folder() / "alarms.db";
    global_.systemLog = scratch_.folder() / "system.db";
    global_.trendLogPath = scratch_.folder() / "trends.db";
    makeLog(global_.deltaLog, toolkit::EVENT_DELTA);
    makeLog(global_.eventLog, toolkit::EVENT_ALARM);
    makeLog(global_.systemLog, toolkit::EVENT_SYSTEM);
    makeTrends(global_.trendLogPath);
  }

  Scratch scratch_;
  toolkit::admin::Model model_;
  std::unique_ptr<toolkit::CSysLog> log_;
  _global_data_t global_;
  SoapContext engine_;
  std::size_t restored_ = 0;
};

std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> parts;
  for (std::size_t end = text.find(kSeparator);
       end != std::string_view::npos && parts.size() + 1 < kMaxRequests;
       end = text.find(kSeparator)) {
    parts.push_back(text.substr(0, end));
    text.remove_prefix(end + kSeparator.size());
  }
  parts.push_back(text);
  return parts;
}

// True for one element, after what stands before it. A request without an envelope gets such a
// reply.
bool isDocument(std::string_view text) {
  constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<";
  if (!text.starts_with(kDeclaration)) {
    return false;
  }
  text.remove_prefix(kDeclaration.size());
  text.remove_suffix(text.ends_with("\r\n") ? 2 : 0);
  const std::string name(text.substr(0, text.find_first_of(" >")));
  return text.ends_with("</" + name + ">") || text.find('>') + 1 == text.size();
}

// What the service does not take from others, it must not say itself.
bool isGood(const std::string& reply) {
  constexpr std::string_view kEmptyLine = "\r\n\r\n";
  const std::size_t head = reply.find(kEmptyLine);
  if (head == std::string::npos) {
    return false;
  }
  const std::string_view document = std::string_view(reply).substr(head + kEmptyLine.size());
  EnvelopeGuard guard;
  return isDocument(document) && guard.accept(document);
}

void checkReply(const std::string& reply, const std::string& input) {
  const bool leaks = reply.find(kSecret) != std::string::npos;
  if (!isGood(reply) || (leaks && input.find(kSecret) == std::string::npos)) {
    std::fprintf(stderr, "The reply was: %s\n", reply.c_str());
    std::abort();
  }
}

}  // namespace

// Handlers whose assertions a request can trip (docs/limits.md): such requests end here. The
// linker's --wrap brings the calls.
int realRemoveNode(struct soap* ctx, _nst1__RemoveNode* request,
                   _nst1__RemoveNodeResponse* response) __asm__("__real_" REMOVE_NODE);
int wrapRemoveNode(struct soap* ctx, _nst1__RemoveNode* request,
                   _nst1__RemoveNodeResponse* response) __asm__("__wrap_" REMOVE_NODE);
int realSendCommand(struct soap* ctx, std::string* options, std::string* devPath,
                    nsc3__sendCmd_s* cmd,
                    nsc3__sendDeviceCmdResponse& response) __asm__("__real_" SEND_COMMAND);
int wrapSendCommand(struct soap* ctx, std::string* options, std::string* devPath,
                    nsc3__sendCmd_s* cmd,
                    nsc3__sendDeviceCmdResponse& response) __asm__("__wrap_" SEND_COMMAND);

int wrapRemoveNode(struct soap* ctx, _nst1__RemoveNode* request,
                   _nst1__RemoveNodeResponse* response) {
  if (request == nullptr || request->basePath == nullptr) {
    return soap_sender_fault(ctx, "No basePath", nullptr);
  }
  return realRemoveNode(ctx, request, response);
}

int wrapSendCommand(struct soap* ctx, std::string* options, std::string* devPath,
                    nsc3__sendCmd_s* cmd, nsc3__sendDeviceCmdResponse& response) {
  // All members of the union are pointers.
  if (cmd != nullptr && cmd->__union_sendCmdUnion != 0 && cmd->cmd.cmdLine == nullptr) {
    return soap_sender_fault(ctx, "No command", nullptr);
  }
  return realSendCommand(ctx, options, devPath, cmd, response);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Service service;
  const std::string input(data, data + size);
  for (const std::string_view body : split(input)) {
    checkReply(service.serve(body), input);
  }
  service.restore();
  return 0;
}
