#include "front/fastcgi_server.h"

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcgiapp.h>

#include "TarnixH.h"
#include "front/envelope_server.h"
#include "front/fastcgi_socket.h"
#include "front/global_data.h"
#include "front/health.h"
#include "front/timer.h"
#include "front/web_connection.h"
#include "front/workers.h"

namespace {

constexpr int kBacklog = 64;
constexpr int kStallSeconds = 5;
// From the first byte of a request to its last.
constexpr int kReadSeconds = 5;
// Connections that wait are taken one after the other for so long, without a look at signals and
// the timer.
constexpr std::chrono::milliseconds kTurn{20};
constexpr std::uint64_t kSmallBody = 16384;
constexpr const char* kBusy =
    "Status: 503 Service Unavailable\r\nRetry-After: 1\r\nContent-Type: text/plain\r\n\r\n"
    "Other requests of yours take long, or have ended a worker: try again in a moment.\n";

using std::chrono::microseconds;

class RequestSource : public ByteSource {
 public:
  RequestSource(FCGX_Stream* in, ReadDeadline& deadline) : in_(in), deadline_(deadline) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const int count = FCGX_GetStr(buffer, static_cast<int>(size), in_);
    if (FCGX_HasSeenEOF(in_) != 0) {
      deadline_.lift();
    }
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

 private:
  FCGX_Stream* in_;
  ReadDeadline& deadline_;
};

microseconds sinceThen(std::chrono::steady_clock::time_point then) {
  return std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - then);
}

microseconds cpuTime() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::duration_cast<microseconds>(std::chrono::seconds(time.tv_sec) +
                                                  std::chrono::nanoseconds(time.tv_nsec));
}

// What a request costs this process: the time that it works, or waits for a log.
class Stopwatch {
 public:
  microseconds busy() const {
    const microseconds waited = sinceThen(begin_);
    return waited > kWait || waited < kShort ? waited : cpuTime() - cpu_;
  }

 private:
  using Clock = std::chrono::steady_clock;
  // On a busy machine others run meanwhile.
  static constexpr std::chrono::milliseconds kWait{100};
  // Not worth the question.
  static constexpr std::chrono::milliseconds kShort{1};

  Clock::time_point begin_ = Clock::now();
  microseconds cpu_ = cpuTime();
};

bool isSomebodyWaiting() {
  pollfd listener = {kListenDescriptor, POLLIN, 0};
  return poll(&listener, 1, 0) > 0;
}

class ReplySink : public ByteSink {
 public:
  // `workers`: null, or this process is one of them.
  ReplySink(FCGX_Request& request, Workers* workers) : request_(request), workers_(workers) {
    if (workers != nullptr) {
      watch_.emplace();
    }
  }

  bool write(const char* bytes, std::size_t size) override {
    sent_ += size;
    if (!isBound_ && sent_ > kUnboundBytes) {
      isBound_ = true;
      boundWriting(request_.ipcFd, kStallSeconds);
    }
    if (FCGX_PutStr(bytes, static_cast<int>(size), request_.out) >= 0) {
      return true;
    }
    shutdown(request_.ipcFd, SHUT_RDWR);  // gone or stalled: nothing later waits for it again
    return false;
  }
  void close() override {
    // The client may send the next request as soon as it has this reply.
    if (workers_ != nullptr) {
      workers_->end(watch_->busy());
    }
    FCGX_FClose(request_.err);
    FCGX_FClose(request_.out);
  }
  std::string whyEnd() override {
    const auto now = std::chrono::steady_clock::now();
    if (now - asked_ < kPause) {
      return {};
    }
    asked_ = now;
    if (hasPeerLeft(request_.ipcFd)) {
      return "Nobody waits for the reply";
    }
    return workers_ != nullptr && isSomebodyWaiting() && workers_->mustYield()
               ? "Other clients wait for the service"
               : "";
  }

 private:
  static constexpr std::chrono::milliseconds kPause{50};
  // So much fits into a socket's buffer, whether the peer reads or not.
  static constexpr std::size_t kUnboundBytes = 32768;

  FCGX_Request& request_;
  std::size_t sent_ = 0;
  bool isBound_ = false;
  Workers* workers_;
  std::optional<Stopwatch> watch_;
  std::chrono::steady_clock::time_point asked_ = std::chrono::steady_clock::now();
};

