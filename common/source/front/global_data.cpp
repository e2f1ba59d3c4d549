#include "front/global_data.h"

#include "front/workers.h"

toolkit::CSysLog* __psyslog = nullptr;
volatile int __signal_exit = 0;

_global_data_t::_global_data_t() : localesMap(10) {
  localesMap.max_load_factor(1.0F);
}

_global_data_t::~_global_data_t() = default;
