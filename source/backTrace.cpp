#include "backTrace.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <syslog.h>

#include <array>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::array<int, 8> kFatalSignals = {SIGQUIT, SIGILL, SIGTRAP, SIGABRT,
                                              SIGBUS,  SIGFPE, SIGSEGV, SIGSTKFLT};
constexpr int kMaxFrames = 512;
constexpr std::size_t kMaxLine = 384;

using Text = std::unique_ptr<char, decltype(&std::free)>;

// The mangled name in "binary(name+0x12) [0x...]", or the whole line where there is none.
std::string symbolOf(const char* line) {
  std::string text(line, strnlen(line, kMaxLine));
  const std::size_t open = text.find('(');
  if (open == std::string::npos) {
    return text;
  }
  const std::size_t end = text.find_first_of("+)", open + 1);
  return end == std::string::npos ? text : text.substr(open + 1, end - open - 1);
}

}  // namespace

void (*UTIL_onFatalSignal)(int sig) = nullptr;

void UTIL_installBacktraceHandlers() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int sig : kFatalSignals) {
    sigaddset(&signals, sig);
  }
  int retVal = sigprocmask(SIG_BLOCK, &signals, nullptr);
  assert(-1 != retVal && "block the fatal signals");

  struct sigaction action = {};
  action.sa_sigaction = UTIL_backtraceSignalHandler;
  action.sa_flags = SA_SIGINFO;
  action.sa_mask = signals;  // a second fault waits until the dump is written
  for (const int sig : kFatalSignals) {
    retVal = sigaction(sig, &action, nullptr);
    assert(-1 != retVal && "install the crash handler");
  }

  retVal = sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  assert(-1 != retVal && "unblock the fatal signals");
}

void UTIL_backtraceSignalHandler(int sig, siginfo_t* /*info*/, void* /*context*/) {
  if (UTIL_onFatalSignal != nullptr) {
    UTIL_onFatalSignal(sig);
  }
  UTIL_printBacktrace(strsignal(sig));
  std::exit(sig);
}

void UTIL_printBacktrace(const std::string& reason) {
  std::array<void*, kMaxFrames> addresses = {};
  const int count = backtrace(addresses.data(), kMaxFrames);
  const std::unique_ptr<char*, decltype(&std::free)> lines(
      backtrace_symbols(addresses.data(), count), std::free);

  std::fprintf(stderr, "\n###### BACK TRACE START (%s) ######\n", reason.c_str());
  syslog(LOG_CRIT, "###### BACK TRACE START (%s) ######", reason.c_str());
  for (int i = 0; lines && i < count; ++i) {
    UTIL_printDecodedBacktrace(static_cast<unsigned>(i), lines.get()[i]);
  }
  std::fprintf(stderr, "###### BACK TRACE END (%s) ######\n", reason.c_str());
  syslog(LOG_CRIT, "###### BACK TRACE END (%s) ######", reason.c_str());
  std::fflush(stderr);
}

void UTIL_printDecodedBacktrace(unsigned index, const char* line) {
  const long number = index;
  if (std::strstr(line, " [0x") == nullptr) {
    std::fprintf(stderr, "[%ld] %s \n", number, line);
    syslog(LOG_CRIT, "[%ld] %s ", number, line);
    return;
  }
  int status = 0;
  const Text name(abi::__cxa_demangle(symbolOf(line).c_str(), nullptr, nullptr, &status),
                  std::free);
  if (status != 0 || !name) {
    std::fprintf(stderr, "[%ld] %s", number, line);
    syslog(LOG_CRIT, "[%ld] %s", number, line);
  } else if (name.get()[0] != '?') {
    std::fprintf(stderr, "[%ld] %s \n", number, name.get());
    syslog(LOG_CRIT, "[%ld] %s %s", number, name.get(), line);
  }
}
