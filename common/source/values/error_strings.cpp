#include "values/error_strings.h"

#include <syslog.h>

#include <cstdarg>
#include <iterator>

#include "front/global_data.h"

using toolkit::ws::WS_Errors;

const char BACnetWsErrors[35][36] = {
    "0 Unspecified Error",
    "1 Not Authenticated",
    "2 Not Authorized",
    "3 Bad Options Syntax",
    "4 Option Not Supported",
    "5 Bad Option Value Format",
    "6 Option Out of Range",
    "7 Locale Not Supported",
    "8 Bad Path Syntax",
    "9 Node Not Found",
    "10 Attribute Not Found",
    "11 Illegal Attribute",
    "12 Bad Value Format",
    "13 Value Out of Range",
    "14 Index Out of Range",
    "15 Not Writable",
    "16 Write Failed",
    "17 No Paths Provided",
    "18 Requested Count is Zero",
    "19 Requested Interval is Zero",
    "20 Write Failed",
    "21 No History",
    "22 No Data Available",
    "23 Empty Array",
    "24 Not an Array",
    "25 Comm with Remote Device Failed",
    "26 The Readback Failed",
    "27 Could not set up subscription",
    "28 No match for SubscriberId",
    "29 Command Not Supported",
    "30 Wrong Version",
    "31 Device Busy or Not Available",
    "32 Handle Invalid or Expired",
    "33 Argument Invalid/Not Supported",
    "34 Result Too Big to Return",
};

namespace {

std::uint64_t built = 0;

const char* rowOf(WS_Errors code) {
  const auto index = static_cast<unsigned>(code);
  return BACnetWsErrors[index < std::size(BACnetWsErrors) ? index : 0];
}

std::string standardText(const char* row, const char* text) {
  std::string result = std::string("? ") + row;
  if (text != nullptr && *text != '\0') {
    result.append(" : ").append(text);
  }
  return result;
}

}  // namespace

void BnwsErrMsg(WS_Errors code, const char* text, std::string& out,
                const _service_options_t* opts) {
  const char* row = rowOf(code);
  ++built;
  out.clear();
  if (opts != nullptr && opts->errorString.empty()) {
    __psyslog->info(1, "BnwsErrMsg: %s %s (but empty string returned)", row,
                    text == nullptr ? "" : text);
    return;
  }
  if (opts == nullptr) {
    out = standardText(row, text);
  } else if (!opts->errorStringGiven()) {
    out = opts->errorPrefix + standardText(row, text);
  } else {
    out = (opts->errorPrefix == "? " ? "" : opts->errorPrefix) + opts->errorString;
  }
  __psyslog->info(code == toolkit::ws::WS_NODE_NOT_FOUND ? 6 : 1, "BnwsErrMsg: %s", out.c_str());
}

void BnwsErrMsg(WS_Errors code, const char* text, std::string& out) {
  BnwsErrMsg(code, text, out, nullptr);
}

std::uint64_t errorStringsBuilt() {
  return built;
}

bool refuse(const Refusal& refusal, const char* format, ...) {
  const int level = refusal.line == Refusal::Line::kDetail ? 6 : 1;
  va_list arguments;
  va_start(arguments, format);
  __psyslog->line(refusal.line == Refusal::Line::kNotice ? LOG_NOTICE : LOG_INFO, level, format,
                  arguments);
  va_end(arguments);
  if (!refusal.detail.empty()) {
    __psyslog->info(2, "%s", refusal.detail.c_str());
  }
  BnwsErrMsg(refusal.code, refusal.text, refusal.out, refusal.opts);
  return false;
}
