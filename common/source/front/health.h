// Whether the device is well, as `devctl status` says it: every program in the table of watchdogs
// has pinged in its time.
#pragma once

#include <string>

// A reply of HTTP status 200, or 503 when somebody is overdue or the store cannot be read. It does
// not say who.
std::string healthReply();
