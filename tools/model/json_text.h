// JSON texts that an operator or another tool wrote: strict reading, with a reason for each fault.
//
// Calls that can fail return one sentence, or an empty one.
#pragma once

#include <sys/time.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace json_text {

std::string inQuotes(const std::string& text);

// Refuses a name given twice and bottomless nesting too.
std::string parse(std::string_view text, nlohmann::json& document);

// Text that is not UTF-8 cannot stand in JSON: its bad bytes become U+FFFD.
std::string dump(const nlohmann::json& value);

// What `value` must be when it is not of the type of `out`, which then stays.
std::string read(const nlohmann::json& value, bool& out);
std::string read(const nlohmann::json& value, double& out);
std::string read(const nlohmann::json& value, std::string& out);
std::string read(const nlohmann::json& value, timeval& out);
std::string read(const nlohmann::json& value, std::vector<std::string>& out);
std::string read(const nlohmann::json& value, const nlohmann::json*& out);           // any value
std::string read(const nlohmann::json& value, const nlohmann::json::array_t*& out);  // a list

template <std::integral Integer>
std::string read(const nlohmann::json& value, Integer& out) {
  using Limits = std::numeric_limits<Integer>;
  const auto fits = [](auto number) { return std::in_range<Integer>(number); };
  if (value.is_number_unsigned() ? fits(value.get<std::uint64_t>())
                                 : value.is_number_integer() && fits(value.get<std::int64_t>())) {
    out = value.get<Integer>();
    return {};
  }
  return "must be an integer from " + std::to_string(Limits::min()) + " to " +
         std::to_string(Limits::max());
}

template <typename Value>
std::string read(const nlohmann::json& value, std::optional<Value>& out) {
  Value present{};
  std::string error = read(value, present);
  if (error.empty()) {
    out = std::move(present);
  }
  return error;
}

// The members of an object, each asked for by its name. finish() then tells the first fault: a
// member of a wrong type, a missing one, or one that nobody has asked for.
class Fields {
 public:
  // `object` must outlive this.
  explicit Fields(const nlohmann::json& object) : object_(object) {
    if (!object.is_object()) {
      error_ = "must be an object";
    }
  }

  template <typename Value>
  void required(const char* name, Value& out) {
    if (!optional(name, out) && error_.empty()) {
      error_ = inQuotes(name) + " is missing";
    }
  }

  // Leaves `out` alone, and is false, when there is no such member.
  template <typename Value>
  bool optional(const char* name, Value& out) {
    if (!object_.is_object()) {
      return false;
    }
    known_.insert(name);
    const auto found = object_.find(name);
    if (found == object_.end()) {
      return false;
    }
    const std::string error = read(*found, out);
    if (!error.empty() && error_.empty()) {
      error_ = inQuotes(name) + " " + error;
    }
    return true;
  }

  std::string finish() const;

 private:
  const nlohmann::json& object_;
  std::set<std::string_view> known_;
  std::string error_;
};

// An object in one line, its members in the order in which they are added.
class ObjectLine {
 public:
  void add(const char* name, const nlohmann::json& value) {
    members_ += (members_.empty() ? "" : ", ") + inQuotes(name) + ": " + dump(value);
  }
  std::string text() const { return "{" + members_ + "}"; }

 private:
  std::string members_;
};

}  // namespace json_text
