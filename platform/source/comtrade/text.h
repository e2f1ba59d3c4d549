// The texts of a record.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "comtrade/file_part.h"

namespace toolkit::comtrade {

// The mark that some systems put at the end of a text; what follows is padding.
inline constexpr char kEndMark = '\x1A';

// All of a part, up to an end mark, as UTF-8 without a byte order mark.
Failure readText(const FilePart& part, std::string& text);

// Without the blanks at both ends, among which NUL bytes count: some recorders pad with them.
std::string_view trim(std::string_view text);

bool equalsIgnoringCase(std::string_view a, std::string_view b);

// Takes the next line off `text`. Lines end with CR LF, LF or CR.
std::string_view takeLine(std::string_view& text);

// Takes what stands before the next `separator` off `text`, trimmed.
std::string_view takeField(std::string_view& text, char separator = ',');

// A finite number, with nothing before or after it; "+" is allowed.
std::optional<double> numberOf(std::string_view text);

}  // namespace toolkit::comtrade