std::string parameter(const FCGX_Request& request, const char* name) {
  const char* value = FCGX_GetParam(name, request.envp);
  return value == nullptr ? "" : value;
}

std::uint64_t announcedBytes(const FCGX_Request& request) {
  return std::strtoull(parameter(request, "CONTENT_LENGTH").c_str(), nullptr, 10);
}

std::optional<std::string> callerParameter(const FCGX_Request& request, const char* name) {
  const char* value = FCGX_GetParam(name, request.envp);
  if (value == nullptr) {
    __psyslog->notice(6, "Failed to get %s", name);
    return std::nullopt;
  }
  return value;
}

void logParameters(const FCGX_Request& request) {
  for (char** entry = request.envp; *entry != nullptr; ++entry) {
    __psyslog->info(6, "Received envp[] = %s", *entry);
  }
}

Caller readCaller(const FCGX_Request& request, bool firstRequest) {
  Caller caller;
  caller.user = callerParameter(request, Caller::kUserVariable);
  caller.address = callerParameter(request, Caller::kAddressVariable);
  caller.https = parameter(request, "HTTPS") == "on";
  const char* language = FCGX_GetParam("HTTP_ACCEPT_LANGUAGE", request.envp);
  if (language != nullptr) {
    caller.acceptLanguage = language;
  } else if (firstRequest) {
    logParameters(request);
  }
  return caller;
}

int discard(struct soap* /*ctx*/, const char* /*buf*/, size_t /*len*/) {
  return SOAP_OK;
}

// An accept that failed has no stream to answer on: the fault only sets the engine's error.
int endAfterFailedAccept(struct soap* ctx, FCGX_Request& request) {
  __psyslog->info(1, "Error in Accept(), exiting now...");
  ctx->error = SOAP_EOF;
  ctx->fsend = discard;
  const int result = soap_send_fault(ctx);
  FCGX_Free(&request, 1);
  return result;
}

// True when nothing of the request is left on the connection.
bool hasReadAll(FCGX_Stream* in) {
  char more = 0;
  return FCGX_HasSeenEOF(in) != 0 || FCGX_GetStr(&more, 1, in) == 0;
}

// Unread input would take the reply with it when the connection goes. So the library waits for the
// web server's end, but not for a request that was read to its end: it has nothing to lose.
void endRequest(struct soap* ctx, FCGX_Request& request) {
  if (ctx->error == SOAP_OK && hasReadAll(request.in)) {
    FCGX_Detach(&request);
  }
  FCGX_Finish_r(&request);
}

// A large body is not worth reading: without it the connection breaks, and the web server says the
// same.
void refuseBusy(FCGX_Request& request) {
  char unread[8192];
  const bool isSmall = announcedBytes(request) <= kSmallBody;
  while (isSmall && FCGX_GetStr(unread, sizeof unread, request.in) > 0) {
  }
  FCGX_Detach(&request);
  FCGX_PutStr(kBusy, static_cast<int>(std::strlen(kBusy)), request.out);
  FCGX_Finish_r(&request);
}

void serveRequest(struct soap* ctx, FCGX_Request& request, ReadDeadline& deadline,
                  bool firstRequest) {
  Workers* workers = globalData(ctx)->workers.get();
  const Caller caller = readCaller(request, firstRequest);
  if (workers != nullptr && !workers->begin(caller)) {
    __psyslog->info(2, "Requests of one client keep or end other workers: refused another");
    globalData(ctx)->statistics.refuse(Statistics::Counts::kWorkers);
    refuseBusy(request);
    return;
  }
  RequestSource in(request.in, deadline);
  ReplySink out(request, workers);
  Exchange exchange;
  exchange.in = &in;
  exchange.out = &out;
  exchange.announcedBytes = announcedBytes(request);
  exchange.encoding = parameter(request, "HTTP_CONTENT_ENCODING");
  serveExchange(ctx, caller, exchange, firstRequest);
  endRequest(ctx, request);
}

// The web server asks so for a load balancer or a supervisor, beside the envelopes.
constexpr const char* kHealthParameter = "DRAVIXD_HEALTH";

