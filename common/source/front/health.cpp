#include "front/health.h"

#include <algorithm>
#include <vector>

#include "toolkit/admin.h"

std::string healthReply() {
  std::vector<toolkit::admin::Watchdog> rows;
  const bool isWell =
      toolkit::admin::watchdogs(rows).empty() &&
      std::none_of(rows.begin(), rows.end(), [](const auto& row) { return row.overdue(); });
  const std::string status = isWell ? "200 OK" : "503 Service Unavailable";
  return "Status: " + status + "\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n\r\n" +
         (isWell ? "well\n" : "not well\n");
}
