#include "front/fastcgi_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <cstring>

#include "front/global_data.h"

namespace {

constexpr mode_t kSocketMode = 0660;

// False for a path that is too long for a socket.
bool fillAddress(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  path.copy(address.sun_path, path.size());
  return true;
}

// Returns the listening descriptor, or -1 with errno set. The library's own FCGX_OpenSocket would
// end the process where the path cannot be had.
int listenAt(const std::string& path, int backlog) {
  sockaddr_un address;
  if (!fillAddress(path, address)) {
    return -1;
  }
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
    unlink(path.c_str());
  }
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor == -1 ||
      (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
       listen(descriptor, backlog) == 0)) {
    return descriptor;
  }
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

}  // namespace

bool hasSupervisorsSocket() {
  const auto option = [](int name) {
    int value = 0;
    socklen_t size = sizeof value;
    return getsockopt(kListenDescriptor, SOL_SOCKET, name, &value, &size) == 0 ? value : 0;
  };
  return option(SO_ACCEPTCONN) != 0 && option(SO_TYPE) == SOCK_STREAM;
}

bool isSocketServed(const std::string& path) {
  sockaddr_un address;
  if (!fillAddress(path, address)) {
    return false;
  }
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe == -1) {
    return false;
  }
  // A full queue of connections has a process behind it too.
  const bool served =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
      errno == EAGAIN;
  close(probe);
  return served;
}

int tk_fcgi_bind(const std::string& path, int backlog) {
  assert(!path.empty());
  if (hasSupervisorsSocket()) {
    fcntl(kListenDescriptor, F_SETFL, O_NONBLOCK);
    __psyslog->info(2, "FCGI app listening at the supervisor's socket [%d]", kListenDescriptor);
    return 0;
  }
  if (isSocketServed(path)) {
    __psyslog->err(0, "Another process is serving at socket %s", path.c_str());
    return -1;
  }
  const int descriptor = listenAt(path, backlog);
  if (descriptor == -1) {
    __psyslog->err(0, "Cannot listen at socket %s: %s", path.c_str(), std::strerror(errno));
    return -1;
  }
  if (chmod(path.c_str(), kSocketMode) != 0) {
    __psyslog->warn(0, "Cannot open socket %s to the group: %s", path.c_str(),
                    std::strerror(errno));
  }
  if (descriptor != kListenDescriptor) {
    close(kListenDescriptor);
    if (dup2(descriptor, kListenDescriptor) == -1) {
      __psyslog->err(0, "Cannot move socket %s: %s", path.c_str(), std::strerror(errno));
      close(descriptor);
      return -1;
    }
    close(descriptor);
  }
  // Only the wait for a connection may block: it hears signals and the timer.
  fcntl(kListenDescriptor, F_SETFL, O_NONBLOCK);
  __psyslog->info(2, "FCGI app listening at socket %s [%d]", path.c_str(), kListenDescriptor);
  return 0;
}
