// An event as a row of the table "event".
#pragma once

#include <SQLiteCpp/Statement.h>

#include "toolkit/event.h"

namespace toolkit::logs {

// In the order in which eventOf() reads and bindEvent() binds them.
inline constexpr const char* kEventColumns =
    "time, type, path, event_id, sequence, severity, priority, quality, ack, variation, condition, "
    "auto_closing, flag, raised, value_type, value, value_time, message, note, source";
inline constexpr const char* kInsertEvent =
    "INSERT INTO event (time, type, path, event_id, sequence, severity, priority, quality, ack, "
    "variation, condition, auto_closing, flag, raised, value_type, value, value_time, message, "
    "note, source) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";

CEvent eventOf(SQLite::Statement& row);
void bindEvent(SQLite::Statement& statement, const CEvent& event);

}  // namespace toolkit::logs
