#include "log_sink.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "unique_fd.h"

namespace toolkit {

namespace {

constexpr std::string_view kSyslogSocket = "/dev/log";
constexpr mode_t kFileMode = 0640;

// By syslog's number.
constexpr std::array kSeverities = {"emergency", "alert",  "critical", "error",
                                    "warning",   "notice", "info",     "debug"};
constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The process number is asked for at each line: it changes with fork().
std::string tagOf(const std::string& ident, bool withPid) {
  return withPid ? ident + "[" + std::to_string(getpid()) + "]" : ident;
}

// To the local socket as syslog(3) does it, which however waits when the daemon is behind.
class SyslogSink : public LogSink {
 public:
  SyslogSink(std::string ident, bool withPid) : ident_(std::move(ident)), withPid_(withPid) {}

  void connect() override {
    descriptor_ = UniqueFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    kSyslogSocket.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(descriptor_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
      descriptor_ = UniqueFd();
    }
  }

  void write(int severity, std::string_view message) override {
    const std::string line = lineOf(severity, message);
    // A daemon that was started anew has a new socket.
    if (!send(line) && errno != EAGAIN) {
      connect();
      send(line);
    }
  }

 private:
  bool send(const std::string& line) const {
    return ::send(descriptor_.get(), line.data(), line.size(), MSG_NOSIGNAL) >= 0;
  }

  std::string lineOf(int severity, std::string_view message) const {
    const std::time_t now = std::time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    char head[40];
    std::snprintf(head, sizeof head, "<%d>%s %2d %02d:%02d:%02d ", LOG_DAEMON | severity,
                  kMonths.at(static_cast<std::size_t>(local.tm_mon)), local.tm_mday, local.tm_hour,
                  local.tm_min, local.tm_sec);
    return head + tagOf(ident_, withPid_) + ": " + std::string(message);
  }

  std::string ident_;
  bool withPid_;
  UniqueFd descriptor_;
};

class FileSink : public LogSink {
 public:
  FileSink(std::string file, std::string ident, bool withPid)
      : file_(std::move(file)), ident_(std::move(ident)), withPid_(withPid) {}

  void connect() override {
    if (!file_.empty()) {
      descriptor_ = UniqueFd(
          open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, kFileMode));
    }
  }

  void write(int severity, std::string_view message) override {
    if (!file_.empty() && !descriptor_) {
      connect();
    }
    const std::string line = lineOf(severity, message);
    const int target = file_.empty() ? STDERR_FILENO : descriptor_.get();
    // One call, so that the lines of several processes do not mix.
    const ssize_t written = ::write(target, line.data(), line.size());
    static_cast<void>(written);
  }

 private:
  std::string lineOf(int severity, std::string_view message) const {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc = {};
    gmtime_r(&now.tv_sec, &utc);
    char day[32];
    char milliseconds[24];
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(milliseconds, sizeof milliseconds, ".%03ldZ ", now.tv_nsec / 1000000);
    return day + (milliseconds + tagOf(ident_, withPid_)) + " " +
           kSeverities.at(static_cast<std::size_t>(severity)) + ": " + std::string(message) + "\n";
  }

  std::string file_;
  std::string ident_;
  bool withPid_;
  UniqueFd descriptor_;
};

}  // namespace

std::unique_ptr<LogSink> makeSyslogSink(std::string ident, bool withPid) {
  return std::make_unique<SyslogSink>(std::move(ident), withPid);
}

std::unique_ptr<LogSink> makeFileSink(std::string file, std::string ident, bool withPid) {
  return std::make_unique<FileSink>(std::move(file), std::move(ident), withPid);
}

}  // namespace toolkit
