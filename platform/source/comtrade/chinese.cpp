#include "comtrade/chinese.h"

#include <algorithm>
#include <boost/locale/encoding.hpp>

namespace toolkit::comtrade {

namespace {

constexpr std::size_t kPair = 2;

bool isBetween(char c, unsigned char first, unsigned char last) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= first && byte <= last;
}

bool isAscii(char c) {
  return isBetween(c, 0, 0x7F);
}

// Letters of Windows-1251, of Russian, Ukrainian and Belarusian.
bool isUpper(char c) {
  constexpr std::string_view kOthers = "\xA1\xA5\xA8\xAA\xAF\xB2";
  return isBetween(c, 0xC0, 0xDF) || kOthers.find(c) != std::string_view::npos;
}

bool isLower(char c) {
  constexpr std::string_view kOthers = "\xA2\xB3\xB4\xB8\xBA\xBF";
  return isBetween(c, 0xE0, 0xFF) || kOthers.find(c) != std::string_view::npos;
}

// Letters, and no capital after a small one but for the second of a unit's: "kVA". A number sign
// may stand at the end.
bool isCyrillicWord(std::string_view word) {
  constexpr char kNumberSign = '\xB9';
  if (word.ends_with(kNumberSign)) {
    word.remove_suffix(1);
  }
  for (std::size_t i = 0; i < word.size(); ++i) {
    const bool isMidCapital = i > 1 && isUpper(word[i]) && isLower(word[i - 1]);
    if (isMidCapital || (!isUpper(word[i]) && !isLower(word[i]))) {
      return false;
    }
  }
  return true;
}

// What speaks for and against GB2312.
struct Evidence {
  bool isInSet = true;
  std::size_t common = 0;  // characters of level 1
  std::size_t rare = 0;    // of level 2
  std::size_t foreignWords = 0;
  std::size_t cyrillicWords = 0;

  void take(std::string_view word) {
    if (word.size() % kPair != 0) {
      isInSet = false;
    }
    for (std::size_t i = 0; i + 1 < word.size(); i += kPair) {
      common += isBetween(word[i], 0xB0, 0xD7) ? 1 : 0;
      rare += isBetween(word[i], 0xD8, 0xF7) ? 1 : 0;
      const bool isSymbol = isBetween(word[i], 0xA1, 0xA9);
      isInSet = isInSet && (isSymbol || isBetween(word[i], 0xB0, 0xF7)) &&
                isBetween(word[i + 1], 0xA1, 0xFE);
    }
    if (word.size() > kPair) {
      (isCyrillicWord(word) ? cyrillicWords : foreignWords) += 1;
    }
  }

  bool isChinese() const {
    return isInSet && common >= 2 * rare && common > 0 && foreignWords > cyrillicWords;
  }
};

}  // namespace

std::optional<std::string> fromChinese(std::string_view text) {
  Evidence evidence;
  for (auto at = text.begin(); at != text.end() && evidence.isInSet;) {
    const auto first = std::find_if_not(at, text.end(), isAscii);
    at = std::find_if(first, text.end(), isAscii);
    evidence.take({first, at});
  }
  if (!evidence.isChinese()) {
    return std::nullopt;
  }
  try {
    return boost::locale::conv::to_utf<char>(text.data(), text.data() + text.size(), "GB2312",
                                             boost::locale::conv::stop);
  } catch (const boost::locale::conv::conversion_error&) {
    return std::nullopt;  // a pair without a character
  } catch (const boost::locale::conv::invalid_charset_error&) {
    return std::nullopt;  // a system without this set
  }
}

}  // namespace toolkit::comtrade
