#include "model_file.h"

#include <cerrno>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

#include "json_text.h"
#include "model_json.h"
#include "toolkit/path.h"

namespace model_file {

namespace {

using json_text::Fields;
using json_text::inQuotes;
using nlohmann::json;
using toolkit::CPath;
using toolkit::admin::Model;
using toolkit::admin::ModelLeaf;
using toolkit::admin::Right;

std::string checkNodePath(const std::string& text) {
  CPath path(text);
  if (path.normalize() != 0) {
    return "not a path of the data store";
  }
  if (path.getNodePath() != text) {
    return "names a leaf and not a node";
  }
  return {};
}

std::string checkRight(const Right& right) {
  if (std::string error = checkNodePath(right.path); !error.empty()) {
    return inQuotes(right.path) + ": " + error;
  }
  if (right.user.empty()) {
    return inQuotes(right.path) + ": the user is empty";
  }
  const std::size_t odd = right.allow.find_first_not_of("rwdx");
  if (odd != std::string::npos) {
    return inQuotes(right.path) + ", user " + inQuotes(right.user) + ": " +
           inQuotes(right.allow.substr(odd, 1)) + " is none of the rights r, w, d, x";
  }
  return {};
}

std::string readRight(const json& row, Right& right) {
  Fields fields(row);
  fields.required("path", right.path);
  fields.required("user", right.user);
  fields.required("allow", right.allow);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  return checkRight(right);
}

std::string readRights(const json& rows, Model& model) {
  if (!rows.is_array()) {
    return "\"rights\" must be a list";
  }
  std::set<std::pair<std::string, std::string>> seen;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string where = "right " + std::to_string(i + 1) + ": ";
    Right right;
    if (std::string error = readRight(rows[i], right); !error.empty()) {
      return where + error;
    }
    if (!seen.emplace(right.path, right.user).second) {
      return where + inQuotes(right.path) + ", user " + inQuotes(right.user) + " is given twice";
    }
    model.rights.push_back(std::move(right));
  }
  return {};
}

std::string checkLeafName(const std::string& node, const std::string& name) {
  if (name == "Children" || name == "Attributes") {
    return "is made by the store itself";
  }
  CPath path(node + ":" + name);
  if (path.normalize() != 0) {
    return "not a leaf's name, or too long a path";
  }
  if (path.getLeafName() != name || !path.getSubAttribute().empty() || path.isArrayElement()) {
    return "not a leaf's name";
  }
  return {};
}

std::string readLongForm(const json& object, data_type_t shared, ModelLeaf& leaf) {
  const json missing;
  const json* value = &missing;
  std::optional<std::string> typeWord;
  std::optional<std::string> source;
  std::optional<timeval> time;
  Fields fields(object);
  fields.required("value", value);
  fields.optional("type", typeWord);
  fields.optional("time", time);
  fields.optional("source", source);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  const auto type = typeWord ? typeOfWord(*typeWord) : defaultType(*value, shared);
  if (!type && typeWord) {
    return inQuotes(*typeWord) + " is no type";
  }
  if (!type) {
    return "the value must be a boolean, a number or a text";
  }
  if (std::string error = toElement(*value, *type, leaf.element); !error.empty()) {
    return error;
  }
  if (time) {
    leaf.element.set_time(*time);
  }
  if (!source || toSource(*source, leaf.source)) {
    return {};
  }
  return inQuotes(*source) + " is no source";
}

std::string readLeaf(const json& value, data_type_t shared, ModelLeaf& leaf) {
  if (std::string error = checkLeafName(leaf.node, leaf.name); !error.empty()) {
    return error;
  }
  if (value.is_object()) {
    return readLongForm(value, shared, leaf);
  }
  const std::optional<data_type_t> type = defaultType(value, shared);
  if (!type) {
    return "must be a boolean, a number, a text or an object with a \"value\"";
  }
  return toElement(value, *type, leaf.element);
}

// Type of the node's Value by its ValueType, short or long; DATA_NONE when it says none.
std::string readValueType(const json& leaves, data_type_t& type) {
  const auto found = leaves.find("ValueType");
  if (found == leaves.end()) {
    return {};
  }
  const json& value = found->is_object() ? found->value("value", json()) : *found;
  if (!value.is_string()) {
    return "\"ValueType\" must be a text";
  }
  const auto known = leaf_types::ofValueType(value.get<std::string>());
  if (!known) {
    return "\"ValueType\": " + inQuotes(value.get<std::string>()) + " is no type";
  }
  type = *known;
  return {};
}

std::string readNode(const std::string& path, const json& leaves, Model& model) {
  if (std::string error = checkNodePath(path); !error.empty()) {
    return error;
  }
  if (!leaves.is_object()) {
    return "must be an object of leaves";
  }
  data_type_t valueType = DATA_NONE;
  if (std::string error = readValueType(leaves, valueType); !error.empty()) {
    return error;
  }
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
  if (!nodes.is_object()) {
    return "\"nodes\" must be an object";
  }
  for (const auto& [path, leaves] : nodes.items()) {
    if (std::string error = readNode(path, leaves, model); !error.empty()) {
      return "node " + inQuotes(path) + ": " + error;
    }
  }
  return {};
}

std::string readModel(const json& document, Model& model) {
  if (!document.is_object()) {
    return "a model is an object with \"rights\" and \"nodes\"";
  }
  const json* rights = nullptr;
  const json* nodes = nullptr;
  Fields fields(document);
  fields.optional("rights", rights);
  fields.optional("nodes", nodes);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  if (rights != nullptr) {
    if (std::string error = readRights(*rights, model); !error.empty()) {
      return error;
    }
  }
  return nodes == nullptr ? std::string() : readNodes(*nodes, model);
}

}  // namespace

std::string parse(std::string_view text, Model& model) {
  model = {};
  json document;
  std::string error = json_text::parse(text, document);
  if (error.empty()) {
    error = readModel(document, model);
  }
  if (!error.empty()) {
    model = {};
  }
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
