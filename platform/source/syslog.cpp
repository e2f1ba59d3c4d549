#include "toolkit/syslog.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "log_sink.h"
#include "toolkit/printable.h"

namespace toolkit {

namespace {

constexpr std::size_t kMaxMessage = 2000;
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

}  // namespace

CSysLog::CSysLog(std::string ident, int level, bool echoToStderr, bool withPid, bool openNow)
    : level(level), sink_(chosenSink(ident, withPid)) {
  if (echoToStderr) {
    echo_ = makeFileSink("", std::move(ident), withPid);
  }
  if (openNow) {
    sink_->connect();
  }
}

CSysLog::~CSysLog() = default;

void CSysLog::write(int severity, const char* format, va_list arguments) {
  const std::string message = formatted(format, arguments);
  sink_->write(severity, message);
  if (echo_ != nullptr) {
    echo_->write(severity, message);
  }
}

void CSysLog::err(int level, const char* format, ...) {
  if (level <= this->level) {
    va_list arguments;
    va_start(arguments, format);
    write(LOG_ERR, format, arguments);
    va_end(arguments);
  }
}

void CSysLog::warn(int level, const char* format, ...) {
  if (level <= this->level) {
    va_list arguments;
    va_start(arguments, format);
    write(LOG_WARNING, format, arguments);
    va_end(arguments);
  }
}

void CSysLog::notice(int level, const char* format, ...) {
  if (level <= this->level) {
    va_list arguments;
    va_start(arguments, format);
    write(LOG_NOTICE, format, arguments);
    va_end(arguments);
  }
}

void CSysLog::info(int level, const char* format, ...) {
  if (level <= this->level) {
    va_list arguments;
    va_start(arguments, format);
    write(LOG_INFO, format, arguments);
    va_end(arguments);
  }
}

}  // namespace toolkit
