#include "front/envelope_server.h"

#include <malloc.h>
#include <strings.h>

#include <algorithm>
#include <cassert>
#include <exception>

#include "TarnixH.h"
#include "elements.h"
#include "front/clients.h"
#include "front/global_data.h"
#include "front/memory_budget.h"
#include "values/writing.h"

namespace {

constexpr int kFirstStopCode = 1000;       // engine codes from here on need no fault
constexpr const char* kRealm = "dravixd";  // as the web server's
constexpr const char* kReplyTooLarge = "The reply would be larger than 32 MiB";
constexpr const char* kRequestTooLarge = "The request takes more than 48 MiB of memory";

class Memory : public ByteSource, public ByteSink {
 public:
  explicit Memory(std::string_view request) : request_(request) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const std::size_t count = request_.copy(buffer, size);
    request_.remove_prefix(count);
    return count;
  }
  bool write(const char* bytes, std::size_t size) override {
    reply_.append(bytes, size);
    return true;
  }
  void close() override {}

  std::string takeReply() { return std::move(reply_); }

 private:
  std::string_view request_;
  std::string reply_;
};

// Who and what is served, where the handlers and the hooks find it.
class Serving {
 public:
  Serving(_global_data_t& global, const Caller& caller, Exchange& exchange)
      : global_(global), environment_((global.caller = caller)) {
    global.pReq = &exchange;
  }
  ~Serving() {
    global_.pReq = nullptr;
    global_.caller = {};
  }
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;

 private:
  _global_data_t& global_;
  CallerInEnvironment environment_;
};

// Refuses a body whose headers say that it is too large or compressed, before any of it is looked
// at.
void checkHeaders(const Exchange& exchange, EnvelopeGuard& guard) {
  if (exchange.announcedBytes > limits::kMaxBodyBytes) {
    guard.refuse(EnvelopeGuard::kTooLarge);
  }
  if (!exchange.encoding.empty() && strcasecmp(exchange.encoding.c_str(), "identity") != 0) {
    guard.refuse(EnvelopeGuard::kOnlyUtf8);
  }
}

void drain(ByteSource& in) {
  char buffer[8192];
  std::size_t drained = 0;
  std::size_t count = 0;
  while (drained < limits::kMaxDrainedBytes && (count = in.read(buffer, sizeof buffer)) > 0) {
    drained += count;
  }
}

// Sends the fault for the context's error, or for what the guard refused. A request that ended
// before its envelope began is answered in SOAP 1.1.
void sendFault(struct soap* ctx) {
  _global_data_t* glptr = globalData(ctx);
  ctx->version = std::max<short>(ctx->version, 1);
  if (glptr->guard.refused()) {
    glptr->statistics.refuse(Statistics::Counts::kEnvelope);
    drain(*glptr->pReq->in);
    soap_sender_fault(ctx, glptr->guard.reason(), nullptr);
  } else if (ctx->error == SOAP_EOM) {
    glptr->statistics.refuse(Statistics::Counts::kMemory);
    soap_sender_fault(ctx, kRequestTooLarge, nullptr);
  } else if (ctx->error == SOAP_SVR_FAULT) {
    // The engine's text for this code is right, but not the side that it blames.
    soap_receiver_fault(ctx, "Server fault", nullptr);
  }
  soap_send_fault(ctx);
}

// The engine's own.
int (*sendHeader)(struct soap*, int, ULONG64) = nullptr;

// Called when the reply's length is known, and nothing of it sent.
int beginReply(struct soap* ctx, int status, ULONG64 length) {
  if (length > limits::kMaxReplyBytes) {
    globalData(ctx)->statistics.refuse(Statistics::Counts::kReply);
    return soap_sender_fault(ctx, kReplyTooLarge, nullptr);
  }
  return sendHeader(ctx, status, length);
}

// A reply is written once, kept, and sent with its length; the engine would write it twice, first
// to count it. It goes back to that after each reply.
void keepReply(struct soap* ctx) {
  soap_set_omode(ctx, SOAP_IO_STORE);
}

struct LargeRequest {
  struct soap* ctx;
  bool isLarge;
};

void countReply(void* request) {
  auto* const large = static_cast<LargeRequest*>(request);
  large->isLarge = true;
  soap_clr_omode(large->ctx, SOAP_IO_STORE);
}

// The reply goes out first: the web server works on it while the engine tidies up.
void endReply(struct soap* ctx) {
  globalData(ctx)->pReq->out->close();
  soap_delete(ctx, nullptr);
  soap_end(ctx);
}

