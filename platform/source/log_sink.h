// Where the lines of the log go.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace toolkit {

// Takes lines one at a time; a line that cannot be taken at once is lost, for a program never waits
// for its log.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void connect() = 0;
  // `severity` is one of syslog(3)'s.
  virtual void write(int severity, std::string_view message) = 0;
};

// `ident` starts every line, with the process number when that is wanted.
std::unique_ptr<LogSink> makeSyslogSink(std::string ident, bool withPid);
// To standard error for an empty file name.
std::unique_ptr<LogSink> makeFileSink(std::string file, std::string ident, bool withPid);

}  // namespace toolkit
