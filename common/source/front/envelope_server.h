// The envelope server: from a caller and the bytes of a request to the bytes of its reply. One
// request at a time; whatever fails in one is answered with a fault.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "front/caller.h"
#include "front/exchange.h"
#include "stdsoap2.h"

// Makes the context, which createEngine() has made, receive from and send to the exchange being
// served.
void installHooks(struct soap* ctx);

// Records the caller, reads the request and sends the reply. While that lasts, the caller is in
// globalData(ctx) and in the environment.
void serveExchange(struct soap* ctx, const Caller& caller, Exchange& exchange, bool firstRequest);

// The same in memory: the reply to `request`, with the header lines that the engine writes.
std::string serveBytes(struct soap* ctx, const Caller& caller, std::string_view request);

// The context's receive and send hooks. The receive hook ends the input where the guard refuses it.
size_t myrecv(struct soap* ctx, char* buf, size_t len);
int mysend(struct soap* ctx, const char* buf, size_t len);

// Serves the request that is in pReq. Returns 0.
int soap_process(struct soap* ctx, bool firstRequest);
