// Building the live half from the persistent one.
#pragma once

#include "store/transaction.h"

namespace toolkit::store {

// Whether the live half has been built.
bool isComplete(Transaction& live);

// Replaces what the live half holds of the device by what the persistent half holds, and marks it
// as complete. The table of watchdogs stays: it tells of running programs. Returns the code of a
// failure to read the persistent half; failures of `live` are with `live`.
int copyToLive(Environment& persistent, WriteTransaction& live);

}  // namespace toolkit::store
