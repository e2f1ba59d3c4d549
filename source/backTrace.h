// Crash handler: a fatal signal writes the failing thread's call stack, with demangled names, to
// standard error and to the system log (priority critical), then exits with the signal's number.
//
// It allocates and formats inside the handler, which is not async-signal-safe: the process is lost
// anyway, and the stack is worth the risk.
#pragma once

#include <csignal>
#include <string>

// Called first by the handler, with the signal; null: nothing. It may do what a signal handler may.
extern void (*UTIL_onFatalSignal)(int sig);

// Installs the handler for SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV and
// SIGSTKFLT. A handler that was there before is replaced. A step that fails is a failed assertion.
void UTIL_installBacktraceHandlers();

void UTIL_backtraceSignalHandler(int sig, siginfo_t* info, void* context);

// Writes the caller's stack between two banner lines that name the reason.
void UTIL_printBacktrace(const std::string& reason);

// Writes one frame; `line` is in the form of backtrace_symbols(3).
void UTIL_printDecodedBacktrace(unsigned index, const char* line);
