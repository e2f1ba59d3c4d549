// CSysLog: the program's log, to syslog(3) and never blocking.
//
// Each message has a severity, which goes to the log, and a level, which decides whether it is
// written: a message of level n is written when the logger's level is at least n. Levels in use: 0
// errors, start and stop; 1 failures told to clients; 2, 5 and 6 detail of single requests.
//
// Of one kind of line, that is of one format, at most 50 are written in 10 s; the others are
// counted, and one line says later how many there were. Errors of level 0 are always written, and
// with a logger's level from 2 on, which is for looking closely, all lines are.
//
// TOOLKIT_LOG=stderr, or =FILE, sends the lines there instead of to syslog (a file is appended to).
// Control characters in a message are written as "?", so that a client's text cannot forge a line.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace toolkit {

class LogLimit;
class LogSink;

class CSysLog {
 public:
  using Clock = std::chrono::steady_clock;

  int level;  // first member: messages above this level are dropped before they are formatted

  // `echoToStderr` copies every line to standard error; `withPid` adds the process number;
  // `openNow` connects at once instead of at the first line. `ident` starts every line.
  CSysLog(std::string ident, int level, bool echoToStderr, bool withPid, bool openNow,
          std::function<Clock::time_point()> clock = Clock::now);
  ~CSysLog();
  CSysLog(const CSysLog&) = delete;
  CSysLog& operator=(const CSysLog&) = delete;

  // printf formats, which must outlive the logger. A line is cut at 2,000 bytes.
  void err(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void warn(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void notice(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void info(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  // `severity` is one of syslog(3)'s.
  void line(int severity, int level, const char* format, __builtin_va_list arguments)
      __attribute__((format(printf, 4, 0)));

  // Says what was not written, where its time is over. Every line does so, too, and the end.
  void tellHeldBack();

 private:
  bool isHeldBack(int severity, int level, const char* format);
  void tellHeldBack(Clock::time_point now);
  void write(int severity, const std::string& message);

  std::function<Clock::time_point()> clock_;
  std::unique_ptr<LogLimit> limit_;
  std::unique_ptr<LogSink> sink_;
  std::unique_ptr<LogSink> echo_;  // null: none
};

}  // namespace toolkit
