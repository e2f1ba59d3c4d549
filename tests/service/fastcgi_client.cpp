#include "fastcgi_client.h"

#include <fastcgi.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace {

constexpr int kRequestId = 1;
constexpr std::size_t kMaxContent = 32768;
constexpr int kTimeoutSeconds = 60;

std::string record(unsigned char type, std::string_view content) {
  const auto high = static_cast<char>(content.size() >> 8);
  const auto low = static_cast<char>(content.size() & 0xFF);
  std::string result = {FCGI_VERSION_1, static_cast<char>(type), 0, kRequestId, high, low, 0, 0};
  return result.append(content);
}

// A stream is its content in records and an empty record.
std::string stream(unsigned char type, std::string_view content) {
  std::string result;
  for (; !content.empty(); content.remove_prefix(std::min(kMaxContent, content.size()))) {
    result += record(type, content.substr(0, kMaxContent));
  }
  return result + record(type, {});
}

std::string encodedLength(std::size_t length) {
  return {static_cast<char>((length >> 24) | 0x80), static_cast<char>(length >> 16),
          static_cast<char>(length >> 8), static_cast<char>(length)};
}

std::string encodedParams(const FastCgiParams& params) {
  std::string result;
  for (const auto& [name, value] : params) {
    result.append(encodedLength(name.size())).append(encodedLength(value.size()));
    result.append(name).append(value);
  }
  return result;
}

int connectTo(const std::string& socketPath) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval timeout = {kTimeoutSeconds, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

bool sendAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

std::string readAll(int descriptor) {
  std::string result;
  char buffer[16384];
  ssize_t count = 0;
  while ((count = recv(descriptor, buffer, sizeof buffer, 0)) > 0) {
    result.append(buffer, static_cast<std::size_t>(count));
  }
  return result;
}

FastCgiReply decoded(std::string_view bytes) {
  FastCgiReply reply;
  while (bytes.size() >= FCGI_HEADER_LEN) {
    const auto byte = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const std::size_t length = byte(4) * 256U + byte(5);
    const std::size_t padding = byte(6);
    const std::string_view content = bytes.substr(FCGI_HEADER_LEN, length);
    if (byte(1) == FCGI_STDOUT) {
      reply.out += content;
    }
    reply.complete = reply.complete || byte(1) == FCGI_END_REQUEST;
    bytes.remove_prefix(std::min(bytes.size(), FCGI_HEADER_LEN + length + padding));
  }
  return reply;
}

}  // namespace

int FastCgiReply::status() const {
  const std::size_t at = out.find("Status: ");
  return at == std::string::npos ? 200 : std::atoi(out.c_str() + at + 8);
}

std::string FastCgiReply::body() const {
  const std::size_t end = out.find("\r\n\r\n");
  return end == std::string::npos ? std::string() : out.substr(end + 4);
}

std::string encodedRequest(const FastCgiParams& params, const std::string& body, bool whole) {
  return record(FCGI_BEGIN_REQUEST, {"\0\1\0\0\0\0\0\0", 8}) +
         stream(FCGI_PARAMS, encodedParams(params)) +
         (whole ? stream(FCGI_STDIN, body) : record(FCGI_STDIN, body));
}

FastCgiReply fastCgiRequest(const std::string& socketPath, const FastCgiParams& params,
                            const std::string& body) {
  const int descriptor = connectTo(socketPath);
  if (descriptor < 0) {
    return {};
  }
  sendAll(descriptor, encodedRequest(params, body, true));
  FastCgiReply reply = decoded(readAll(descriptor));
  close(descriptor);
  return reply;
}

SilentPeer::SilentPeer(const std::string& socketPath, const std::string& bytes)
    : descriptor_(connectTo(socketPath)) {
  sendAll(descriptor_, bytes);
}

SilentPeer::~SilentPeer() {
  close(descriptor_);
}
