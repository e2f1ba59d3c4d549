#include "model_file.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <system_error>

#include "model_json.h"
#include "toolkit/path.h"

namespace model_file {

namespace {

using nlohmann::json;
using toolkit::CPath;
using toolkit::admin::Model;
using toolkit::admin::ModelLeaf;
using toolkit::admin::Right;

// Deeper than any model: bounds what a hostile file makes the reader keep.
constexpr std::size_t kMaxDepth = 8;

std::string inQuotes(const std::string& text) {
  return "\"" + text + "\"";
}

// "[json.exception.parse_error.101] parse error at line 3, column 5: ..." without the bracket.
std::string withoutPrefix(const std::string& message) {
  const std::size_t end = message.find("] ");
  return end == std::string::npos ? message : message.substr(end + 2);
}

// Looks through a text for what the reader accepts and a model must not have: a name given twice,
// of which only the last would count, and bottomless nesting. A pass of its own: the reader's
// callback costs the square of an object's members.
class ShapeGuard : public json::json_sax_t {
 public:
  bool null() override { return true; }
  bool boolean(bool /*value*/) override { return true; }
  bool number_integer(number_integer_t /*value*/) override { return true; }
  bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return true; }
  bool string(string_t& /*value*/) override { return true; }
  bool binary(binary_t& /*value*/) override { return true; }
  bool start_object(std::size_t /*elements*/) override { return open(); }
  bool start_array(std::size_t /*elements*/) override { return open(); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t& key) override {
    Level& level = levels_.back();
    if (!level.names.insert(key).second) problem_ = where() + inQuotes(key) + " is given twice";
    level.current = key;
    return problem_.empty();
  }

  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    problem_ = withoutPrefix(error.what());
    return false;
  }

  const std::string& problem() const { return problem_; }

 private:
  struct Level {
    std::set<std::string> names;
    std::string current;
  };

  bool open() {
    if (levels_.size() == kMaxDepth) problem_ = where() + "nested too deeply";
    levels_.emplace_back();
    return problem_.empty();
  }

  bool close() {
    levels_.pop_back();
    return true;
  }

  // The names that lead to the innermost object, without its own.
  std::string where() const {
    std::string text;
    for (std::size_t i = 0; i + 1 < levels_.size(); ++i) {
      if (!levels_[i].current.empty()) text += inQuotes(levels_[i].current) + ": ";
    }
    return text;
  }

  std::vector<Level> levels_;
  std::string problem_;
};

std::string readDocument(std::string_view text, json& document) {
  ShapeGuard guard;
  if (!json::sax_parse(text, &guard)) return guard.problem();
  document = json::parse(text);
  return {};
}

// Checks an object's names against those that have a meaning.
std::string unknownKey(const json& object, std::initializer_list<const char*> known) {
  for (const auto& [key, value] : object.items()) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      return "unknown name " + inQuotes(key);
    }
  }
  return {};
}

std::string checkNodePath(const std::string& text) {
  CPath path(text);
  if (path.normalize() != 0) return "not a path of the data store";
  if (path.getNodePath() != text) return "names a leaf and not a node";
  return {};
}

std::string readText(const json& object, const char* key, std::string& out) {
  const auto found = object.find(key);
  if (found == object.end()) return inQuotes(key) + " is missing";
  if (!found->is_string()) return inQuotes(key) + " must be a text";
  out = found->get<std::string>();
  return {};
}

std::string checkRight(const Right& right) {
  if (std::string error = checkNodePath(right.path); !error.empty()) {
    return inQuotes(right.path) + ": " + error;
  }
  if (right.user.empty()) return inQuotes(right.path) + ": the user is empty";
  const std::size_t odd = right.allow.find_first_not_of("rwdx");
  if (odd != std::string::npos) {
    return inQuotes(right.path) + ", user " + inQuotes(right.user) + ": " +
           inQuotes(right.allow.substr(odd, 1)) + " is none of the rights r, w, d, x";
  }
  return {};
}

std::string readRight(const json& row, Right& right) {
  if (!row.is_object()) return "must be an object";
  if (std::string error = unknownKey(row, {"path", "user", "allow"}); !error.empty()) return error;
  if (std::string error = readText(row, "path", right.path); !error.empty()) return error;
  if (std::string error = readText(row, "user", right.user); !error.empty()) return error;
  if (std::string error = readText(row, "allow", right.allow); !error.empty()) return error;
  return checkRight(right);
}

std::string readRights(const json& rows, Model& model) {
  if (!rows.is_array()) return "\"rights\" must be a list";
  std::set<std::pair<std::string, std::string>> seen;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string where = "right " + std::to_string(i + 1) + ": ";
    Right right;
    if (std::string error = readRight(rows[i], right); !error.empty()) return where + error;
    if (!seen.emplace(right.path, right.user).second) {
      return where + inQuotes(right.path) + ", user " + inQuotes(right.user) + " is given twice";
    }
    model.rights.push_back(std::move(right));
  }
  return {};
}

