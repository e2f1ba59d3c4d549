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

// The text of a time to the second, made once a second.
class Stamp {
 public:
  // True when the second is another than the last.
  bool update(std::time_t now, std::string (*text)(std::time_t)) {
    if (now == second_) {
      return false;
    }
    second_ = now;
    text_ = text(now);
    return true;
  }
  const std::string& text() const { return text_; }

 private:
  std::time_t second_ = -1;
  std::string text_;
};

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
    mayConnect_ = stamp_.update(std::time(nullptr), localText) || mayConnect_;
    const std::string line = lineOf(severity, message);
    // A daemon that was started anew has a new socket; one that is down is asked once a second.
    if (!send(line) && errno != EAGAIN && mayConnect_) {
      mayConnect_ = false;
      connect();
      send(line);
    }
  }

 private:
  bool send(const std::string& line) const {
    return ::send(descriptor_.get(), line.data(), line.size(), MSG_NOSIGNAL) >= 0;
  }

  static std::string localText(std::time_t now) {
    tm local = {};
    localtime_r(&now, &local);
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%s %2d %02d:%02d:%02d ",
                  kMonths.at(static_cast<std::size_t>(local.tm_mon)), local.tm_mday, local.tm_hour,
                  local.tm_min, local.tm_sec);
    return stamp;
  }

  std::string lineOf(int severity, std::string_view message) const {
    std::string line = "<" + std::to_string(LOG_DAEMON | severity) + ">";
    line.append(stamp_.text()).append(tagOf(ident_, withPid_)).append(": ").append(message);
    return line;
  }

  Stamp stamp_;
  bool mayConnect_ = true;
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
  static std::string utcText(std::time_t now) {
    tm utc = {};
    gmtime_r(&now, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc)};
  }

  std::string lineOf(int severity, std::string_view message) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    stamp_.update(now.tv_sec, utcText);
    char milliseconds[24];
    std::snprintf(milliseconds, sizeof milliseconds, ".%03ldZ ", now.tv_nsec / 1000000);
    std::string line = stamp_.text() + milliseconds + tagOf(ident_, withPid_);
    line.append(" ").append(kSeverities.at(static_cast<std::size_t>(severity))).append(": ");
    return line.append(message).append("\n");
  }

  Stamp stamp_;
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
