// The clients: the table of connections, and the locale that each is answered in.
#pragma once

#include "front/global_data.h"

// Records the client and sets the locale of the request: the one that its Accept-Language asks for
// on its first request, en_US.UTF-8 on later ones.
void AddUpdateConnectionMap(_global_data_t* glptr, const char* remoteAddr, const char* remoteUser,
                            bool https, const char* acceptLanguage);

// The same for the caller of the request being served. Long texts are cut.
void recordCaller(_global_data_t& global);
