#include "front/command_line.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

constexpr const char* kUsage =
    "Usage: dravixd [-h deltaLog]  [-a eventLog] \n"
    "               [-s systemLog] [-t trendLog] [-m maxRecords] \n"
    "               [-p pageSize] [-c cacheSize] [-l heapLimit] \n"
    "               [-w waveFolder] [-D n] [-d] \n"
    "\t -h: Location of the historical (Delta) data log\n"
    "\t -a: Location of the alarm/event log\n"
    "\t -s: Location of the System event log\n"
    "\t -t: Location of the Trend data log\n"
    "\t -m: Maximum allowed size for Delta record requests\n"
    "\t     Maximum records for Events and Trends based on this; default \n"
    "\t     maximums are Deltas:10000, Events:2500, and Trend snapshots:833 \n"
    "\t -p: Use the given SQLite page size (in bytes)\n"
    "\t -c: Use the given SQLite cache size (in kB)\n"
    "\t -l: Use the given size (in kB) as a heap usage soft-limit for SQLite\n"
    "\t -w: Location of the COMTRADE waveform files\n"
    "\t -D: Set the Syslog verbosity level to 'n' (default: 1)\n"
    "\t -d: Debug mode (don't fork a child process)\n"
    "Usage: dravixd -v \n"
    "\t -v: Print version information to stdout and exit\n";

constexpr int kBytesPerKilobyte = 1024;

std::int32_t saturated(long value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

// A size in `unit` bytes, or false with a message on standard error.
bool readSize(const char* word, const char* name, int unit, std::int32_t& size) {
  const std::int32_t value = saturated(std::strtol(word, nullptr, 10));
  if (value <= 0) {
    std::fprintf(stderr, "Error: invalid %s: %d\n", name, value);
    return false;
  }
  size = saturated(static_cast<long>(value) * unit);
  return true;
}

// Trailing characters are accepted as they stand: "50x" is 50.
bool readMaxRecords(const char* word, _global_data_t& global) {
  char* end = nullptr;
  const long value = std::strtol(word, &end, 10);
  if (end == word || value < 0) {
    return false;
  }
  global.maxRecords = saturated(value);
  return true;
}

bool readPageSize(const char* word, _global_data_t& global) {
  return readSize(word, "page size", 1, global.pageSize);
}

bool readCacheSize(const char* word, _global_data_t& global) {
  return readSize(word, "cache size", kBytesPerKilobyte, global.cacheSize);
}

bool readHeapLimit(const char* word, _global_data_t& global) {
  return readSize(word, "heap limit", kBytesPerKilobyte, global.heapLimit);
}

// errno is left as earlier words set it: a number that overflowed before makes this one fail too.
bool readLogLevel(const char* word, _global_data_t& global) {
  char* end = nullptr;
  const long value = std::strtol(word, &end, 10);
  if (errno != 0 || *end != '\0') {
    std::perror("Error: invalid syslog Level");
    return false;
  }
  global.syslog->level = saturated(value);
  return true;
}

// The usage text, which is fixed, does not have it: docs/limits.md does.
bool readMaxSearch(const char* word, _global_data_t& global) {
  constexpr std::int32_t kMaxSeconds = 600;
  std::int32_t seconds = 0;
  if (!readSize(word, "search time", 1, seconds) || seconds > kMaxSeconds) {
    return false;
  }
  global.maxSearch = std::chrono::seconds(seconds);
  return true;
}

template <std::string _global_data_t::*member>
bool readText(const char* word, _global_data_t& global) {
  global.*member = word;
  return true;
}

struct ValueOption {
  std::string_view word;
  bool (*read)(const char* value, _global_data_t& global);
};

constexpr std::array<ValueOption, 11> kValueOptions = {{
    {"-h", readText<&_global_data_t::deltaLog>},
    {"-a", readText<&_global_data_t::eventLog>},
    {"-s", readText<&_global_data_t::systemLog>},
    {"-t", readText<&_global_data_t::trendLogPath>},
    {"-m", readMaxRecords},
    {"-p", readPageSize},
    {"-c", readCacheSize},
    {"-l", readHeapLimit},
    {"-w", readText<&_global_data_t::waveFolder>},
    {"-D", readLogLevel},
    {"-S", readMaxSearch},
}};

const ValueOption* findValueOption(std::string_view word) {
  const auto* found = std::find_if(kValueOptions.begin(), kValueOptions.end(),
                                   [word](const ValueOption& o) { return o.word == word; });
  return found == kValueOptions.end() ? nullptr : found;
}

void printVersion(const char* program) {
  std::printf("%s: version %s\n", program, "2.0.0");
  std::printf("gsoap: version %s\n", "2.8.6");
  std::printf("Build date: %s %s\n", __DATE__, __TIME__);
  std::puts("$Revision: 64713 $\n");
}

CommandLine exitWith(int status) {
  return {CommandLine::Action::Exit, status, true};
}

CommandLine failWithUsage() {
  std::puts(kUsage);
  return exitWith(1);
}

}  // namespace

CommandLine parseCommandLine(int argc, char** argv, _global_data_t& global) {
  CommandLine result;
  bool unknownWord = false;
  errno = 0;  // what opening the store left behind says nothing about these words
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (const ValueOption* option = findValueOption(word)) {
      if (i + 1 == argc) {
        std::printf("Missing field for: %s \n", argv[i]);
        return failWithUsage();
      }
      const char* value = argv[++i];
      if (*value == '\0' || !option->read(value, global)) {
        std::printf("Bad field: %s \n", value);
        return failWithUsage();
      }
    } else if (word == "-d") {
      result.daemonMode = false;
    } else if (word == "-v") {
      printVersion(argv[0]);
      return exitWith(0);
    } else {
      std::printf("Unknown parameter: %s \n", argv[i]);
      unknownWord = true;
    }
  }
  return unknownWord ? failWithUsage() : result;
}
