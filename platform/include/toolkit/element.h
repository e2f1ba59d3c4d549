// CElement: one typed value with the time at which it was measured or written.
//
// A plain value type: copies are independent, nothing is shared, no call fails. Conversions between
// types are total; a text that is not a number reads as 0 and numbers outside the target's range
// saturate. Check a client's text before converting it.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <locale>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "toolkit/types.h"

namespace toolkit {

class CElement {
 public:
  // The time stamp of an element that has none.
  static constexpr timeval _invalid_time{0, 0};

  CElement() = default;  // DATA_NONE
  // Where memory is refused the standard library's variant ends a copy in undefined behaviour, an
  // assignment not.
  CElement(const CElement& other) : type_(other.type_), time_(other.time_) {
    value_ = other.value_;
  }
  CElement(CElement&& other) noexcept = default;
  CElement& operator=(const CElement& other) { return *this = CElement(other); }
  CElement& operator=(CElement&& other) noexcept = default;
  ~CElement() = default;
  explicit CElement(bool value);
  explicit CElement(std::int32_t value, data_type_t type = DATA_INTEGER);  // or DATA_ENUMERATED
  explicit CElement(std::int64_t value);
  explicit CElement(double value);
  explicit CElement(timeval value);
  explicit CElement(std::string text);
  explicit CElement(const char* text) : CElement(std::string(text)) {}

  data_type_t type() const { return type_; }
  timeval time() const { return time_; }
  void set_time(timeval time) { time_ = time; }

  // Text of the value. A Real has 6 significant digits, or `precision` of them (1 to 17, anything
  // else is taken to the nearer end); a timeval is seconds, ".", six digits of microseconds; a
  // Boolean is "true" or "false"; DATA_NONE is empty. Never depends on a locale.
  std::string to_string() const;
  std::string to_string(int precision) const;

  // A text is true when it is "true" in any letter case, or a number other than 0.
  bool to_bool() const;
  std::int32_t to_int() const;
  std::uint32_t to_uint() const;
  std::int64_t to_int64() const;
  double to_double() const;
  timeval to_timeval() const;

  // The text looked up in the message catalogue `domain` of `locale` (a locale of Boost.Locale),
  // under `context` when that is not null. Text without a translation comes back as it is.
  std::string to_translated_string(const std::locale& locale, const char* context,
                                   const char* domain) const;

  // Brings the value to `type` and keeps the time stamp. DATA_SAME_AS_VALUE changes nothing.
  void convert_type(data_type_t type);

  // Splits at every separator: n separators give n+1 pieces, and an empty text one empty piece.
  // Replaces what `out` held.
  static void split_string(std::vector<std::string>& out, std::string_view text, char separator);

  // Same type, value and time stamp.
  friend bool operator==(const CElement& a, const CElement& b);

 private:
  using Value =
      std::variant<std::monostate, bool, std::int32_t, std::int64_t, double, timeval, std::string>;

  data_type_t type_ = DATA_NONE;
  timeval time_ = _invalid_time;
  Value value_;
};

}  // namespace toolkit
