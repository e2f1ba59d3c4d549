// An HTTP server on 127.0.0.1 that stands for a subscriber's address and behaves as it is told.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

enum class Manner {
  kAccept,    // 200
  kFail,      // 500
  kRedirect,  // 302 to itself, under "/moved", where everything is taken
  kFlood,     // 200 with an answer that does not end
  kHangUp,    // closes the connection when it has the message
  kSlow,      // 200 after a while
  kSilent,    // never answers
};

class Receiver {
 public:
  explicit Receiver(Manner manner = Manner::kAccept);
  ~Receiver();
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  // From the next message on; a connection in silence ends.
  void behave(Manner manner) { manner_ = manner; }
  // Nobody listens any more, or again at the same port.
  void goDown();
  void comeUp();

  std::string uri(const std::string& scheme = "http") const {
    return scheme + "://127.0.0.1:" + std::to_string(port_) + "/notify";
  }

  // Requests in full, with headers; those that were answered with 200.
  std::vector<std::string> taken() const;
  // Number of requests, however they were answered.
  std::size_t attempts() const { return attempts_; }
  std::size_t connections() const { return connections_; }

 private:
  void listen();
  void serve();
  void talk(int connection);
  void answer(int connection, const std::string& request);
  // False when the behaviour has changed or the receiver ends.
  bool pause(int milliseconds, Manner manner) const;

  std::atomic<Manner> manner_;
  std::atomic<bool> ends_{false};
  std::atomic<std::size_t> attempts_{0};
  std::atomic<std::size_t> connections_{0};
  int port_ = 0;
  int socket_ = -1;
  mutable std::mutex mutex_;
  std::vector<std::string> taken_;
  std::thread thread_;
};
