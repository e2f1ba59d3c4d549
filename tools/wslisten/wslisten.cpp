// wslisten: receives what the publisher sends to a subscription and prints a line a record. For
// trying subscriptions out, not for keeping what they bring.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>

#include "TarnixH.h"
#include "soap_context.h"
#include "toolkit/printable.h"

namespace {

constexpr const char* kName = "wslisten";
constexpr int kBacklog = 100;
constexpr int kSeconds = 5;           // for which a peer may be silent
constexpr int kTransferSeconds = 30;  // for a whole message
constexpr ULONG64 kMaxMessage = 64ULL << 20;
constexpr LONG64 kMicroseconds = 1'000'000;

// A sender's text for a terminal.
std::string shown(const std::string& text) {
  return toolkit::printable(text);
}

std::string shown(const std::string* text) {
  return text == nullptr ? std::string() : shown(*text);
}

// "16:20:31.250", in the zone of the process.
std::string clockTime(LONG64 microseconds) {
  LONG64 fraction = microseconds % kMicroseconds;
  fraction += fraction < 0 ? kMicroseconds : 0;
  const std::time_t seconds = (microseconds - fraction) / kMicroseconds;
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[40];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", parts.tm_hour, parts.tm_min, parts.tm_sec,
                static_cast<int>(fraction / 1000));
  return text;
}

std::string valueText(const std::string* value, const std::string* numeric) {
  return shown(value) + (numeric == nullptr ? "" : " [" + shown(numeric) + "]");
}

std::string line(const nss1__PublishedValue& value) {
  return shown(value.Path) + (value.Trend ? " (trend)" : "") + " = " +
         (value.Value == nullptr ? "?" : valueText(value.Value, value.NumericValue)) +
         "  (quality " + std::to_string(value.Quality) + ")";
}

const char* word(enum nss1__AckStatus status) {
  switch (status) {
    case nss1__AckStatus__NotAcked:
      return "new";
    case nss1__AckStatus__Acked:
      return "acknowledged";
    case nss1__AckStatus__Closed:
      return "closed";
  }
  return "in an unknown state";
}

const char* word(enum nss1__EventType type) {
  switch (type) {
    case nss1__EventType__Event:
      return "EVENT";
    case nss1__EventType__Alarm:
      return "ALARM";
    case nss1__EventType__StructureChanged:
      return "STRUCTURE";
    case nss1__EventType__LostEvent:
      return "LOST";
  }
  return "UNKNOWN";
}

std::string line(const nss1__Event& event) {
  std::string text = word(event.EventType);
  text += " " + std::to_string(event.EventId) + " " + shown(event.SourcePath) + ": " +
          shown(event.Description);
  if (const auto* alarm = dynamic_cast<const nss1__AlarmUpdate*>(&event)) {
    text += std::string(", ") + word(alarm->AckStatus) +
            (alarm->ConditionPresent ? ", present" : ", gone");
  }
  if (event.Value != nullptr) {
    text += ", value " + valueText(event.Value, event.NumericValue);
  }
  if (event.ComtradeWaveformUrls != nullptr) {
    for (const std::string& url : event.ComtradeWaveformUrls->string) {
      text += ", waveform " + shown(url);
    }
  }
  return text;
}

class Listener {
 public:
  explicit Listener(std::uint64_t count) : left_(count), limited_(count != 0) {
    if (!ctx_) {
      throw std::bad_alloc();
    }
    ctx_->bind_flags = SO_REUSEADDR;
    ctx_->send_timeout = ctx_->recv_timeout = kSeconds;
    ctx_->transfer_timeout = kTransferSeconds;
    ctx_->recv_maxlength = kMaxMessage;
    ctx_->accept_timeout = 0;
  }

  // False, with the reason on standard error, when the address cannot be had.
  bool open(const std::string& address, int port) {
    if (!soap_valid_socket(soap_bind(ctx_.get(), address.c_str(), port, kBacklog))) {
      soap_print_fault(ctx_.get(), stderr);
      return false;
    }
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    getsockname(ctx_->master, reinterpret_cast<sockaddr*>(&bound), &size);
    // The port stands at the same place in both families.
    const auto* inet = reinterpret_cast<const sockaddr_in*>(&bound);
    const bool isV6 = address.find(':') != std::string::npos;
    std::cout << "listening on http://" << (isV6 ? "[" + address + "]" : address) << ":"
              << ntohs(inet->sin_port) << "/" << std::endl;
    return true;
  }

