// Telling texts in GB2312 from those in Windows-1251 and Latin-1.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace toolkit::comtrade {

// The text as UTF-8 when it is in GB2312 beyond doubt: all of its bytes beyond ASCII form pairs of
// that set, at least two in three of the characters are common ones (level 1), and of the words of
// two characters and more most are none that Cyrillic letters make. Nothing for any other text,
// among them short ones that can be either.
std::optional<std::string> fromChinese(std::string_view text);

}  // namespace toolkit::comtrade
