#include "receiver.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

#include "TarnixH.h"
#include "soap_context.h"

namespace {

constexpr int kTurn = 20;  // milliseconds

std::string shown(const std::string* value, const std::string* numeric = nullptr) {
  return (value == nullptr ? "-" : *value) + (numeric == nullptr ? "" : " [" + *numeric + "]");
}

std::string line(const nss1__PublishedValue& value) {
  EXPECT_NE(value.RealTime, value.Trend);
  return (value.Trend ? "trend " : "") + shown(value.Path) + " = " +
         shown(value.Value, value.NumericValue) + " (" + std::to_string(value.Quality) + ")";
}

std::string line(const nss1__Event& event) {
  static const char* const kTypes[] = {"Event", "Alarm", "Structure", "Lost"};
  std::string text = kTypes[event.EventType];
  text += " " + std::to_string(event.EventId) + " " + shown(event.SourcePath) + ": " +
          shown(event.Description) + " = " + shown(event.Value, event.NumericValue);
  return event.Quality == nullptr ? text : text + " (" + *event.Quality + ")";
}

// Fails the test when it is no message to a subscriber.
Message receive(struct soap& ctx) {
  _nss1__publish in;
  in.soap_default(&ctx);
  EXPECT_TRUE(soap_envelope_begin_in(&ctx) == SOAP_OK && soap_body_begin_in(&ctx) == SOAP_OK &&
              soap_get__nss1__publish(&ctx, &in, "nss1:publish", nullptr) != nullptr &&
              soap_body_end_in(&ctx) == SOAP_OK && soap_envelope_end_in(&ctx) == SOAP_OK &&
              soap_end_recv(&ctx) == SOAP_OK);
  EXPECT_STREQ(ctx.action, "http://tarnix.example/TarnixWSSubscriber/publish");
  Message message = {in.subscriptionId, in.sequence, {}};
  const auto add = [&](const auto& records) {
    for (const auto* record : records) {
      message.records.push_back(line(*record));
    }
  };
  if (in.values != nullptr) {
    add(in.values->PublishedValue);
  }
  if (in.events != nullptr) {
    add(in.events->Event);
  }
  return message;
}

}  // namespace

void Receiver::behave(Manner manner) {
  ends_ = true;
  if (thread_.joinable()) {
    thread_.join();
  }
  ends_ = false;
  if (manner == Manner::kDown) {
    return;
  }
  SoapContext ctx(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE | SOAP_XML_STRICT));
  ctx->bind_flags = SO_REUSEADDR;
  ctx->accept_timeout = -kTurn * 1000;
  ctx->recv_timeout = 1;
  while (!soap_valid_socket(soap_bind(ctx.get(), "127.0.0.1", port_, 100))) {
    ++port_;
  }
  fcntl(ctx->master, F_SETFD, FD_CLOEXEC);
  thread_ = std::thread([this, manner, ctx = std::move(ctx)] { serve(*ctx, manner); });
}

std::vector<Message> Receiver::taken() const {
  const std::lock_guard lock(mutex_);
  return taken_;
}

void Receiver::serve(struct soap& ctx, Manner manner) {
  while (!ends_) {
    if (soap_valid_socket(soap_accept(&ctx))) {
      ++connections_;
      // A sender may break off before its message.
      if (soap_begin_recv(&ctx) == SOAP_OK) {
        answer(ctx.socket, manner, receive(ctx));
      }
      soap_closesock(&ctx);
    }
    soap_destroy(&ctx);
    soap_end(&ctx);
  }
}

void Receiver::answer(int connection, Manner manner, const Message& message) {
  pollfd peer = {connection, POLLIN, 0};
  while (manner == Manner::kSilent && !ends_ && poll(&peer, 1, kTurn) == 0) {
  }
  if (ends_ || manner == Manner::kSilent || manner == Manner::kClose) {
    return;
  }
  std::string text = "HTTP/1.1 500 No\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
  if (manner != Manner::kFail) {
    text.replace(9, 6, "200 OK");
    const std::lock_guard lock(mutex_);
    taken_.push_back(message);
  }
  send(connection, text.data(), text.size(), MSG_NOSIGNAL);
}