  void serve() {
    while (!limited_ || left_ > 0) {
      if (!soap_valid_socket(soap_accept(ctx_.get()))) {
        refuse();
        continue;
      }
      receive();
      soap_destroy(ctx_.get());
      soap_end(ctx_.get());
      soap_closesock(ctx_.get());
    }
  }

 private:
  void receive() {
    _nss1__publish message;
    message.soap_default(ctx_.get());
    if (read(message) != SOAP_OK) {
      refuse();
      soap_send_fault(ctx_.get());
      return;
    }
    print(message);
    if (answer() != SOAP_OK) {
      refuse();
    }
  }

  int read(_nss1__publish& message) {
    struct soap* ctx = ctx_.get();
    if (soap_begin_recv(ctx) != SOAP_OK || soap_envelope_begin_in(ctx) != SOAP_OK ||
        soap_recv_header(ctx) != SOAP_OK || soap_body_begin_in(ctx) != SOAP_OK) {
      return ctx->error;
    }
    if (soap_get__nss1__publish(ctx, &message, "nss1:publish", nullptr) == nullptr) {
      return ctx->error = ctx->error == SOAP_TAG_MISMATCH ? SOAP_NO_METHOD : ctx->error;
    }
    if (soap_body_end_in(ctx) != SOAP_OK || soap_envelope_end_in(ctx) != SOAP_OK ||
        soap_end_recv(ctx) != SOAP_OK) {
      return ctx->error;
    }
    return SOAP_OK;
  }

  int answer() {
    struct soap* ctx = ctx_.get();
    _nss1__publishResponse response;
    response.soap_default(ctx);
    return soap_response(ctx, SOAP_OK) != SOAP_OK || soap_envelope_begin_out(ctx) != SOAP_OK ||
                   soap_body_begin_out(ctx) != SOAP_OK ||
                   response.soap_put(ctx, "nss1:publishResponse", "") != SOAP_OK ||
                   soap_body_end_out(ctx) != SOAP_OK || soap_envelope_end_out(ctx) != SOAP_OK ||
                   soap_end_send(ctx) != SOAP_OK
               ? ctx->error
               : SOAP_OK;
  }

  void refuse() {
    char reason[300] = "no reason known";
    soap_sprint_fault(ctx_.get(), reason, sizeof reason);
    std::string text = shown(std::string(reason));
    std::cerr << kName << ": " << text << std::endl;
  }

  void print(const _nss1__publish& message) {
    const std::string id = shown(message.subscriptionId);
    if (message.values != nullptr) {
      printAll(message.values->PublishedValue, id);
    }
    if (message.events != nullptr) {
      printAll(message.events->Event, id);
    }
  }

  template <class Record>
  void printAll(const std::vector<Record*>& records, const std::string& id) {
    for (const Record* record : records) {
      print(record == nullptr ? 0 : record->Time, id, record == nullptr ? "" : line(*record));
    }
  }

  void print(LONG64 time, const std::string& id, const std::string& text) {
    std::cout << clockTime(time) << ' ' << id << "  " << text << std::endl;
    left_ -= left_ > 0 ? 1 : 0;
  }

  SoapContext ctx_{soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE)};
  std::uint64_t left_;
  bool limited_;
};

}  // namespace

int main(int argc, char** argv) try {
  std::string address = "127.0.0.1";
  int port = 0;
  std::uint64_t count = 0;
  CLI::App app("Receives what the publisher sends and prints a line a record.");
  app.add_option("--port", port, "Where to listen; 0: any port that is free")
      ->check(CLI::Range(0, 65535));
  app.add_option("--bind", address, "Address to listen at");
  app.add_option("--count", count, "Stop after so many records; 0: never");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  }
  std::signal(SIGPIPE, SIG_IGN);
  Listener listener(count);
  if (!listener.open(address, port)) {
    return 1;
  }
  listener.serve();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s: %s\n", kName, error.what());
  return 1;
}
