#include "cds/node_path.h"

#include <algorithm>

#include "cds/attributes.h"
#include "toolkit/path.h"

namespace toolkit {

namespace {

constexpr std::size_t kMaxNodePath = CPath::kMaxLength - std::string_view("/Value").size();

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool isComponent(std::string_view text) {
  return isName(text) && text != "Value" && attributeNumber(text) == 0;
}

}  // namespace

// A name of nothing but dots is taken by file systems, or soon mistaken for one that is.
bool isName(std::string_view text) {
  return text.find_first_not_of('.') != std::string_view::npos &&
         std::none_of(text.begin(), text.end(), isControl);
}

bool isNodePath(std::string_view text) {
  if (text == "/") {
    return true;
  }
  while (text.starts_with('/')) {
    text.remove_prefix(1);
    const std::size_t end = std::min(text.find('/'), text.size());
    if (!isComponent(text.substr(0, end))) {
      return false;
    }
    text.remove_prefix(end);
    if (text.empty()) {
      return true;
    }
  }
  return false;
}

std::optional<std::string> asNodePath(const std::string& text) {
  const bool good = text.size() <= kMaxNodePath && text.find(':') == std::string::npos;
  return good && isNodePath(text) ? std::optional(text) : std::nullopt;
}

}  // namespace toolkit
