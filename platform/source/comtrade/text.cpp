#include "comtrade/text.h"

#include <strings.h>

#include <algorithm>
#include <boost/locale/encoding.hpp>
#include <boost/locale/utf.hpp>
#include <charconv>
#include <cmath>

#include "comtrade/chinese.h"

namespace toolkit::comtrade {

namespace {

bool isUtf8(const std::string& text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  for (auto at = text.begin(); at != text.end();) {
    const boost::locale::utf::code_point point = Utf8::decode(at, text.end());
    if (point == boost::locale::utf::illegal || point == boost::locale::utf::incomplete) {
      return false;
    }
  }
  return true;
}

// Where Windows-1251 has Cyrillic letters Latin-1 has those with accents: the former come in words,
// the latter singly among ASCII.
bool looksCyrillic(const std::string& text) {
  constexpr unsigned char kFirstLetter = 0xC0;
  std::size_t pairs = 0;
  std::size_t letters = 0;
  bool before = false;
  for (const char c : text) {
    const bool isLetter = static_cast<unsigned char>(c) >= kFirstLetter;
    letters += isLetter ? 1 : 0;
    pairs += isLetter && before ? 1 : 0;
    before = isLetter;
  }
  return 2 * pairs > letters;
}

std::string toUtf8(std::string text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) {
    text.erase(0, kByteOrderMark.size());
  }
  if (isUtf8(text)) {
    return text;
  }
  if (std::optional<std::string> chinese = fromChinese(text)) {
    return std::move(*chinese);
  }
  // Windows-1252 is Latin-1 with characters for the codes that Latin-1 leaves to controls.
  const char* encoding = looksCyrillic(text) ? "windows-1251" : "windows-1252";
  return boost::locale::conv::to_utf<char>(text, encoding);
}

}  // namespace

Failure readText(const FilePart& part, std::string& text) {
  if (part.size() > CComtradeView::kMaxText) {
    return {WAVE_TOO_LARGE, part.path() + ": a text of " + std::to_string(part.size()) +
                                " bytes, more than the " + std::to_string(CComtradeView::kMaxText) +
                                " allowed"};
  }
  std::string bytes(part.size(), '\0');
  if (Failure failure = part.read(0, bytes.data(), bytes.size())) {
    return failure;
  }
  bytes.resize(std::min(bytes.find(kEndMark), bytes.size()));
  text = toUtf8(std::move(bytes));
  return {};
}

std::string_view trim(std::string_view text) {
  constexpr std::string_view kBlanks(" \t\r\n\0", 5);
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end);
  text.remove_prefix(text.starts_with("\r\n") ? 2 : std::min<std::size_t>(1, text.size()));
  return line;
}

std::string_view takeField(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view field = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return trim(field);
}

std::optional<double> numberOf(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1);
  }
  double number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  const bool good = result.ec == std::errc() && result.ptr == end && std::isfinite(number);
  return good ? std::optional(number) : std::nullopt;
}

}  // namespace toolkit::comtrade
