// CPath: an address in the data store, and the caller's rights at it.
//
//   path      = "/" | node [ ":" attribute ]
//   node      = { "/" component }        no empty component, none of dots alone, no control bytes,
//                                        no trailing "/"
//   attribute = leaf [ sub ] | sub       leaf: a leaf's name     sub: "." and letters
//
//   written                       node             leaf         sub-attribute
//   /Dev1/VoltageA                /Dev1/VoltageA   Value
//   /Dev1/VoltageA:Units          /Dev1/VoltageA   Units
//   /Dev1/VoltageA/Units          /Dev1/VoltageA   Units
//   /Dev1/VoltageA:.Time          /Dev1/VoltageA   Value        .Time
//   /Dev1/VoltageA:Units.Source   /Dev1/VoltageA   Units        .Source
//   /Dev1/Breaker:PossibleValues[1]                PossibleValues, element 1 (from 0) of its list
//
// The platform's leaf names (see pcd_attr_str_to_enum) and "Value" are reserved: no node bears one,
// so a path that ends in one is a leaf path. Leaves of other names are reached with ":"; such a
// name has no "/", ":", "[" or "]" in it and does not begin with "!". A leaf path is at most 511
// bytes long.
//
// A plain value type. Nothing here throws. Rights are read from the store of this process; the
// caller is the environment's REMOTE_USER, and no or an empty REMOTE_USER is an anonymous caller.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace toolkit {

class CCds;

class CPath {
 public:
  static constexpr std::size_t kMaxLength = 511;
  // Node, ":", leaf, sub-attribute: whatever is longer is outside the grammar.
  static constexpr std::size_t kMaxText = 2 * kMaxLength;

  CPath() = default;
  // Implicit: a literal path is a path. Takes the text as it is; normalize() checks it.
  CPath(std::string text) : text_(std::move(text)) {}
  CPath(const char* text) : text_(text) {}

  // Parses the text. 0, or non-zero for text outside the grammar; the accessors below are then
  // empty. Calling it again is harmless.
  int normalize();
  bool is_normalized() const { return normalized_; }

  // The text as it was given.
  const std::string& str() const { return text_; }

  // After normalize():
  const std::string& getNodePath() const { return node_; }
  const std::string& getLeafName() const { return leaf_; }
  std::string getLeafPath() const;  // node, "/", leaf

  // The leaf's name however it was written, or the sub-attribute when only that was given; empty
  // for a plain value.
  const std::string& getPathAttribute() const;
  // ".Time", ".Source" and the like; empty when there is none.
  const std::string& getSubAttribute() const { return sub_; }

  // True when the path names one element of a list ("[1]"). setArrayElement(false) forgets a flag
  // of an earlier use; normalize() sets it from the text.
  bool isArrayElement() const { return index_.has_value(); }
  void clearArrayElement() { index_.reset(); }
  std::optional<std::size_t> arrayIndex() const { return index_; }

  // Another leaf of the same node.
  CPath getNewPath(const std::string& leafName) const;
  std::string getNewPathStr(const std::string& leafName) const;

  // Takes the last component off the leaf path and returns it: first the leaf's name, then the
  // node's components from the end. Empty when nothing is left.
  std::string LopLastSubpath();

  // The caller's rights. The longest path that is this node or stands above it and has a row for
  // the caller or for "*" decides; at the same path the caller's own row beats "*". No row, no
  // right. False too when the path is bad or the store cannot be read.
  bool is_read_authorized() const;
  bool is_write_authorized() const;
  // To remove the node with all below it: no path there may keep the caller from it.
  bool is_remove_authorized() const;
  bool is_reset_authorized() const;
  // The right to read of another user, who is anonymous when empty.
  bool is_read_authorized(const std::string& user) const;

  // Node paths of the children, in the store's order. 0, or non-zero when the node is missing or
  // the store failed; `out` is then empty.
  int getChildPaths(CCds& cds, std::vector<std::string>& out) const;
  // Names in one of the node's list leaves ("Children", "Attributes"). Failure as above.
  int getAttributeList(const std::string& leafName, CCds& cds, std::vector<std::string>& out) const;

  // One component that no other path shares: "/Bay/Dev1/VoltageA" gives "Bay.Dev1.VoltageA"; ":"
  // becomes "!", a "." or "!" inside a component is doubled, and the "/" before a component that
  // begins with "." becomes "!.". Empty for a path outside the grammar and for "/".
  static void PathToNodeName(std::string_view path, std::string& name);
  // The inverse. Empty for an empty name.
  static void DottedPathToNodePath(std::string_view dotted, std::string& nodePath);

 private:
  bool parse();

  std::string text_;
  std::string node_;
  std::string leaf_;
  std::string sub_;
  std::optional<std::size_t> index_;
  bool normalized_ = false;
};

}  // namespace toolkit
