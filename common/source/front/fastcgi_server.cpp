#include "front/fastcgi_server.h"

#include <sys/select.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcgiapp.h>

#include "TarnixH.h"
#include "front/envelope_server.h"
#include "front/fastcgi_socket.h"
#include "front/global_data.h"
#include "front/timer.h"

namespace {

constexpr int kBacklog = 64;
constexpr int kStallSeconds = 5;

class RequestSource : public ByteSource {
 public:
  explicit RequestSource(FCGX_Stream* in) : in_(in) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const int count = FCGX_GetStr(buffer, static_cast<int>(size), in_);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

 private:
  FCGX_Stream* in_;
};

class ReplySink : public ByteSink {
 public:
  explicit ReplySink(FCGX_Request& request) : request_(request) {}

  bool write(const char* bytes, std::size_t size) override {
    if (FCGX_PutStr(bytes, static_cast<int>(size), request_.out) >= 0) {
      return true;
    }
    shutdown(request_.ipcFd, SHUT_RDWR);  // gone or stalled: nothing later waits for it again
    return false;
  }
  void close() override {
    FCGX_FClose(request_.err);
    FCGX_FClose(request_.out);
  }

 private:
  FCGX_Request& request_;
};

std::string parameter(const FCGX_Request& request, const char* name) {
  const char* value = FCGX_GetParam(name, request.envp);
  return value == nullptr ? "" : value;
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

// A web server that stalls in the middle of a request holds up nobody for long.
void limitStalls(const FCGX_Request& request) {
  constexpr timeval kPatience = {kStallSeconds, 0};
  for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    setsockopt(request.ipcFd, SOL_SOCKET, direction, &kPatience, sizeof kPatience);
  }
}

void serveRequest(struct soap* ctx, FCGX_Request& request, bool firstRequest) {
  limitStalls(request);
  RequestSource in(request.in);
  ReplySink out(request);
  Exchange exchange;
  exchange.in = &in;
  exchange.out = &out;
  exchange.announcedBytes =
      std::strtoull(parameter(request, "CONTENT_LENGTH").c_str(), nullptr, 10);
  exchange.encoding = parameter(request, "HTTP_CONTENT_ENCODING");
  serveExchange(ctx, readCaller(request, firstRequest), exchange, firstRequest);
  endRequest(ctx, request);
}

// Waits until a connection is there or the time-out, which is counted down, has passed. Negative
// when a signal came between.
int waitForConnection(timeval& timeout, bool& readable) {
  fd_set descriptors;
  FD_ZERO(&descriptors);
  FD_SET(kListenDescriptor, &descriptors);
  const int result = select(kListenDescriptor + 1, &descriptors, nullptr, nullptr, &timeout);
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
  FCGX_InitRequest(&request, kListenDescriptor, 0);
  installHooks(ctx);

  bool firstRequest = true;
  TaskTimer timer(*globalData(ctx));
  while (__signal_exit == 0) {
    bool readable = false;
    if (waitForConnection(timer.timeLeft(), readable) < 0) {
      continue;
    }
    if (readable) {
      const int accepted = FCGX_Accept_r(&request);
      if (accepted >= 0) {
        serveRequest(ctx, request, firstRequest);
        firstRequest = false;
      } else if (accepted != -EAGAIN) {  // then the peer left before it had sent a request
        return endAfterFailedAccept(ctx, request);
      }
    }
    timer.runWhenDue();
  }
  __psyslog->info(1, "Caught term signal, exiting soap_serve loop now...");
  FCGX_Free(&request, 1);
  return 0;
}
