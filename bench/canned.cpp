// The yardstick of bench/wire: a FastCGI program that reads each request and answers with the bytes
// of a file. One thread, one request at a time, on the library that the service uses: what it takes
// is what the way through nginx and libfcgi costs without any service behind it.
//
//   canned SOCKET FILE         closes connections as the library does: when the web server has
//   canned SOCKET FILE at-once closes them at once, as the service does
#include <fcgiapp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

volatile std::sig_atomic_t stop = 0;

void onSignal(int /*signal*/) {
  stop = 1;
}

// Without SA_RESTART: the signal ends a waiting accept.
void stopOnTerm() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigaction(SIGTERM, &action, nullptr);
}

std::string replyFrom(const char* file) {
  std::ifstream in(file, std::ios::binary);
  const std::string body((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return "Status: 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\n\r\n" + body;
}

void serve(FCGX_Request& request, const std::string& reply, bool atOnce) {
  std::array<char, 16384> buffer{};
  const int size = static_cast<int>(buffer.size());
  while (FCGX_GetStr(buffer.data(), size, request.in) == size) {
  }
  FCGX_PutStr(reply.data(), static_cast<int>(reply.size()), request.out);
  if (atOnce) {
    FCGX_Detach(&request);
  }
  FCGX_Finish_r(&request);
}

}  // namespace

int main(int argc, char** argv) {
  const bool atOnce = argc == 4 && std::string(argv[3]) == "at-once";
  if (argc != 3 && !atOnce) {
    std::cerr << "usage: canned SOCKET FILE [at-once]\n";
    return 1;
  }
  const std::string reply = replyFrom(argv[2]);
  stopOnTerm();
  FCGX_Init();
  const int listener = FCGX_OpenSocket(argv[1], 64);
  if (listener < 0) {
    return 1;
  }
  chmod(argv[1], 0666);

  FCGX_Request request;
  FCGX_InitRequest(&request, listener, FCGI_FAIL_ACCEPT_ON_INTR);
  while (stop == 0 && FCGX_Accept_r(&request) == 0) {
    serve(request, reply, atOnce);
  }
  FCGX_Free(&request, 1);
  unlink(argv[1]);
  return 0;
}
