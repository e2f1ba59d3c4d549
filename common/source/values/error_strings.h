// Error strings: what a reply holds in place of a value that could not be had.
//
// The numbers and texts are those of BACnet Web Services (ANSI/ASHRAE 135, Annex N), with the
// service's own from 25 on. They are fixed English and never translated.
#pragma once

#include <cstdint>
#include <string>

#include "values/service_options.h"

namespace toolkit::ws {

enum WS_Errors {
  WS_UNSPECIFIED = 0,
  WS_NOT_AUTHENTICATED = 1,
  WS_NOT_AUTHORIZED = 2,
  WS_OPTIONS_SYNTAX = 3,
  WS_OPTION_NOT_SUPPORTED = 4,
  WS_OPTION_VALUE_FORMAT = 5,
  WS_OPTION_OUT_OF_RANGE = 6,
  WS_LOCALE_NOT_SUPPORTED = 7,
  WS_PATH_SYNTAX = 8,
  WS_NODE_NOT_FOUND = 9,
  WS_ATTRIBUTE_NOT_FOUND = 10,
  WS_ILLEGAL_ATTRIBUTE = 11,
  WS_VALUE_FORMAT = 12,
  WS_VALUE_OUT_OF_RANGE = 13,
  WS_INDEX_OUT_OF_RANGE = 14,
  WS_NOT_WRITABLE = 15,
  WS_WRITE_FAILED = 16,
  WS_NO_PATHS = 17,
  WS_COUNT_IS_ZERO = 18,
  WS_INTERVAL_IS_ZERO = 19,
  WS_EVENT_NOT_SENT = 20,
  WS_NO_HISTORY = 21,
  WS_NO_DATA = 22,
  WS_EMPTY_ARRAY = 23,
  WS_NOT_AN_ARRAY = 24,
  WS_DEVICE_COMM_FAILED = 25,
  WS_READBACK_FAILED = 26,
  WS_SUBSCRIPTION_FAILED = 27,
  WS_NO_SUCH_SUBSCRIPTION = 28,
  WS_COMMAND_NOT_SUPPORTED = 29,
  WS_WRONG_VERSION = 30,
  WS_DEVICE_BUSY = 31,
  WS_HANDLE_INVALID = 32,
  WS_ARGUMENT_INVALID = 33,
  WS_RESULT_TOO_BIG = 34,
};

}  // namespace toolkit::ws

// Number, blank and text of every error, by number.
extern const char BACnetWsErrors[35][36];

// Builds the error string for `code` into `out`: "? 9 Node Not Found : <text>", without " : " when
// `text` is null or empty. A code outside the list counts as 0. The client's options change it: an
// errorString stands in its place, an errorPrefix in front. The result is logged.
void BnwsErrMsg(toolkit::ws::WS_Errors code, const char* text, std::string& out,
                const _service_options_t* opts);
void BnwsErrMsg(toolkit::ws::WS_Errors code, const char* text, std::string& out);

// How many error strings this process has built.
std::uint64_t errorStringsBuilt();

// What a client is told that does not get what it wants, and how the log hears of it.
struct Refusal {
  enum class Line {
    kInfo,    // level 1
    kNotice,  // level 1
    kDetail,  // information, level 6
  };

  toolkit::ws::WS_Errors code;
  const char* text;  // or null
  std::string& out;
  const _service_options_t* opts;
  Line line = Line::kInfo;
  std::string detail = {};  // a further line, at level 2; empty for none
};

// Logs the line, which may say more than the client is told, and builds the error string. False.
bool refuse(const Refusal& refusal, const char* format, ...) __attribute__((format(printf, 2, 3)));