std::string checkLeafName(const std::string& node, const std::string& name) {
  if (name == "Children" || name == "Attributes") return "is made by the store itself";
  CPath path(node + ":" + name);
  if (path.normalize() != 0) return "not a leaf's name, or too long a path";
  if (path.getLeafName() != name || !path.getSubAttribute().empty() || path.isArrayElement()) {
    return "not a leaf's name";
  }
  return {};
}

std::string readLongForm(const json& object, data_type_t shared, ModelLeaf& leaf) {
  if (std::string error = unknownKey(object, {"value", "type", "time", "source"}); !error.empty()) {
    return error;
  }
  const auto value = object.find("value");
  if (value == object.end()) return "\"value\" is missing";
  std::optional<data_type_t> type = defaultType(*value, shared);
  if (object.contains("type")) {
    std::string word;
    if (std::string error = readText(object, "type", word); !error.empty()) return error;
    type = typeOfWord(word);
    if (!type) return inQuotes(word) + " is no type";
  }
  if (!type) return "the value must be a boolean, a number or a text";
  if (std::string error = toElement(*value, *type, leaf.element); !error.empty()) return error;
  if (const auto time = object.find("time"); time != object.end()) {
    timeval stamp{};
    if (!toTimeval(*time, stamp)) return "the time must be seconds since 1970";
    leaf.element.set_time(stamp);
  }
  if (!object.contains("source")) return {};
  std::string word;
  if (std::string error = readText(object, "source", word); !error.empty()) return error;
  return toSource(word, leaf.source) ? std::string() : inQuotes(word) + " is no source";
}

std::string readLeaf(const json& value, data_type_t shared, ModelLeaf& leaf) {
  if (std::string error = checkLeafName(leaf.node, leaf.name); !error.empty()) return error;
  if (value.is_object()) return readLongForm(value, shared, leaf);
  const std::optional<data_type_t> type = defaultType(value, shared);
  if (!type) return "must be a boolean, a number, a text or an object with a \"value\"";
  return toElement(value, *type, leaf.element);
}

// Type of the node's Value by its ValueType, short or long; DATA_NONE when it says none.
std::string readValueType(const json& leaves, data_type_t& type) {
  const auto found = leaves.find("ValueType");
  if (found == leaves.end()) return {};
  const json& value = found->is_object() ? found->value("value", json()) : *found;
  if (!value.is_string()) return "\"ValueType\" must be a text";
  const auto known = leaf_types::ofValueType(value.get<std::string>());
  if (!known) return "\"ValueType\": " + inQuotes(value.get<std::string>()) + " is no type";
  type = *known;
  return {};
}

std::string readNode(const std::string& path, const json& leaves, Model& model) {
  if (std::string error = checkNodePath(path); !error.empty()) return error;
  if (!leaves.is_object()) return "must be an object of leaves";
  data_type_t valueType = DATA_NONE;
  if (std::string error = readValueType(leaves, valueType); !error.empty()) return error;
  model.nodes.push_back(path);
  for (const auto& [name, value] : leaves.items()) {
    ModelLeaf leaf;
    leaf.node = path;
    leaf.name = name;
    const data_type_t shared = leaf_types::followsValue(name) ? valueType : DATA_NONE;
    if (std::string error = readLeaf(value, shared, leaf); !error.empty()) {
      return inQuotes(name) + ": " + error;
    }
    model.leaves.push_back(std::move(leaf));
  }
  return {};
}

std::string readNodes(const json& nodes, Model& model) {
  if (!nodes.is_object()) return "\"nodes\" must be an object";
  for (const auto& [path, leaves] : nodes.items()) {
    if (std::string error = readNode(path, leaves, model); !error.empty()) {
      return "node " + inQuotes(path) + ": " + error;
    }
  }
  return {};
}

std::string readModel(const json& document, Model& model) {
  if (!document.is_object()) return "a model is an object with \"rights\" and \"nodes\"";
  if (std::string error = unknownKey(document, {"rights", "nodes"}); !error.empty()) return error;
  if (const auto rights = document.find("rights"); rights != document.end()) {
    if (std::string error = readRights(*rights, model); !error.empty()) return error;
  }
  const auto nodes = document.find("nodes");
  return nodes == document.end() ? std::string() : readNodes(*nodes, model);
}

}  // namespace

std::string parse(std::string_view text, Model& model) {
  model = {};
  json document;
  std::string error = readDocument(text, document);
  if (error.empty()) error = readModel(document, model);
  if (!error.empty()) model = {};
  return error;
}

std::string load(const std::string& file, Model& model) {
  model = {};
  std::ifstream in(file, std::ios::binary);
  in.peek();  // a directory opens, and fails here
  if (!in.is_open() || in.bad()) {
    return file + ": cannot be read: " + std::generic_category().message(errno);
  }
  std::ostringstream text;
  text << in.rdbuf();
  const std::string error = parse(text.str(), model);
  return error.empty() ? error : file + ": " + error;
}

}  // namespace model_file
