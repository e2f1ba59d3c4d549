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

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
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

std::string encodedRequest(const FastCgiParams& params, const std::string& body) {
  return record(FCGI_BEGIN_REQUEST, {"\0\1\0\0\0\0\0\0", 8}) +
         stream(FCGI_PARAMS, encodedParams(params)) + stream(FCGI_STDIN, body);
}

FastCgiReply fastCgiRequest(const std::string& socketPath, const FastCgiParams& params,
                            const std::string& body) {
  return SilentPeer(socketPath, encodedRequest(params, body)).reply();
}

int boundSocket(const std::string& path, int type) {
  const sockaddr_un address = addressOf(path);
  const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  return bind(descriptor, generic, sizeof address) == 0 ? descriptor : -1;
}

// Where nobody listens, nothing is sent and the reply stays incomplete.
SilentPeer::SilentPeer(const std::string& socketPath, const std::string& bytes)
    : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_un address = addressOf(socketPath);
  const timeval timeout = {kTimeoutSeconds, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
}

SilentPeer::~SilentPeer() {
  close(descriptor_);
}

FastCgiReply SilentPeer::reply() const {
  FastCgiReply reply;
  FCGI_Header header = {};
  while (recv(descriptor_, &header, sizeof header, MSG_WAITALL) == sizeof header) {
    const std::size_t length = header.contentLengthB1 * 256U + header.contentLengthB0;
    std::string content(length + header.paddingLength, 0);
    if (!content.empty()) {
      recv(descriptor_, content.data(), content.size(), MSG_WAITALL);
    }
    if (header.type == FCGI_STDOUT) {
      reply.out += content.substr(0, length);
    }
    reply.complete = reply.complete || header.type == FCGI_END_REQUEST;
  }
  return reply;
}
