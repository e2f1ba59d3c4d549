// Why a record cannot be used.
#pragma once

#include <string>
#include <utility>

#include "toolkit/comtrade.h"

namespace toolkit::comtrade {

struct [[nodiscard]] Failure {
  Failure() = default;
  Failure(wave_result_t why, std::string sentence) : result(why), text(std::move(sentence)) {}

  explicit operator bool() const { return result != WAVE_OK; }

  wave_result_t result = WAVE_OK;
  std::string text;
};

}  // namespace toolkit::comtrade
