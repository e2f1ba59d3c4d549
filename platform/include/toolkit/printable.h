// Texts of others for logs and terminals.
#pragma once

#include <string>
#include <string_view>

namespace toolkit {

enum class ControlAs { QuestionMark, JsonEscape };  // "?", or as in "\u009b"

// The text with each of its control characters, also those from U+0080 on and the separators of
// lines, written otherwise, so that they neither act on a terminal nor begin a line. A byte that is
// not UTF-8 may be a control byte, too, and becomes "?".
std::string printable(std::string_view text, ControlAs how = ControlAs::QuestionMark);

}  // namespace toolkit
