// How calls on the log databases end.
#pragma once

namespace toolkit {

// The numbers are logged: they never change.
enum log_result_t {
  LOG_OK = 0,
  LOG_FAILED = 1,   // the system refused: rights, input/output
  LOG_BUSY = 2,     // another process holds the file; a later call may succeed
  LOG_MISSING = 3,  // no such file
  LOG_DAMAGED = 4,  // not a database, or one that is cut or overwritten
  LOG_FOREIGN = 5,  // a database, but not such a log, or one of another schema version
  LOG_FULL = 6,     // the disk is full
  LOG_CLOSED = 7,   // not open, or not open for writing
};

}  // namespace toolkit
