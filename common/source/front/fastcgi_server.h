// The FastCGI server: from the web server's requests to the envelope server and back, one at a
// time.
#pragma once

#include "stdsoap2.h"

// Serves until a termination signal arrives (0), the socket cannot be had (-1), or accepting fails
// (the engine's error). The context's user pointer is the _global_data_t.
extern "C" int soap_serve(struct soap* ctx);
