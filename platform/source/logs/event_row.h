// An event as a row of the table "event".
#pragma once

#include <SQLiteCpp/Statement.h>

#include <string>

#include "toolkit/event.h"

namespace toolkit::logs {

inline constexpr std::int32_t kEventVersion = 2;

// What to select from a file of this version, in the order in which eventOf() reads it.
std::string eventColumns(std::int32_t version);
// In the order in which bindEvent() binds.
std::string insertEvent();

CEvent eventOf(SQLite::Statement& row);
void bindEvent(SQLite::Statement& statement, const CEvent& event);

}  // namespace toolkit::logs
