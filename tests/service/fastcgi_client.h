// A FastCGI web server's side of one request, for tests (FastCGI 1.0).
#pragma once

#include <string>
#include <utility>
#include <vector>

using FastCgiParams = std::vector<std::pair<std::string, std::string>>;

struct FastCgiReply {
  bool complete = false;  // the service ended the request properly
  std::string out;        // headers and body as the service wrote them

  int status() const;        // from the Status header; 200 when there is none
  std::string body() const;  // what follows the headers
};

// Sends one request to the UNIX socket at `socketPath` and reads until the service ends it.
FastCgiReply fastCgiRequest(const std::string& socketPath, const FastCgiParams& params,
                            const std::string& body);

// The bytes of a request.
std::string encodedRequest(const FastCgiParams& params, const std::string& body);

// A socket of the type at the path; -1 when it cannot be had.
int boundSocket(const std::string& path, int type);

// A peer that sends the bytes as they are and then stays, silent, until the object goes.
class SilentPeer {
 public:
  SilentPeer(const std::string& socketPath, const std::string& bytes);
  ~SilentPeer();
  SilentPeer(const SilentPeer&) = delete;
  SilentPeer& operator=(const SilentPeer&) = delete;

  FastCgiReply reply() const;

 private:
  int descriptor_;
};
