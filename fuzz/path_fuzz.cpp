// Fuzzes the grammar of paths, and paths as single components.
#include <algorithm>
#include <array>
#include <string_view>

#include "support.h"
#include "toolkit/path.h"

namespace {

using toolkit::CPath;

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool isName(const std::string& text) {
  return text.find_first_not_of('.') != std::string::npos &&
         std::none_of(text.begin(), text.end(), isControl);
}

std::string joined(const std::string& node, const std::string& name) {
  return node == "/" ? "/" + name : node + "/" + name;
}

bool isReserved(const std::string& name) {
  CPath path("/" + name);
  return path.normalize() == 0 && path.getNodePath() == "/";
}

void checkNothing(const CPath& path) {
  require(path.getNodePath().empty() && path.getLeafName().empty() && path.getLeafPath().empty());
  require(path.getPathAttribute().empty() && path.getSubAttribute().empty());
  require(!path.isArrayElement() && !path.is_read_authorized());
}

void checkLeaf(const CPath& path) {
  const std::string& leaf = path.getLeafName();
  const std::string& sub = path.getSubAttribute();
  require(isName(leaf) && leaf.front() != '!');
  require(leaf.find_first_of("/:[]") == std::string::npos);
  require(sub.empty() || (sub.size() > 1 && sub.front() == '.'));
  require(path.getPathAttribute() == (leaf == "Value" ? sub : leaf));
  require(path.isArrayElement() == path.arrayIndex().has_value());
  require(!path.isArrayElement() || sub.empty());
  require(path.getLeafPath() == joined(path.getNodePath(), leaf));
  require(path.getLeafPath().size() <= CPath::kMaxLength);
}

// The same leaf, however it is written.
void checkOtherSpellings(const CPath& path) {
  CPath node(path.getNodePath());
  require(node.normalize() != 0
              ? path.getLeafPath().size() + 6 > CPath::kMaxLength
              : node.getNodePath() == path.getNodePath() && node.getPathAttribute().empty());
  const CPath again = path.getNewPath(path.getLeafName());
  require(again.is_normalized() && again.getLeafPath() == path.getLeafPath());
  require(again.getNodePath() == path.getNodePath() && !again.isArrayElement());
}

void checkComponents(CPath path) {
  const std::string whole = path.getLeafPath();
  require(path.LopLastSubpath() == whole.substr(whole.rfind('/') + 1));
  std::string rest;
  if (path.getNodePath() != "/") {
    for (std::string last = path.LopLastSubpath(); !last.empty(); last = path.LopLastSubpath()) {
      require(isName(last) && last.find_first_of("/:") == std::string::npos && !isReserved(last));
      rest.insert(0, "/" + last);
    }
    require(whole.starts_with(rest + "/"));
  }
}

void checkNodeName(const std::string& text) {
  std::string name;
  std::string back;
  CPath::PathToNodeName(text, name);
  CPath::DottedPathToNodePath(name, back);
  require(back == (text == "/" ? "" : text));
  if (text != "/" && !isReserved(name)) {
    CPath node("/" + name);
    require(node.normalize() == 0 ? node.getNodePath() == "/" + name
                                  : name.size() + 7 > CPath::kMaxLength);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Scratch scratch;
  static const bool ready = (scratch.useForStore(), true);
  require(ready);
  const std::string text(data, data + size);
  CPath path(text);
  const bool good = path.normalize() == 0;
  require(path.str() == text && path.is_normalized() == good);
  std::string back;
  CPath::DottedPathToNodePath(text, back);
  require(text.empty() ? back.empty() : back.starts_with('/'));
  if (!good) {
    checkNothing(path);
    CPath::PathToNodeName(text, back);
    require(back.empty());
    return 0;
  }
  require(text.size() <= CPath::kMaxText);
  checkLeaf(path);
  checkOtherSpellings(path);
  checkComponents(path);
  checkNodeName(text);
  require(path.normalize() == 0 && path.getLeafPath().starts_with(path.getNodePath()));
  return 0;
}
