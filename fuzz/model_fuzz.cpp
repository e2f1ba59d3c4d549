// Fuzzes the reader of model files, and what the store makes of a model.
#include <algorithm>

#include "model_file.h"
#include "support.h"
#include "toolkit/cds.h"

namespace {

using toolkit::admin::Model;
using toolkit::admin::ModelLeaf;
using toolkit::admin::Right;

constexpr std::size_t kMaxImported = 200;  // leaves, nodes and rights of a model

// The store's order is another one than the file's.
Model sorted(Model model) {
  std::sort(model.rights.begin(), model.rights.end(), [](const Right& a, const Right& b) {
    return std::tie(a.path, a.user) < std::tie(b.path, b.user);
  });
  std::sort(model.leaves.begin(), model.leaves.end(), [](const ModelLeaf& a, const ModelLeaf& b) {
    return std::tie(a.node, a.name) < std::tie(b.node, b.name);
  });
  std::sort(model.nodes.begin(), model.nodes.end());
  return model;
}

// The letters of a right have an order in the store.
std::string inOrder(const std::string& allow) {
  std::string ordered;
  for (const char right : {'r', 'w', 'd', 'x'}) {
    ordered.append(allow.find(right) == std::string::npos ? 0 : 1, right);
  }
  return ordered;
}

void requireSame(const Model& a, const Model& b) {
  require(a.rights == b.rights && a.nodes == b.nodes && a.leaves == b.leaves);
}

// What is wrong is named, or its line or number is told. Of lists in lists there is nothing to
// name.
void checkError(const std::string& error) {
  require(error.find('"') != std::string::npos || error.find(" at line ") != std::string::npos ||
          error.starts_with("right ") || error == "nested too deeply");
}

void checkText(const Model& model) {
  Model again;
  require(model_file::parse(model_file::format(model), again).empty());
  requireSame(sorted(again), sorted(model));
}

Model exported() {
  Model model;
  require(toolkit::admin::exportModel("/", model).empty());
  return sorted(model);
}

// Everything is in the store afterwards, or what was there before.
void checkImport(Model model) {
  static Model before = exported();
  if (!toolkit::admin::importModel(model, true).empty()) {
    requireSame(exported(), before);
    return;
  }
  before = exported();
  for (Right& right : model.rights) {
    right.allow = inOrder(right.allow);
  }
  model = sorted(std::move(model));
  require(before.rights == model.rights && before.leaves == model.leaves);
  for (const std::string& node : model.nodes) {
    require(node == "/" || std::binary_search(before.nodes.begin(), before.nodes.end(), node));
  }
}

// The client keeps the store open from one input to the next.
class Service {
 public:
  Service() {
    scratch_.useForStore();
    require(toolkit::admin::importModel({{}, {"/Kept"}, {}}, true).empty());
    require(cds_.init() == 0);
  }

 private:
  Scratch scratch_;
  toolkit::CCds cds_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Service service;
  const std::string text(data, data + size);
  Model model;
  const std::string error = model_file::parse(text, model);
  if (!error.empty()) {
    checkError(error);
    require(model.rights.empty() && model.nodes.empty() && model.leaves.empty());
    return 0;
  }
  checkText(model);
  if (model.rights.size() + model.nodes.size() + model.leaves.size() <= kMaxImported) {
    checkImport(std::move(model));
  }
  return 0;
}