void answerHealth(FCGX_Request& request) {
  const std::string reply = healthReply();
  FCGX_Detach(&request);
  FCGX_PutStr(reply.c_str(), static_cast<int>(reply.size()), request.out);
  FCGX_Finish_r(&request);
}

enum class Accepted { kRequest, kNothing, kFailure };

// Takes a connection that is there, and serves its request.
Accepted acceptAndServe(struct soap* ctx, FCGX_Request& request, bool& firstRequest) {
  const int connection = acceptConnection(kListenDescriptor);
  if (connection == -1) {
    // There is none, another worker was faster, or the peer has left.
    const bool isUsual = errno == EAGAIN || errno == ECONNABORTED || errno == EINTR;
    return isUsual ? Accepted::kNothing : Accepted::kFailure;
  }
  if (hasPeerLeft(connection)) {
    __psyslog->info(2, "Nobody waits for the request");
    close(connection);
    return Accepted::kRequest;
  }
  ReadDeadline deadline(connection, kReadSeconds);
  // As a connection that was kept open: the library reads a request from it, and closes it.
  request.ipcFd = connection;
  request.keepConnection = 1;
  if (FCGX_Accept_r(&request) < 0) {
    return Accepted::kRequest;  // it has sent no request
  }
  if (FCGX_GetParam(kHealthParameter, request.envp) != nullptr) {
    answerHealth(request);
    return Accepted::kRequest;
  }
  serveRequest(ctx, request, deadline, firstRequest);
  firstRequest = false;
  return Accepted::kRequest;
}

// Keeps the exit signals back while a request is served: they would break off its reading and
// writing. They are heard in the wait for a connection.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    sigset_t exits;
    sigemptyset(&exits);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      sigaddset(&exits, signal);
    }
    sigprocmask(SIG_BLOCK, &exits, &former_);
  }
  ~SignalsHeldBack() { sigprocmask(SIG_SETMASK, &former_, nullptr); }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

  const sigset_t& former() const { return former_; }

 private:
  sigset_t former_ = {};
};

// Waits until a connection is there or the time-out, which is counted down, has passed. Negative
// when a signal came between.
int waitForConnection(timeval& timeout, const sigset_t& signals, bool& readable) {
  fd_set descriptors;
  FD_ZERO(&descriptors);
  FD_SET(kListenDescriptor, &descriptors);
  const auto begin = std::chrono::steady_clock::now();
  const timespec time = {timeout.tv_sec, timeout.tv_usec * 1000};
  const int result =
      pselect(kListenDescriptor + 1, &descriptors, nullptr, nullptr, &time, &signals);
  const auto left = std::max(microseconds(0), std::chrono::seconds(timeout.tv_sec) +
                                                  microseconds(timeout.tv_usec) - sinceThen(begin));
  timeout.tv_sec = left.count() / 1'000'000;
  timeout.tv_usec = left.count() % 1'000'000;
  readable = result > 0 && FD_ISSET(kListenDescriptor, &descriptors);
  return result;
}

}  // namespace

int soap_serve(struct soap* ctx) {
  if (FCGX_Init() < 0) {
    return -1;
  }
  const int bound = tk_fcgi_bind(kSocketPath, kBacklog);
  if (bound < 0) {
    return bound;
  }
  FCGX_Request request;
  // Without the listening socket: the library would go on with another connection, without bounds,
  // where one has sent no request.
  FCGX_InitRequest(&request, -1, 0);
  installHooks(ctx);

  const SignalsHeldBack signals;
  bool firstRequest = true;
  TaskTimer timer(*globalData(ctx));
  while (__signal_exit == 0) {
    bool readable = false;
    if (waitForConnection(timer.timeLeft(), signals.former(), readable) < 0) {
      continue;
    }
    const auto turn = std::chrono::steady_clock::now();
    Accepted accepted = readable ? Accepted::kRequest : Accepted::kNothing;
    while (accepted == Accepted::kRequest && std::chrono::steady_clock::now() - turn < kTurn) {
      accepted = acceptAndServe(ctx, request, firstRequest);
    }
    if (accepted == Accepted::kFailure) {
      return endAfterFailedAccept(ctx, request);
    }
    timer.runWhenDue();
  }
  __psyslog->info(1, "Caught term signal, exiting soap_serve loop now...");
  FCGX_Free(&request, 1);
  return 0;
}
