#include "front/process.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "front/fastcgi_socket.h"
#include "front/global_data.h"
#include "front/workers.h"

bool daemonMode = true;

namespace {

constexpr int kWatchdogSeconds = 90;
constexpr int kWatchdogAction = 1;
constexpr std::array<int, 4> kExitSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

void exitSignalHandler(int sig) {
  for (const int exitSignal : kExitSignals) {
    if (sig == exitSignal) {
      __signal_exit = 1;
    }
  }
}

void installForExitSignals(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  for (const int sig : kExitSignals) {
    sigaction(sig, &action, nullptr);
  }
}

bool childSucceeded() {
  int status = 0;
  return wait(&status) != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Opens /dev/null as descriptors 0, 1 and 2.
bool detachStandardStreams() {
  const int null = open("/dev/null", O_RDWR);
  bool good = null != -1;
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const bool stays = stream == STDIN_FILENO && hasSupervisorsSocket();
    good = good && (stays || null == stream || dup2(null, stream) == stream);
  }
  if (null > STDERR_FILENO) {
    close(null);
  }
  return good;
}

}  // namespace

std::string nameOfWorker(const std::string& name) {
  const int number = workerNumber().value_or(0);
  return number == 0 ? name : name + "-" + std::to_string(number);
}

void registerWithWatchdog(toolkit::CCds& cds, api_status_t& status) {
  cds.watchdog_register(status, nameOfWorker("dravixd"), kWatchdogSeconds, kWatchdogAction);
}

void notifySupervisor(std::string_view state) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::size_t length = path == nullptr ? 0 : std::strlen(path);
  if (length == 0 || length >= sizeof address.sun_path) {
    return;
  }
  std::memcpy(address.sun_path, path, length);
  if (*path == '@') {
    address.sun_path[0] = '\0';  // an abstract name
  }
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor != -1) {
    sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
           reinterpret_cast<const sockaddr*>(&address),
           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
    close(descriptor);
  }
}

int becomeProgram(const char* path, char* const arguments[]) {
  const itimerval none = {};
  setitimer(ITIMER_REAL, &none, nullptr);
  sigset_t nothing;
  sigset_t former;
  sigemptyset(&nothing);
  sigprocmask(SIG_SETMASK, &nothing, &former);
  const int result = execv(path, arguments);
  const int error = errno;
  sigprocmask(SIG_SETMASK, &former, nullptr);
  errno = error;
  return result;
}

void register_handlers() {
  installForExitSignals(exitSignalHandler);
}

void deregister_handlers() {
  installForExitSignals(SIG_DFL);
}

int daemon_process() {
  const pid_t child = fork();
  if (child == -1) {
    return -1;
  }
  if (child > 0) {
    if (!childSucceeded()) {
      return -1;
    }
    _exit(0);
  }
  setsid();
  const pid_t grandchild = fork();
  if (grandchild != 0) {
    _exit(grandchild == -1 ? 1 : 0);
  }
  if (chdir("/") == -1 || !detachStandardStreams()) {
    return -1;
  }
  umask(022);
  return 0;
}

void reserveStandardDescriptors() {
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
    descriptor = open("/dev/null", O_RDWR);
  }
  if (descriptor > STDERR_FILENO) {
    close(descriptor);
  }
}
