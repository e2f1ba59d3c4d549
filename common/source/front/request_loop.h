// The request loop: from the web server's FastCGI socket to the SOAP engine and back, one request
// at a time.
#pragma once

#include <cstddef>
#include <string>

#include "front/global_data.h"

constexpr const char* kSocketPath = "/tmp/dravixd.socket";

// Serves until a termination signal arrives (0), the socket cannot be had (-1), or accepting fails
// (the engine's error). The context's user pointer is the _global_data_t.
extern "C" int soap_serve(struct soap* ctx);

// True when a process accepts connections at the socket file.
bool isSocketServed(const std::string& path);

// Listens at `path` on descriptor 0, open to the owner and the group (0660). A socket file that
// nobody answers at is replaced, any other file is left alone. 0, or -1: the log says why.
int tk_fcgi_bind(const std::string& path, int backlog);

// The context's receive and send hooks. The receive hook ends the input where the guard refuses it.
size_t myrecv(struct soap* ctx, char* buf, size_t len);
int mysend(struct soap* ctx, const char* buf, size_t len);

// Serves the request that is in pReq. Whatever fails is answered with a fault. Returns 0.
int soap_process(struct soap* ctx, bool firstRequest);

// Records the client and sets the locale of the request: the one that its Accept-Language asks for
// on its first request, en_US.UTF-8 on later ones.
void AddUpdateConnectionMap(global_data_t* glptr, const char* remoteAddr, const char* remoteUser,
                            bool https, const char* acceptLanguage);

// What is due between requests, every 5 to 6 seconds: a watchdog ping (not with -d), and every 600
// s the sweep of the connection table. A row of the watchdog's that is gone is made again. A failed
// ping closes the store: requests are then answered with error strings, and the watchdog sees the
// silence.
void timer_task(global_data_t* glptr);
