#include "toolkit/syslog.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "log_limit.h"
#include "log_sink.h"
#include "toolkit/printable.h"

namespace toolkit {

namespace {

constexpr std::size_t kMaxMessage = 2000;
constexpr int kDetailLevel = 2;
constexpr std::string_view kStderr = "stderr";

// The folder of a daemon changes, so a file is best named by its whole path.
std::unique_ptr<LogSink> chosenSink(const std::string& ident, bool withPid) {
  const char* variable = std::getenv("TOOLKIT_LOG");
  if (variable == nullptr || *variable == '\0') {
    return makeSyslogSink(ident, withPid);
  }
  return makeFileSink(variable == kStderr ? "" : variable, ident, withPid);
}

std::string formatted(const char* format, va_list arguments) {
  char text[kMaxMessage + 1];
  std::vsnprintf(text, sizeof text, format, arguments);
  return printable(text);
}

std::string textOf(const LogLimit::HeldBack& held) {
  return std::to_string(held.lines) + " more lines of this kind in the last " +
         std::to_string(held.time.count()) + " s: " + held.format;
}

}  // namespace

CSysLog::CSysLog(std::string ident, int level, bool echoToStderr, bool withPid, bool openNow,
                 std::function<Clock::time_point()> clock)
    : level(level),
      clock_(std::move(clock)),
      limit_(std::make_unique<LogLimit>()),
      sink_(chosenSink(ident, withPid)) {
  if (echoToStderr) {
    echo_ = makeFileSink("", std::move(ident), withPid);
  }
  if (openNow) {
    sink_->connect();
  }
}

CSysLog::~CSysLog() {
  while (const auto held = limit_->next(clock_(), LogLimit::Which::All)) {
    write(held->severity, textOf(*held));
  }
}

void CSysLog::tellHeldBack() {
  tellHeldBack(clock_());
}

void CSysLog::tellHeldBack(Clock::time_point now) {
  while (const auto held = limit_->next(now, LogLimit::Which::Due)) {
    write(held->severity, textOf(*held));
  }
}

bool CSysLog::isHeldBack(int severity, int level, const char* format) {
  const bool isTrouble = level <= 0 && severity <= LOG_ERR;
  if (isTrouble || this->level >= kDetailLevel) {
    return false;
  }
  const Clock::time_point now = clock_();
  tellHeldBack(now);
  return !limit_->admits(format, severity, now);
}

void CSysLog::write(int severity, const std::string& message) {
  sink_->write(severity, message);
  if (echo_ != nullptr) {
    echo_->write(severity, message);
  }
}

void CSysLog::line(int severity, int level, const char* format, va_list arguments) {
  if (level <= this->level && !isHeldBack(severity, level, format)) {
    write(severity, formatted(format, arguments));
  }
}

void CSysLog::err(int level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  line(LOG_ERR, level, format, arguments);
  va_end(arguments);
}

void CSysLog::warn(int level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  line(LOG_WARNING, level, format, arguments);
  va_end(arguments);
}

void CSysLog::notice(int level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  line(LOG_NOTICE, level, format, arguments);
  va_end(arguments);
}

void CSysLog::info(int level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  line(LOG_INFO, level, format, arguments);
  va_end(arguments);
}

}  // namespace toolkit
