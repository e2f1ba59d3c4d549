#include <sys/time.h>

#include <iostream>
#include <memory>
#include <optional>

#include "commands.h"
#include "leaf_text.h"
#include "leaf_types.h"
#include "model_file.h"
#include "toolkit/admin.h"
#include "toolkit/multistate.h"
#include "toolkit/printable.h"
#include "toolkit/time.h"

namespace {

using toolkit::CCds;
using toolkit::CElement;
using toolkit::CPath;
namespace admin = toolkit::admin;

constexpr const char* kSource = "devctl";

const char* reason(api_status_t status) {
  switch (status) {
    case API_NOT_FOUND:
      return "not found";
    case API_READ_ONLY:
      return "the store is read-only";
    case API_BAD_PATH:
      return "not a path that this works on";
    case API_NOT_AUTHORIZED:
      return "cannot be removed";
    case API_STORE_FULL:
      return "the store is full";
    case API_NONE:
    case API_SUCCESS:
    case API_FAILED:
      break;
  }
  return "the store failed";
}

[[noreturn]] void fail(const std::string& path, const std::string& why) {
  throw Failure(path + ": " + why);
}

void check(const std::string& path, const CCds& store, int result, api_status_t status) {
  if (result == 0 && status == API_SUCCESS) {
    return;
  }
  fail(path,
       status == API_FAILED && !store.last_error().empty() ? store.last_error() : reason(status));
}

void check(const std::string& error) {
  if (!error.empty()) {
    throw Failure(error);
  }
}

void open(CCds& store) {
  if (store.init() != 0) {
    throw Failure(store.last_error());
  }
}

CPath parsePath(const std::string& text) {
  CPath path(text);
  if (path.normalize() != 0) {
    fail(text, "not a path of the data store");
  }
  return path;
}

timeval now() {
  timeval time{};
  const std::int64_t wireTime = qel_UTCtime64();
  qel_QELtoUNIXtime64(wireTime, &time);
  return time;
}

// What a model does not date was written now.
void importFile(const std::string& file, bool replace) {
  admin::Model model;
  check(model_file::load(file, model));
  const timeval stamp = now();
  for (auto& leaf : model.leaves) {
    const timeval time = leaf.element.time();
    if (time.tv_sec == 0 && time.tv_usec == 0) {
      leaf.element.set_time(stamp);
    }
  }
  if (const std::string error = admin::importModel(model, replace); !error.empty()) {
    fail(file, error);
  }
  std::cout << file << ": " << model.nodes.size() << " nodes, " << model.leaves.size()
            << " leaves, " << model.rights.size() << " rights\n";
}

void exportNode(const std::string& path) {
  admin::Model model;
  check(admin::exportModel(path, model));
  std::cout << model_file::format(model);
}

void get(const std::vector<std::string>& texts) {
  CCds store;
  open(store);
  for (const std::string& text : texts) {
    const CPath path = parsePath(text);
    api_status_t status = API_NONE;
    CElement element;
    element_property_t source = ELEMENT_NORMAL;
    const int result = store.get_leaf(path, status, element, source);
    check(text, store, result, status);
    std::cout << leaf_text::line(path, element, source) << '\n';
  }
}

// A leaf keeps its type; a new one follows the node's ValueType where it should, and is else a
// text.
data_type_t typeFor(CCds& store, const CPath& path) {
  if (const auto present = store.find_leaf(path); present && present->type() != DATA_NONE) {
    return present->type();
  }
  if (!leaf_types::followsValue(path.getLeafName())) {
    return DATA_STRING;
  }
  const auto word = store.find_leaf(path.getNewPath("ValueType"));
  return word ? leaf_types::ofValueType(word->to_string()).value_or(DATA_STRING) : DATA_STRING;
}

// The state that a label stands for. Any of the node's labels: what a client may write is for
// clients.
std::optional<CElement> stateOf(CCds& store, const CPath& path, const std::string& label,
                                data_type_t type) {
  toolkit::CCds_Multistate multistate(store);
  const std::string& node = path.getNodePath();
  std::string labels;
  if (type == DATA_BOOLEAN) {
    bool state = false;
    multistate.GetBoolPossibleValues(node, false, labels);
    if (multistate.GetBoolFromString(labels, label, state) == 0) {
      return CElement(state);
    }
  } else if (type == DATA_ENUMERATED || type == DATA_INTEGER) {
    int state = 0;
    if (multistate.IsMultistate(node, true, labels) &&
        multistate.GetEnumValue(labels, label, state) == 0) {
      return CElement(state, type);
    }
  }
  return std::nullopt;
}

CElement elementFor(CCds& store, const CPath& path, const std::string& text, data_type_t type) {
  CElement element;
  if (leaf_text::parse(text, type, element)) {
    return element;
  }
  const bool sharesLabels = leaf_types::followsValue(path.getLeafName());
  if (const auto state = sharesLabels ? stateOf(store, path, text, type) : std::nullopt) {
    return *state;
  }
  fail(path.str(), "\"" + text + "\" is no " + pcd_enum_to_str(type) + " and no label");
}

struct SetArguments {
  std::string path;
  std::string value;
  std::string type;
  bool persist = false;
};

void set(const SetArguments& arguments) {
  CCds store;
  open(store);
  const CPath path = parsePath(arguments.path);
  data_type_t type = DATA_STRING;
  if (arguments.type.empty()) {
    type = typeFor(store, path);
  } else {
    const auto known = leaf_types::ofValueType(arguments.type);
    if (!known) {
      fail(arguments.path, "\"" + arguments.type + "\" is no type");
    }
    type = *known;
  }
  CElement element = elementFor(store, path, arguments.value, type);
  element.set_time(now());
  api_status_t status = API_NONE;
  const int result =
      store.set_leaf(path, element, status, arguments.persist ? PCD_TRUE : PCD_FALSE, kSource);
  check(arguments.path, store, result, status);
}

void list(const std::string& text) {
  CCds store;
  open(store);
  const CPath path = parsePath(text);
  std::vector<std::string> names;
  const bool failed = path.getAttributeList("Children", store, names) != 0;
  if (failed) {
    fail(text, store.node_exists(path.getNodePath()) ? "the store failed" : "not found");
  }
  for (const std::string& name : names) {
    std::cout << toolkit::printable(name) << "/\n";
  }
  if (path.getAttributeList("Attributes", store, names) != 0) {
    fail(text, "the store failed");
  }
  for (const std::string& name : names) {
    std::cout << ':' << toolkit::printable(name) << '\n';
  }
}

void remove(const std::string& text) {
  CCds store;
  open(store);
  const CPath path = parsePath(text);
  api_status_t status = API_NONE;
  const bool isNode = path.getNodePath() == text;
  const int result =
      isNode ? store.remove_node(text, status, kSource) : store.clear_leaf(path, status, kSource);
  check(text, store, result, status);
}

void addImport(CLI::App& store) {
  struct Arguments {
    std::string file;
    bool replace = false;
  };
  CLI::App* command =
      store.add_subcommand("import", "Takes a model into the store: all or nothing");
  auto arguments = std::make_shared<Arguments>();
  command->add_option("FILE", arguments->file, "A model (JSON)")->required();
  command->add_flag("--replace", arguments->replace, "Empty the store first");
  command->callback([arguments] { importFile(arguments->file, arguments->replace); });
}

void addSet(CLI::App& store) {
  CLI::App* command = store.add_subcommand("set", "Writes a leaf");
  auto arguments = std::make_shared<SetArguments>();
  command->add_option("PATH", arguments->path)->required();
  command->add_option("VALUE", arguments->value, "A number, a text or a state's label")->required();
  command->add_option("--type", arguments->type, "Type of the leaf; else it keeps the one it has");
  command->add_flag("--persist", arguments->persist, "Write it to survive a restart");
  command->callback([arguments] { set(*arguments); });
}

void addGet(CLI::App& store) {
  CLI::App* command = store.add_subcommand("get", "Prints leaves: path, type, value, time, source");
  auto paths = std::make_shared<std::vector<std::string>>();
  command->add_option("PATH", *paths)->required();
  command->callback([paths] { get(*paths); });
}

// A command with one path; `fallback` is the path when none is given, null when one must be.
void addPathCommand(CLI::App& store, const char* name, const char* help, const char* fallback,
                    void (*run)(const std::string&)) {
  CLI::App* command = store.add_subcommand(name, help);
  auto path = std::make_shared<std::string>(fallback != nullptr ? fallback : "");
  command->add_option("PATH", *path)->required(fallback == nullptr);
  command->callback([path, run] { run(*path); });
}

}  // namespace

void addStoreCommands(CLI::App& app) {
  CLI::App* store = app.add_subcommand("store", "Reads and writes the data store");
  addImport(*store);
  addPathCommand(*store, "export", "Prints a node with all below it as a model", "/", exportNode);
  addGet(*store);
  addSet(*store);
  addPathCommand(*store, "ls", "Lists a node's children (name/) and leaves (:name)", nullptr, list);
  addPathCommand(*store, "rm", "Removes a node with all below it, or a leaf (NODE:LEAF)", nullptr,
                 remove);
  store->add_subcommand("init", "Makes an empty store; one that is there stays")->callback([] {
    check(admin::makeEmpty());
  });
  store->add_subcommand("boot", "Builds the live half anew from the persistent one")->callback([] {
    check(admin::boot());
  });
}
