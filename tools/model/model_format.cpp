#include <map>
#include <unordered_map>
#include <unordered_set>

#include "json_text.h"
#include "model_file.h"
#include "model_json.h"

namespace model_file {

namespace {

using json_text::dump;
using nlohmann::json;
using toolkit::admin::Model;
using toolkit::admin::ModelLeaf;
using toolkit::admin::Right;

using Leaves = std::vector<const ModelLeaf*>;

void appendLine(std::string& list, std::size_t indent, const std::string& line) {
  list += list.empty() ? "\n" : ",\n";
  list += std::string(indent, ' ') + line;
}

bool hasTime(const ModelLeaf& leaf) {
  return leaf.element.time().tv_sec != 0 || leaf.element.time().tv_usec != 0;
}

std::string formatLeaf(const ModelLeaf& leaf, data_type_t shared) {
  const json value = fromElement(leaf.element);
  const bool typeIsPlain = defaultType(value, shared) == leaf.element.type();
  if (typeIsPlain && !hasTime(leaf) && leaf.source == ELEMENT_NORMAL) {
    return dump(value);
  }
  std::string text = "{\"value\": " + dump(value);
  if (!typeIsPlain) {
    const char* word = pcd_enum_to_str(leaf.element.type());
    text += ", \"type\": " + dump(word != nullptr ? word : "None");
  }
  if (hasTime(leaf)) {
    text += ", \"time\": " + dump(fromTimeval(leaf.element.time()));
  }
  if (leaf.source != ELEMENT_NORMAL) {
    text += ", \"source\": " + dump(sourceWord(leaf.source));
  }
  return text + "}";
}

data_type_t valueTypeOf(const Leaves& leaves) {
  for (const ModelLeaf* leaf : leaves) {
    if (leaf->name != "ValueType") {
      continue;
    }
    return leaf_types::ofValueType(leaf->element.to_string()).value_or(DATA_NONE);
  }
  return DATA_NONE;
}

std::string formatNode(const std::string& path, const Leaves& leaves) {
  const data_type_t valueType = valueTypeOf(leaves);
  std::string text;
  for (const ModelLeaf* leaf : leaves) {
    const data_type_t shared = leaf_types::followsValue(leaf->name) ? valueType : DATA_NONE;
    appendLine(text, 6, dump(leaf->name) + ": " + formatLeaf(*leaf, shared));
  }
  return dump(path) + ": {" + (text.empty() ? "}" : text + "\n    }");
}

std::string formatRight(const Right& right) {
  return "{\"path\": " + dump(right.path) + ", \"user\": " + dump(right.user) +
         ", \"allow\": " + dump(right.allow) + "}";
}

// The nodes in the model's order, each with its leaves; nodes that only leaves name come last.
std::vector<std::string> nodesInOrder(const Model& model) {
  std::vector<std::string> order = model.nodes;
  std::unordered_set<std::string> seen(order.begin(), order.end());
  for (const ModelLeaf& leaf : model.leaves) {
    if (seen.insert(leaf.node).second) {
      order.push_back(leaf.node);
    }
  }
  return order;
}

}  // namespace

std::string format(const Model& model) {
  std::unordered_map<std::string, Leaves> leavesOf;
  for (const ModelLeaf& leaf : model.leaves) {
    leavesOf[leaf.node].push_back(&leaf);
  }

  std::string rights;
  for (const Right& right : model.rights) {
    appendLine(rights, 4, formatRight(right));
  }
  std::string nodes;
  for (const std::string& node : nodesInOrder(model)) {
    appendLine(nodes, 4, formatNode(node, leavesOf[node]));
  }
  return "{\n  \"rights\": [" + rights + "\n  ],\n  \"nodes\": {" + nodes + "\n  }\n}\n";
}

}  // namespace model_file
