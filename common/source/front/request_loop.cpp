#include "front/request_loop.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>

#include "TarnixH.h"
#include "front/process.h"
#include "toolkit/time.h"
#include "values/locales.h"

namespace {

constexpr int kBacklog = 64;
constexpr int kListenDescriptor = 0;
constexpr mode_t kSocketMode = 0660;
constexpr int kTimerSeconds = 5;
constexpr int kStallSeconds = 5;
constexpr int kFirstConnCheckSeconds = 60;
constexpr int kConnCheckSeconds = 600;
constexpr std::size_t kMaxCaller = 64;           // bytes of REMOTE_USER and REMOTE_ADDR
constexpr std::size_t kMaxAcceptLanguage = 256;  // bytes
constexpr int kFirstStopCode = 1000;             // engine codes from here on need no fault
constexpr int kIPv4 = 2;
constexpr const char* kRealm = "dravixd";  // as the web server's

// What the web server says of a request and its client.
struct Caller {
  std::string remoteUser;
  std::string remoteAddr;
  std::string acceptLanguage;
  bool https = false;
};

// False for a path that is too long for a socket.
bool fillAddress(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  path.copy(address.sun_path, path.size());
  return true;
}

// Returns the listening descriptor, or -1 with errno set. The library's own FCGX_OpenSocket would
// end the process where the path cannot be had.
int listenAt(const std::string& path, int backlog) {
  sockaddr_un address;
  if (!fillAddress(path, address)) {
    return -1;
  }
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
    unlink(path.c_str());
  }
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor == -1 ||
      (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
       listen(descriptor, backlog) == 0)) {
    return descriptor;
  }
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

// A parameter that becomes an environment variable of the same name while its request is served.
// Returns the text, cut to `kMaxCaller` bytes.
std::string publishParameter(const FCGX_Request& request, const char* name) {
  const char* value = FCGX_GetParam(name, request.envp);
  if (value == nullptr || setenv(name, value, 1) != 0) {
    __psyslog->notice(6, "Failed to get %s", name);
    return {};
  }
  return std::string(value).substr(0, kMaxCaller);
}

std::string acceptLanguageOf(const FCGX_Request& request, bool firstRequest) {
  const char* value = FCGX_GetParam("HTTP_ACCEPT_LANGUAGE", request.envp);
  if (value != nullptr) {
    return std::string(value).substr(0, kMaxAcceptLanguage);
  }
  for (char** entry = request.envp; firstRequest && *entry != nullptr; ++entry) {
    __psyslog->info(6, "Received envp[] = %s", *entry);
  }
  return "en_US.UTF-8";
}

Caller readCaller(const FCGX_Request& request, bool firstRequest) {
  Caller caller;
  caller.remoteUser = publishParameter(request, "REMOTE_USER");
  caller.remoteAddr = publishParameter(request, "REMOTE_ADDR");
  const char* https = FCGX_GetParam("HTTPS", request.envp);
  caller.https = https != nullptr && std::strcmp(https, "on") == 0;
  caller.acceptLanguage = acceptLanguageOf(request, firstRequest);
  return caller;
}

// Refuses a body whose headers say that it is too large or compressed, before any of it is looked
// at.
void checkHeaders(global_data_t& global) {
  const char* length = FCGX_GetParam("CONTENT_LENGTH", global.pReq->envp);
  if (length != nullptr && std::strtoull(length, nullptr, 10) > limits::kMaxBodyBytes) {
    global.guard.refuse(EnvelopeGuard::kTooLarge);
  }
  const char* encoding = FCGX_GetParam("HTTP_CONTENT_ENCODING", global.pReq->envp);
  if (encoding != nullptr && *encoding != '\0' && strcasecmp(encoding, "identity") != 0) {
    global.guard.refuse(EnvelopeGuard::kOnlyUtf8);
  }
}

void drainInput(FCGX_Stream* in) {
  char buffer[8192];
  std::size_t drained = 0;
  int count = 0;
  while (drained < limits::kMaxDrainedBytes &&
         (count = FCGX_GetStr(buffer, sizeof buffer, in)) > 0) {
    drained += static_cast<std::size_t>(count);
  }
}

// Sends the fault for the context's error, or for what the guard refused. A request that ended
// before its envelope began is answered in SOAP 1.1.
void sendFault(struct soap* ctx) {
  global_data_t* glptr = globalData(ctx);
  ctx->version = std::max<short>(ctx->version, 1);
  if (glptr->guard.refused()) {
    drainInput(glptr->pReq->in);
    soap_sender_fault(ctx, glptr->guard.reason(), nullptr);
  } else if (ctx->error == SOAP_SVR_FAULT) {
    // The engine's text for this code is right, but not the side that it blames.
    soap_receiver_fault(ctx, "Server fault", nullptr);
  }
  soap_send_fault(ctx);
}

