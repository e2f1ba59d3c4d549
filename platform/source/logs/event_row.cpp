#include "logs/event_row.h"

#include <SQLiteCpp/Column.h>
#include <limits>

#include "toolkit/time.h"

namespace toolkit::logs {

namespace {

constexpr const char* kColumnsOfAll =
    "time, type, path, event_id, sequence, severity, priority, quality, ack, variation, condition, "
    "auto_closing, flag, raised, value_type, value, value_time, message, note, source, ";

timeval unixTime(std::int64_t time) {
  timeval result{};
  qel_QELtoUNIXtime64(time, &result);
  return result;
}

std::int64_t wireTime(timeval time) {
  return qel_UNIXtoQELtime64(&time);
}

// SQLite has no NaN: it keeps one as NULL.
CElement realOf(const SQLite::Column& column) {
  return CElement(column.isNull() ? std::numeric_limits<double>::quiet_NaN() : column.getDouble());
}

CElement elementOf(data_type_t type, const SQLite::Column& column) {
  switch (type) {
    case DATA_BOOLEAN:
      return CElement(column.getInt() != 0);
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      return CElement(column.getInt(), type);
    case DATA_REAL:
      return realOf(column);
    case DATA_TIMEVAL:
      return CElement(unixTime(column.getInt64()));
    case DATA_STRING:
      return CElement(column.getString());
    case DATA_INTEGER64:
      return CElement(std::int64_t{column.getInt64()});
    case DATA_NONE:
    case DATA_SAME_AS_VALUE:
      break;
  }
  return {};
}

void bindElement(SQLite::Statement& statement, int index, const CElement& element) {
  switch (element.type()) {
    case DATA_BOOLEAN:
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      statement.bind(index, element.to_int());
      break;
    case DATA_REAL:
      statement.bind(index, element.to_double());
      break;
    case DATA_TIMEVAL:
      statement.bind(index, wireTime(element.to_timeval()));
      break;
    case DATA_STRING:
      statement.bind(index, element.to_string());
      break;
    case DATA_INTEGER64:
      statement.bind(index, element.to_int64());
      break;
    case DATA_NONE:
    case DATA_SAME_AS_VALUE:
      statement.bind(index);
      break;
  }
}

std::string linesOf(const std::vector<std::string>& texts) {
  std::string lines;
  for (const std::string& text : texts) {
    lines += (lines.empty() ? "" : "\n") + text;
  }
  return lines;
}

std::vector<std::string> textsOf(const std::string& lines) {
  std::vector<std::string> texts;
  if (!lines.empty()) {
    CElement::split_string(texts, lines, '\n');
  }
  return texts;
}

}  // namespace

std::string eventColumns(std::int32_t version) {
  return std::string(kColumnsOfAll) + (version < 2 ? "''" : "waveforms");
}

std::string insertEvent() {
  const std::string columns = eventColumns(kEventVersion);
  std::string placeholders = "?";
  for (const char c : columns) {
    placeholders += c == ',' ? ",?" : "";
  }
  return "INSERT INTO event (" + columns + ") VALUES (" + placeholders + ")";
}

CEvent eventOf(SQLite::Statement& row) {
  CEvent event;
  int column = 0;
  const auto next = [&] { return row.getColumn(column++); };
  event.time = unixTime(next().getInt64());
  event.type = next().getInt();
  event.path = next().getString();
  event.id = static_cast<std::uint64_t>(next().getInt64());
  event.sequence = next().getUInt();
  event.severity = next().getInt();
  event.priority = next().getInt();
  event.quality = static_cast<std::uint16_t>(next().getInt());
  event.ack = next().getInt();
  event.variation = next().getInt();
  event.condition = next().getInt() != 0;
  event.autoClosing = next().getInt() != 0;
  event.flag = next().getInt() != 0;
  event.raised = unixTime(next().getInt64());
  const auto type = static_cast<data_type_t>(next().getInt());
  event.value = elementOf(type, next());
  event.value.set_time(unixTime(next().getInt64()));
  event.message = next().getString();
  event.note = next().getString();
  event.source = next().getString();
  event.waveforms = textsOf(next().getString());
  return event;
}

void bindEvent(SQLite::Statement& statement, const CEvent& event) {
  int index = 0;
  const auto bind = [&](const auto& value) { statement.bind(++index, value); };
  bind(wireTime(event.time));
  bind(event.type);
  bind(event.path);
  bind(static_cast<std::int64_t>(event.id));
  bind(event.sequence);
  bind(event.severity);
  bind(event.priority);
  bind(static_cast<std::int32_t>(event.quality));
  bind(event.ack);
  bind(event.variation);
  bind(event.condition ? 1 : 0);
  bind(event.autoClosing ? 1 : 0);
  bind(event.flag ? 1 : 0);
  bind(wireTime(event.raised));
  bind(static_cast<std::int32_t>(event.value.type()));
  bindElement(statement, ++index, event.value);
  bind(wireTime(event.value.time()));
  bind(event.message);
  bind(event.note);
  bind(event.source);
  bind(linesOf(event.waveforms));
}

}  // namespace toolkit::logs
