#include "toolkit/path.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

#include "cds/attributes.h"
#include "cds/node_name.h"
#include "cds/node_path.h"
#include "store/layout.h"
#include "store/rights.h"
#include "store/store.h"
#include "store/tree.h"
#include "toolkit/cds.h"

namespace toolkit {

namespace {

constexpr std::string_view kValue = "Value";
constexpr std::size_t kMaxIndexDigits = 9;

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Names that the platform does not know. A "!" in front is kept out for node names that are made
// from paths.
bool isForeignLeaf(std::string_view text) {
  return isName(text) && text.front() != '!' &&
         text.find_first_of("/:[]") == std::string_view::npos;
}

bool isSubShape(std::string_view text) {
  return text.size() > 1 && std::all_of(text.begin() + 1, text.end(), isLetter);
}

// Takes "[n]" off the end. False for brackets that hold no index.
bool takeIndex(std::string_view& text, std::optional<std::size_t>& index) {
  if (!text.ends_with(']')) {
    return true;
  }
  const std::size_t open = text.find('[');
  if (open == std::string_view::npos || open == 0) {
    return false;
  }
  const std::string_view digits = text.substr(open + 1, text.size() - open - 2);
  std::size_t number = 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (digits.empty() || digits.size() > kMaxIndexDigits ||
      parsed.ptr != digits.data() + digits.size()) {
    return false;
  }
  index = number;
  text = text.substr(0, open);
  return true;
}

struct Attribute {
  std::string_view leaf;
  std::string_view sub;
};

// What stands after ":". An empty leaf for text outside the grammar.
Attribute splitAttribute(std::string_view text) {
  if (isReservedLeaf(text)) {
    return {text, {}};
  }
  const std::size_t dot = text.rfind('.');
  const std::string_view head = text.substr(0, dot);
  if (dot != std::string_view::npos && (head.empty() || isReservedLeaf(head))) {
    const std::string_view sub = text.substr(dot);
    return isSubShape(sub) ? Attribute{head.empty() ? kValue : head, sub} : Attribute{};
  }
  return isForeignLeaf(text) ? Attribute{text, {}} : Attribute{};
}

std::string_view caller() {
  const char* user = std::getenv("REMOTE_USER");
  return user == nullptr ? "" : user;
}

bool isAllowed(const CPath& path, store::Right right, std::string_view user = caller()) {
  return !path.getNodePath().empty() && store::isAllowed(path.getNodePath(), user, right);
}

}  // namespace

int CPath::normalize() {
  normalized_ = parse();
  if (!normalized_) {
    node_.clear();
    leaf_.clear();
    sub_.clear();
    index_.reset();
  }
  return normalized_ ? 0 : 1;
}

bool CPath::parse() {
  std::string_view node = text_;
  Attribute attribute = {kValue, {}};
  index_.reset();
  if (text_.size() > kMaxText) {
    return false;
  }
  if (const std::size_t colon = node.find(':'); colon != std::string_view::npos) {
    std::string_view text = node.substr(colon + 1);
    if (!takeIndex(text, index_)) {
      return false;
    }
    attribute = splitAttribute(text);
    node = node.substr(0, colon);
    if (index_ && !attribute.sub.empty()) {
      return false;
    }
  } else if (const std::string_view last = store::nameOf(node);
             node.starts_with('/') && isReservedLeaf(last)) {
    if (node.starts_with("//")) {
      return false;
    }
    attribute = {last, {}};
    node = store::parentOf(node);
  }
  if (attribute.leaf.empty() || !isNodePath(node)) {
    return false;
  }
  node_ = node;
  leaf_ = attribute.leaf;
  sub_ = attribute.sub;
  return store::keyPath(node_).size() + 1 + leaf_.size() <= kMaxLength;
}

std::string CPath::getLeafPath() const {
  if (leaf_.empty()) {
    return node_;
  }
  return store::join(node_, leaf_);
}

const std::string& CPath::getPathAttribute() const {
  return leaf_ == kValue ? sub_ : leaf_;
}

CPath CPath::getNewPath(const std::string& leafName) const {
  CPath path(getNewPathStr(leafName));
  path.normalize();
  return path;
}

std::string CPath::getNewPathStr(const std::string& leafName) const {
  return node_ + ":" + leafName;
}

std::string CPath::LopLastSubpath() {
  if (!leaf_.empty()) {
    return std::exchange(leaf_, {});
  }
  const std::size_t slash = node_.rfind('/');
  if (slash == std::string::npos) {
    return {};
  }
  std::string last = node_.substr(slash + 1);
  node_.erase(slash);
  return last;
}

bool CPath::is_read_authorized() const {
  return isAllowed(*this, store::kRead);
}

bool CPath::is_read_authorized(const std::string& user) const {
  return isAllowed(*this, store::kRead, user);
}

bool CPath::is_write_authorized() const {
  return isAllowed(*this, store::kWrite);
}

bool CPath::is_remove_authorized() const {
  // A path without an attribute names the node with all that is below.
  return leaf_ == kValue ? !node_.empty() && store::isAllowedBelow(node_, caller(), store::kRemove)
                         : isAllowed(*this, store::kRemove);
}

bool CPath::is_reset_authorized() const {
  return isAllowed(*this, store::kReset);
}

int CPath::getChildPaths(CCds& cds, std::vector<std::string>& out) const {
  out.clear();
  if (!normalized_ || cds.handle() == nullptr) {
    return 1;
  }
  store::ReadTransaction transaction(cds.handle()->live());
  if (!store::nodeExists(transaction, node_)) {
    return 1;
  }
  const store::Key prefix = store::childPrefix(node_);
  store::Range children(transaction, store::Table::kNode, prefix);
  while (children.next()) {
    out.push_back(store::join(node_, children.suffix()));
  }
  if (transaction.status() != 0) {
    out.clear();
  }
  return transaction.status();
}

int CPath::getAttributeList(const std::string& leafName, CCds& cds,
                            std::vector<std::string>& out) const {
  out.clear();
  const auto names = cds.find_leaf(getNewPath(leafName));
  if (!names) {
    return 1;
  }
  if (const std::string text = names->to_string(); !text.empty()) {
    CElement::split_string(out, text, ';');
  }
  return 0;
}

void CPath::PathToNodeName(std::string_view path, std::string& name) {
  CPath checked{std::string(path)};
  name = path == "/" || checked.normalize() != 0 ? "" : nodeNameOf(path);
}

void CPath::DottedPathToNodePath(std::string_view dotted, std::string& nodePath) {
  nodePath = dotted.empty() ? "" : pathOf(dotted);
}

}  // namespace toolkit