// The reply goes out first: the web server works on it while the engine tidies up.
void endReply(struct soap* ctx) {
  FCGX_Request* request = globalData(ctx)->pReq;
  FCGX_FClose(request->err);
  FCGX_FClose(request->out);
  soap_delete(ctx, nullptr);
  soap_end(ctx);
}

bool serveEnvelope(struct soap* ctx) {
  return soap_envelope_begin_in(ctx) == SOAP_OK && soap_recv_header(ctx) == SOAP_OK &&
         soap_body_begin_in(ctx) == SOAP_OK && soap_serve_request(ctx) == SOAP_OK;
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
  global_data_t* glptr = globalData(ctx);
  limitStalls(request);
  const Caller caller = readCaller(request, firstRequest);
  AddUpdateConnectionMap(glptr, caller.remoteAddr.c_str(), caller.remoteUser.c_str(), caller.https,
                         caller.acceptLanguage.c_str());
  soap_process(ctx, firstRequest);
  unsetenv("REMOTE_USER");
  unsetenv("REMOTE_ADDR");
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

// A row that another program has taken away is made again.
bool pingWatchdog(toolkit::CCds& cds) {
  api_status_t status = API_NONE;
  cds.watchdog_ping(status);
  if (status == API_NOT_FOUND) {
    __psyslog->warn(0, "The watchdog had no row for dravixd: registering again");
    registerWithWatchdog(cds, status);
  }
  return status == API_SUCCESS;
}

std::shared_ptr<std::locale> addConnection(global_data_t* glptr, const std::string& address,
                                           const std::string& user, bool https,
                                           const char* acceptLanguage) {
  sockaddr_storage socketAddress = {};
  std::string name1;
  std::string name2;
  if (toolkit::CCDS_Connxns::HostLookup(address, kIPv4, socketAddress, name1, name2,
                                        glptr->syslog) != 0) {
    __psyslog->warn(2, "HostLookup failed for %s", address.c_str());
  }
  std::string prime;
  toolkit::CCds_Utils::getPrimeLocale(glptr->supportedLocales, acceptLanguage, prime);
  auto pos = glptr->localesMap.find(prime);
  if (pos == glptr->localesMap.end()) {
    __psyslog->warn(2, "Locale map lookup failed for %s", prime.c_str());
    pos = glptr->localesMap.begin();
  }
  assert(pos != glptr->localesMap.end());
  glptr->locale = pos->second;
  auto locale = std::make_shared<std::locale>(pos->second);

  const std::string protocol = https ? "https" : "http";
  const auto id = glptr->connxns->AddConnxn(protocol, address, name1, name2, user, locale);
  if (id != 0) {
    __psyslog->info(2, "New dravixd connection %u for %s", id,
                    (user + "@" + protocol + ":" + address).c_str());
  }
  return locale;
}

}  // namespace

int soap_serve(struct soap* ctx) {
  global_data_t* glptr = globalData(ctx);
  if (FCGX_Init() < 0) {
    return -1;
  }
  const int bound = tk_fcgi_bind(kSocketPath, kBacklog);
  if (bound < 0) {
    return bound;
  }
  FCGX_Request request;
  FCGX_InitRequest(&request, kListenDescriptor, 0);
  ctx->frecv = myrecv;
  ctx->fsend = mysend;
  glptr->pReq = &request;

  bool firstRequest = true;
  std::int32_t lastTimer = qel_GetMonoTime();
  glptr->nextConnCheck = lastTimer + kFirstConnCheckSeconds;
  timeval timeout = {kTimerSeconds, 0};
  while (__signal_exit == 0) {
    bool readable = false;
    if (waitForConnection(timeout, readable) < 0) {
      continue;
    }
    if (readable) {
      glptr->pReq = &request;
      const int accepted = FCGX_Accept_r(&request);
      if (accepted >= 0) {
        serveRequest(ctx, request, firstRequest);
        firstRequest = false;
      } else if (accepted != -EAGAIN) {  // then the peer left before it had sent a request
        return endAfterFailedAccept(ctx, request);
      }
    }
    const bool timeLeft = timeout.tv_sec > 0 || timeout.tv_usec > 0;
    if (!timeLeft || qel_GetMonoTime() - lastTimer > kTimerSeconds) {
      timeout = {kTimerSeconds, 0};
      lastTimer = qel_GetMonoTime();
      timer_task(glptr);
    }
  }
  __psyslog->info(1, "Caught term signal, exiting soap_serve loop now...");
  FCGX_Free(&request, 1);
  return 0;
}

bool isSocketServed(const std::string& path) {
  sockaddr_un address;
  if (!fillAddress(path, address)) {
    return false;
  }
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe == -1) {
    return false;
  }
  // A full queue of connections has a process behind it too.
  const bool served =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
      errno == EAGAIN;
  close(probe);
  return served;
}

