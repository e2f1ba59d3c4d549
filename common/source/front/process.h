// The service as a process: signals and the way into the background.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/cds.h"

// False with -d: the process stays in the foreground and out of the watchdog's sight.
extern bool daemonMode;

// The name of this process in the watchdog's table, and of its trees in the store: "dravixd", and
// "dravixd-2" for worker 2.
std::string nameOfWorker(const std::string& name);

// Enters the service into the watchdog's table; `status` tells how that went.
void registerWithWatchdog(toolkit::CCds& cds, api_status_t& status);

// Says a state ("WATCHDOG=1") to the supervisor at $NOTIFY_SOCKET, as sd_notify(3) does; without
// one nothing. What it does not take is lost.
void notifySupervisor(std::string_view state);

// Lets a program take this one's place, without what the service has set for itself: held back
// signals, a timer. Returns -1 with errno when it cannot.
int becomeProgram(const char* path, char* const arguments[]);

// SIGHUP, SIGINT, SIGQUIT and SIGTERM set __signal_exit; the request loop then ends.
void register_handlers();
// The default actions again.
void deregister_handlers();

// Becomes a daemon by a double fork. Returns 0 in the daemon, whose working directory is "/" and
// whose standard streams are /dev/null; the first process exits with 0 and never returns. Returns
// -1 when there is no daemon. A listening socket as descriptor 0 stays there.
int daemon_process();

// Makes sure that descriptors 0, 1 and 2 are open, so that no file or socket opened later lands on
// one of them.
void reserveStandardDescriptors();
