// CWatchdog: a program's entry in the table of watchdogs, as long as the object lives.
#pragma once

#include <cstdint>
#include <string>

#include "toolkit/cds.h"

namespace toolkit {

class CWatchdog {
 public:
  static constexpr int kPingSeconds = 5;
  static constexpr int kOverdueSeconds = 30;

  // `cds` must outlive this object.
  CWatchdog(CCds& cds, const std::string& name);
  ~CWatchdog();
  CWatchdog(const CWatchdog&) = delete;
  CWatchdog& operator=(const CWatchdog&) = delete;

  // Cheap enough for every turn of a program's loop. An entry that is gone is made again.
  void pingWhenDue();

 private:
  CCds& cds_;
  std::string name_;
  std::int32_t lastPing_;
};

}  // namespace toolkit
