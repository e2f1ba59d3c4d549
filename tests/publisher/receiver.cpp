#include "receiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace {

constexpr int kTurn = 20;  // milliseconds
constexpr int kSlowly = 300;

void send(int connection, const std::string& text) {
  ::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
}

bool hasGone(int connection) {
  pollfd end = {connection, POLLRDHUP, 0};
  return poll(&end, 1, 0) == 1;
}

std::size_t bodyLength(const std::string& header) {
  const std::size_t at = header.find("Content-Length: ");
  return at == std::string::npos ? 0 : std::strtoul(header.c_str() + at + 16, nullptr, 10);
}

bool isComplete(const std::string& request) {
  const std::size_t end = request.find("\r\n\r\n");
  return end != std::string::npos && request.size() >= end + 4 + bodyLength(request.substr(0, end));
}

}  // namespace

Receiver::Receiver(Manner manner) : manner_(manner) {
  comeUp();
}

Receiver::~Receiver() {
  goDown();
}

void Receiver::comeUp() {
  ends_ = false;
  listen();
  thread_ = std::thread([this] { serve(); });
}

void Receiver::goDown() {
  ends_ = true;
  if (thread_.joinable()) {
    thread_.join();
  }
  close(socket_);
  socket_ = -1;
}

std::vector<std::string> Receiver::taken() const {
  const std::lock_guard lock(mutex_);
  return taken_;
}

void Receiver::listen() {
  socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port_));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (bind(socket_, plain, size) != 0 || ::listen(socket_, 100) != 0 ||
      getsockname(socket_, plain, &size) != 0) {
    throw std::runtime_error("no port for the receiver");
  }
  port_ = ntohs(address.sin_port);
}

void Receiver::serve() {
  while (!ends_) {
    pollfd ready = {socket_, POLLIN, 0};
    if (poll(&ready, 1, kTurn) != 1) {
      continue;
    }
    if (const int connection = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC); connection >= 0) {
      ++connections_;
      talk(connection);
      close(connection);
    }
  }
}

void Receiver::talk(int connection) {
  std::string request;
  while (!ends_ && !isComplete(request)) {
    pollfd ready = {connection, POLLIN, 0};
    if (poll(&ready, 1, kTurn) != 1) {
      continue;
    }
    char buffer[65536];
    const ssize_t size = recv(connection, buffer, sizeof buffer, 0);
    if (size <= 0) {
      return;
    }
    request.append(buffer, static_cast<std::size_t>(size));
  }
  if (isComplete(request)) {
    ++attempts_;
    answer(connection, request);
  }
}

void Receiver::answer(int connection, const std::string& request) {
  const bool isMoved = request.substr(0, request.find('\r')).find("/moved") != std::string::npos;
  const Manner manner = isMoved ? Manner::kAccept : manner_.load();
  switch (manner) {
    case Manner::kHangUp:
      return;
    case Manner::kFail:
      send(connection, "HTTP/1.1 500 No\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
      return;
    case Manner::kRedirect:
      send(connection,
           "HTTP/1.1 302 Moved\r\nLocation: /moved\r\nContent-Length: 0\r\n"
           "Connection: close\r\n\r\n");
      return;
    case Manner::kSilent:
      while (!hasGone(connection) && pause(kTurn, manner)) {
      }
      return;
    case Manner::kSlow:
      pause(kSlowly, manner);
      break;
    case Manner::kAccept:
    case Manner::kFlood:
      break;
  }
  {
    const std::lock_guard lock(mutex_);
    taken_.push_back(request);
  }
  send(connection, manner == Manner::kFlood
                       ? "HTTP/1.1 200 OK\r\n\r\n" + std::string(1 << 20, 'x')
                       : "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
}

bool Receiver::pause(int milliseconds, Manner manner) const {
  for (; milliseconds > 0; milliseconds -= kTurn) {
    if (ends_ || manner_ != manner) {
      return false;
    }
    usleep(kTurn * 1000);
  }
  return true;
}