// The generated dispatcher; it takes the body's first element as it finds it.
bool serveOperation(struct soap* ctx) {
  if (soap_peek_element(ctx) != SOAP_OK) {
    return false;
  }
  Statistics& statistics = globalData(ctx)->statistics;
  statistics.setOperation(std::string(splitTag(ctx->tag).second));
  const int result = soap_serve_request(ctx);
  if (result == SOAP_NO_METHOD) {
    statistics.setOperation(Statistics::kNoOperation);
  }
  return result == SOAP_OK;
}

// After an exception the engine knows of no error yet and would send nothing.
void endInFault(struct soap* ctx, const std::exception& e,
                int (*fault)(struct soap*, const char*, const char*), const char* text) {
  __psyslog->info(0, "Exception in soap_serve processing: %s", e.what());
  fault(ctx, text, nullptr);
  soap_send_fault(ctx);
}

bool serveEnvelope(struct soap* ctx) {
  return soap_envelope_begin_in(ctx) == SOAP_OK && soap_recv_header(ctx) == SOAP_OK &&
         soap_body_begin_in(ctx) == SOAP_OK && serveOperation(ctx);
}

Statistics::Counts::Outcome answer(struct soap* ctx, LargeRequest& request) {
  using Counts = Statistics::Counts;
  try {
    const MemoryBudget budget(limits::kMaxMemory, limits::kLargeReply, countReply, &request);
    if (serveEnvelope(ctx)) {
      return Counts::kOk;
    }
    __psyslog->info(0, "Failed in soap processing; ");
    const bool isUnauthorized = ctx->error == kUnauthorized;
    sendFault(ctx);
    return isUnauthorized ? Counts::kUnauthorized : Counts::kFault;
  } catch (const BudgetExceeded& e) {
    globalData(ctx)->statistics.refuse(Counts::kMemory);
    endInFault(ctx, e, soap_sender_fault, kRequestTooLarge);
  } catch (const std::exception& e) {
    endInFault(ctx, e, soap_receiver_fault, "Internal error");
  }
  return Counts::kFault;
}

}  // namespace

void installHooks(struct soap* ctx) {
  ctx->frecv = myrecv;
  ctx->fsend = mysend;
  sendHeader = ctx->fresponse;
  ctx->fresponse = beginReply;
}

void serveExchange(struct soap* ctx, const Caller& caller, Exchange& exchange, bool firstRequest) {
  _global_data_t& global = *globalData(ctx);
  const Serving serving(global, caller, exchange);
  recordCaller(global);
  soap_process(ctx, firstRequest);
}

std::string serveBytes(struct soap* ctx, const Caller& caller, std::string_view request) {
  Memory memory(request);
  Exchange exchange;
  exchange.in = &memory;
  exchange.out = &memory;
  serveExchange(ctx, caller, exchange, false);
  return memory.takeReply();
}

size_t myrecv(struct soap* ctx, char* buf, size_t len) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr->pReq != __null);      // NOLINT(modernize-use-nullptr): printed so
  assert(glptr->pReq->in != __null);  // NOLINT(modernize-use-nullptr): printed so
  if (buf == nullptr || len == 0 || glptr->guard.refused()) {
    return 0;
  }
  const size_t received = glptr->body.read(*glptr->pReq->in, buf, len, glptr->guard);
  return glptr->guard.accept({buf, received}) ? received : 0;
}

int mysend(struct soap* ctx, const char* buf, size_t len) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr->pReq != __null);       // NOLINT(modernize-use-nullptr): printed so
  assert(glptr->pReq->out != __null);  // NOLINT(modernize-use-nullptr): printed so
  glptr->pReq->sentBytes += len;
  return buf != nullptr && glptr->pReq->out->write(buf, len) ? 0 : -1;
}

int soap_process(struct soap* ctx, bool /*firstRequest*/) {
  _global_data_t* glptr = globalData(ctx);
  glptr->statistics.begin();
  glptr->guard.reset();
  glptr->body.reset();
  checkHeaders(*glptr->pReq, glptr->guard);
  keepReply(ctx);
  soap_begin(ctx);
  if (soap_begin_recv(ctx) != SOAP_OK) {
    __psyslog->info(0, "Failed on soap_begin_recv, soap->error = 0x%X; ",
                    static_cast<unsigned>(ctx->error));
    if (ctx->error < kFirstStopCode) {
      sendFault(ctx);
    }
    soap_closesock(ctx);
    endReply(ctx);
    glptr->statistics.end(Statistics::Counts::kFault, glptr->guard.bytes(), glptr->pReq->sentBytes);
    return 0;
  }
  ctx->authrealm = kRealm;
  LargeRequest request = {ctx, false};
  const auto outcome = answer(ctx, request);
  endReply(ctx);
  glptr->statistics.end(outcome, glptr->guard.bytes(), glptr->pReq->sentBytes);
  if (request.isLarge) {
    malloc_trim(0);  // what it took shall not stay with the process
  }
  glptr->ignored.report();
  return 0;
}
