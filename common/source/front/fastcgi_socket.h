// The socket at which the web server reaches the service.
#pragma once

#include <string>

constexpr const char* kSocketPath = "/tmp/dravixd.socket";
constexpr int kListenDescriptor = 0;

// True when the process was started with a listening stream socket as descriptor 0: a supervisor's,
// which lives on when the process ends.
bool hasSupervisorsSocket();

// True when a process accepts connections at the socket file.
bool isSocketServed(const std::string& path);

// Leaves a supervisor's socket as it is. Else listens at `path` on descriptor 0, open to the owner
// and the group (0660). A socket file that nobody answers at is replaced, any other file is left
// alone. 0, or -1: the log says why.
int tk_fcgi_bind(const std::string& path, int backlog);
