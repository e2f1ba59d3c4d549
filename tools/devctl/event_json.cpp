#include "event_json.h"

#include <algorithm>

#include "json_text.h"
#include "model_json.h"

namespace event_json {

namespace {

using json_text::inQuotes;
using nlohmann::json;
using toolkit::CElement;
using toolkit::CEvent;

// All members but the value and the waveforms.
template <typename Event, typename Visit>
void eachMember(Event& event, const Visit& visit) {
  visit("type", event.type);
  visit("id", event.id);
  visit("seq", event.sequence);
  visit("path", event.path);
  visit("time", event.time);
  visit("raised", event.raised);
  visit("severity", event.severity);
  visit("priority", event.priority);
  visit("message", event.message);
  visit("quality", event.quality);
  visit("ack", event.ack);
  visit("condition", event.condition);
  visit("autoClosing", event.autoClosing);
  visit("flag", event.flag);
  visit("variation", event.variation);
  visit("note", event.note);
  visit("source", event.source);
}

bool isSame(timeval a, timeval b) {
  return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec;
}

// "parse error at line 1, column 5: ...": which line it is, the caller knows better.
std::string withoutLine(std::string error) {
  static constexpr std::string_view kLine = "line 1, ";
  const std::size_t found = error.find(kLine);
  return found == std::string::npos ? error : error.erase(found, kLine.size());
}

std::string readValue(const json& value, const std::optional<std::string>& word,
                      CElement& element) {
  std::optional<data_type_t> type = DATA_NONE;
  if (word) {
    type = model_file::typeOfWord(*word);
    if (!type) {
      return "\"valueType\": " + inQuotes(*word) + " is no type";
    }
  } else if (!value.is_null()) {
    type = model_file::defaultType(value, DATA_NONE);
    if (!type) {
      return "\"value\" must be a boolean, a number or a text";
    }
  }
  const std::string error = model_file::toElement(value, *type, element);
  return error.empty() ? error : "\"value\": " + error;
}

bool isUrl(const std::string& text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char byte) {
    return byte < 0x20 || byte == 0x7F;
  });
}

}  // namespace

std::string parse(std::string_view line, timeval now, CEvent& event) {
  json object;
  if (std::string error = json_text::parse(line, object); !error.empty()) {
    return withoutLine(std::move(error));
  }
  event = {};
  event.time = now;
  const json absent;
  const json* value = &absent;
  std::optional<std::string> valueType;
  std::optional<timeval> valueTime;
  json_text::Fields fields(object);
  eachMember(event, [&](const char* name, auto& member) { fields.optional(name, member); });
  fields.optional("waveforms", event.waveforms);
  fields.optional("value", value);
  fields.optional("valueType", valueType);
  fields.optional("valueTime", valueTime);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  if (std::string error = readValue(*value, valueType, event.value); !error.empty()) {
    return error;
  }
  if (!std::all_of(event.waveforms.begin(), event.waveforms.end(), isUrl)) {
    return "\"waveforms\" must be URLs: not empty, and without control characters";
  }
  event.value.set_time(valueTime.value_or(event.time));
  return {};
}

std::string format(const CEvent& event) {
  json_text::ObjectLine line;
  eachMember(event, [&](const char* name, const auto& member) {
    if constexpr (std::is_same_v<decltype(member), const timeval&>) {
      line.add(name, model_file::fromTimeval(member));
    } else {
      line.add(name, member);
    }
  });
  const char* type = pcd_enum_to_str(event.value.type());
  line.add("value", model_file::fromElement(event.value));
  line.add("valueType", type != nullptr ? type : "None");
  if (!isSame(event.value.time(), event.time)) {
    line.add("valueTime", model_file::fromTimeval(event.value.time()));
  }
  if (!event.waveforms.empty()) {
    line.add("waveforms", event.waveforms);
  }
  return line.text();
}

}  // namespace event_json
