// An HTTP server on 127.0.0.1 that stands for a subscriber's address and behaves as it is told.
#pragma once

#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

enum class Manner {
  kAccept,  // 200
  kFail,    // 500
  kClose,   // closes the connection when it has the message
  kSilent,  // never answers
  kDown,    // nobody listens
};

using Texts = std::vector<std::string>;

// One record of a message as a line: "/A = 5 (192)", with "[2]" before the quality for a state's
// number; "trend /A = 5 (192)"; "Alarm 7 /A: Too high = 5". Values come before events.
struct Message {
  std::string subscriptionId;
  std::uint64_t sequence = 0;
  Texts records;
};

struct soap;

class Receiver {
 public:
  explicit Receiver(Manner manner = Manner::kAccept) { behave(manner); }
  ~Receiver() { behave(Manner::kDown); }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  // Starts anew at the same port; what is on its way breaks off.
  void behave(Manner manner);

  std::string uri(const std::string& scheme = "http") const {
    return scheme + "://127.0.0.1:" + std::to_string(port_) + "/notify";
  }
  // Those that were answered with 200.
  std::vector<Message> taken() const;
  std::size_t connections() const { return connections_; }

 private:
  void serve(struct soap& ctx, Manner manner);
  void answer(int connection, Manner manner, const Message& message);

  std::atomic<bool> ends_{false};
  std::atomic<std::size_t> connections_{0};
  // Below those that the system gives out: nobody takes it while the receiver is down.
  int port_ = 10000 + getpid() % 2500 * 8;
  mutable std::mutex mutex_;
  std::vector<Message> taken_;
  std::thread thread_;
};