int tk_fcgi_bind(const std::string& path, int backlog) {
  assert(!path.empty());
  if (isSocketServed(path)) {
    __psyslog->err(0, "Another process is serving at socket %s", path.c_str());
    return -1;
  }
  const int descriptor = listenAt(path, backlog);
  if (descriptor == -1) {
    __psyslog->err(0, "Cannot listen at socket %s: %s", path.c_str(), std::strerror(errno));
    return -1;
  }
  if (chmod(path.c_str(), kSocketMode) != 0) {
    __psyslog->warn(0, "Cannot open socket %s to the group: %s", path.c_str(),
                    std::strerror(errno));
  }
  if (descriptor != kListenDescriptor) {
    close(kListenDescriptor);
    if (dup2(descriptor, kListenDescriptor) == -1) {
      __psyslog->err(0, "Cannot move socket %s: %s", path.c_str(), std::strerror(errno));
      close(descriptor);
      return -1;
    }
    close(descriptor);
  }
  // Only the wait for a connection may block: it hears signals and the timer.
  fcntl(kListenDescriptor, F_SETFL, O_NONBLOCK);
  __psyslog->info(2, "FCGI app listening at socket %s [%d]", path.c_str(), kListenDescriptor);
  return 0;
}

size_t myrecv(struct soap* ctx, char* buf, size_t len) {
  global_data_t* glptr = globalData(ctx);
  assert(glptr->pReq != __null);      // NOLINT(modernize-use-nullptr)
  assert(glptr->pReq->in != __null);  // NOLINT(modernize-use-nullptr)
  if (buf == nullptr || len == 0 || glptr->guard.refused()) {
    return 0;
  }
  const size_t received = glptr->body.read(glptr->pReq->in, buf, len, glptr->guard);
  return glptr->guard.accept({buf, received}) ? received : 0;
}

int mysend(struct soap* ctx, const char* buf, size_t len) {
  global_data_t* glptr = globalData(ctx);
  assert(glptr->pReq != __null);       // NOLINT(modernize-use-nullptr)
  assert(glptr->pReq->out != __null);  // NOLINT(modernize-use-nullptr)
  if (buf == nullptr) {
    return -1;
  }
  if (FCGX_PutStr(buf, static_cast<int>(len), glptr->pReq->out) >= 0) {
    return 0;
  }
  shutdown(glptr->pReq->ipcFd, SHUT_RDWR);  // gone or stalled: nothing later waits for it again
  return -1;
}

int soap_process(struct soap* ctx, bool /*firstRequest*/) {
  global_data_t* glptr = globalData(ctx);
  glptr->guard.reset();
  glptr->body.reset();
  checkHeaders(*glptr);
  // A reply is written once, kept, and sent with its length; the engine would write it twice, first
  // to count it. It goes back to that after each reply.
  soap_set_omode(ctx, SOAP_IO_STORE);
  soap_begin(ctx);
  if (soap_begin_recv(ctx) != SOAP_OK) {
    __psyslog->info(0, "Failed on soap_begin_recv, soap->error = 0x%X; ",
                    static_cast<unsigned>(ctx->error));
    if (ctx->error < kFirstStopCode) {
      sendFault(ctx);
    }
    soap_closesock(ctx);
    endReply(ctx);
    return 0;
  }
  ctx->authrealm = kRealm;
  try {
    if (!serveEnvelope(ctx)) {
      __psyslog->info(0, "Failed in soap processing; ");
      sendFault(ctx);
    }
  } catch (const std::exception& e) {
    __psyslog->info(0, "Exception in soap_serve processing: %s", e.what());
    // The engine knows of no error yet and would send nothing.
    soap_receiver_fault(ctx, "Internal error", nullptr);
    soap_send_fault(ctx);
  }
  endReply(ctx);
  glptr->ignored.report();
  return 0;
}

void AddUpdateConnectionMap(global_data_t* glptr, const char* remoteAddr, const char* remoteUser,
                            bool https, const char* acceptLanguage) {
  std::shared_ptr<std::locale> locale;
  if (glptr->connxns->FindUpdateConnxn(remoteAddr, nullptr) == 0) {
    locale = addConnection(glptr, remoteAddr, remoteUser, https, acceptLanguage);
  }
  if (glptr->localesOk) {
    glptr->locale = locale ? *locale : englishLocale(*glptr);
  }
}

void timer_task(global_data_t* glptr) {
  if (daemonMode && !pingWatchdog(glptr->cdsApi)) {
    glptr->cdsApi.close();
    return;
  }
  const std::int32_t now = qel_GetMonoTime();
  if (now < glptr->nextConnCheck) {
    return;
  }
  glptr->nextConnCheck = now + kConnCheckSeconds;
  glptr->connxns->CheckAllConnxns();
}
