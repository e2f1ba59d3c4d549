#include "toolkit/printable.h"

#include <boost/locale/utf.hpp>
#include <cstdio>

namespace toolkit {

namespace {

namespace utf = boost::locale::utf;

constexpr std::string_view kReplacement = "?";

bool isControl(utf::code_point point) {
  return point < 0x20 || (point >= 0x7F && point < 0xA0) || point == 0x2028 || point == 0x2029;
}

std::string escaped(utf::code_point point) {
  char text[16];
  std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(point));
  return text;
}

}  // namespace

std::string printable(std::string_view text, ControlAs how) {
  std::string result;
  result.reserve(text.size());
  for (auto at = text.begin(); at != text.end();) {
    const auto begin = at;
    const utf::code_point point = utf::utf_traits<char>::decode(at, text.end());
    if (point == utf::illegal || point == utf::incomplete) {
      result += kReplacement;
      at = begin + 1;
    } else if (!isControl(point)) {
      result.append(begin, at);
    } else if (how == ControlAs::JsonEscape) {
      result += escaped(point);
    } else {
      result += kReplacement;
    }
  }
  return result;
}

}  // namespace toolkit
