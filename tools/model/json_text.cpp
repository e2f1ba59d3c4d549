#include "json_text.h"

#include <algorithm>

#include "model_json.h"
#include "toolkit/printable.h"

namespace json_text {

namespace {

using nlohmann::json;

// Deeper than anything of ours: bounds what a hostile file makes the reader keep.
constexpr std::size_t kMaxDepth = 8;

// "[json.exception.parse_error.101] parse error at line 3, column 5: ..." without the bracket.
std::string withoutPrefix(const std::string& message) {
  const std::size_t end = message.find("] ");
  return end == std::string::npos ? message : message.substr(end + 2);
}

// "parse error at line 3, column 5", as the reader says it of all faults but a number too large.
std::string placeOf(std::string_view read) {
  const auto line = 1 + std::count(read.begin(), read.end(), '\n');
  const std::size_t column = read.size() - (read.rfind('\n') + 1);
  return "parse error at line " + std::to_string(line) + ", column " + std::to_string(column);
}

// Looks through a text for what the reader accepts and nobody means: a name given twice, of which
// only the last would count, and bottomless nesting. A pass of its own: the reader's callback costs
// the square of an object's members.
class ShapeGuard : public json::json_sax_t {
 public:
  explicit ShapeGuard(std::string_view text) : text_(text) {}

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
    if (!level.names.insert(key).second) {
      problem_ = where() + inQuotes(key) + " is given twice";
    }
    level.current = key;
    return problem_.empty();
  }

  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    problem_ = withoutPrefix(error.what());
    if (dynamic_cast<const json::parse_error*>(&error) == nullptr) {
      problem_ = placeOf(text_.substr(0, position)) + ": " + problem_;
    }
    return false;
  }

  const std::string& problem() const { return problem_; }

 private:
  struct Level {
    std::set<std::string> names;
    std::string current;
  };

  bool open() {
    if (levels_.size() == kMaxDepth) {
      problem_ = where() + "nested too deeply";
    }
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
      if (!levels_[i].current.empty()) {
        text += inQuotes(levels_[i].current) + ": ";
      }
    }
    return text;
  }

  std::string_view text_;
  std::vector<Level> levels_;
  std::string problem_;
};

}  // namespace

std::string inQuotes(const std::string& text) {
  return "\"" + text + "\"";
}

std::string parse(std::string_view text, json& document) {
  ShapeGuard guard(text);
  if (!json::sax_parse(text, &guard)) {
    return guard.problem();
  }
  document = json::parse(text);
  return {};
}

std::string dump(const json& value) {
  return toolkit::printable(value.dump(-1, ' ', false, json::error_handler_t::replace),
                            toolkit::ControlAs::JsonEscape);
}

std::string read(const json& value, bool& out) {
  if (!value.is_boolean()) {
    return "must be true or false";
  }
  out = value.get<bool>();
  return {};
}

std::string read(const json& value, double& out) {
  if (!value.is_number()) {
    return "must be a number";
  }
  out = value.get<double>();
  return {};
}

std::string read(const json& value, std::string& out) {
  if (!value.is_string()) {
    return "must be a text";
  }
  out = value.get<std::string>();
  return {};
}

std::string read(const json& value, timeval& out) {
  return model_file::toTimeval(value, out) ? "" : "must be seconds since 1970";
}

std::string read(const json& value, std::vector<std::string>& out) {
  const auto isText = [](const json& item) { return item.is_string(); };
  if (!value.is_array() || !std::all_of(value.begin(), value.end(), isText)) {
    return "must be a list of texts";
  }
  out = value.get<std::vector<std::string>>();
  return {};
}

std::string read(const json& value, const json*& out) {
  out = &value;
  return {};
}

std::string read(const json& value, const json::array_t*& out) {
  if (!value.is_array()) {
    return "must be a list";
  }
  out = value.get_ptr<const json::array_t*>();
  return {};
}

std::string Fields::finish() const {
  if (!error_.empty() || !object_.is_object()) {
    return error_;
  }
  for (const auto& [name, value] : object_.items()) {
    if (!known_.contains(name)) {
      return "unknown name " + inQuotes(name);
    }
  }
  return {};
}

}  // namespace json_text
