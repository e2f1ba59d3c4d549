#include "cds/node_name.h"

#include <algorithm>

namespace toolkit {

namespace {

std::size_t runLength(std::string_view text, char c) {
  return std::min(text.find_first_not_of(c), text.size());
}

// Takes a run of `c` off the text: half of it belongs to names. True when a separator is left over.
bool takeRun(std::string_view& text, char c, std::string& path) {
  const std::size_t length = runLength(text, c);
  path.append(length / 2, c);
  text.remove_prefix(length);
  return length % 2 != 0;
}

// Takes a run of "." or "!", and the separator that it stands for.
void takeSeparator(std::string_view& text, char c, std::string& path) {
  if (!takeRun(text, c, path)) {
    return;
  }
  const bool beforeDot = c == '!' && runLength(text, '.') % 2 != 0;
  path += c == '.' || beforeDot ? '/' : ':';
  text.remove_prefix(beforeDot ? 1 : 0);
}

}  // namespace

std::string nodeNameOf(std::string_view path) {
  std::string name;
  path.remove_prefix(1);
  while (!path.empty()) {
    const char c = path.front();
    path.remove_prefix(1);
    if (c == '/') {
      name += path.starts_with('.') ? "!." : ".";
    } else if (c == ':') {
      name += '!';
    } else {
      name.append(c == '.' || c == '!' ? 2 : 1, c);
    }
  }
  return name;
}

std::string pathOf(std::string_view nodeName) {
  std::string path = "/";
  while (!nodeName.empty()) {
    const char c = nodeName.front();
    if (c == '.' || c == '!') {
      takeSeparator(nodeName, c, path);
    } else {
      path += c;
      nodeName.remove_prefix(1);
    }
  }
  return path;
}

}  // namespace toolkit
