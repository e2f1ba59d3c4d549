#include "trend_json.h"

#include <set>

#include "json_text.h"
#include "model_json.h"

namespace trend_json {

namespace {

using json_text::Fields;
using json_text::inQuotes;
using json_text::ObjectLine;
using nlohmann::json;
using toolkit::CElement;
using namespace toolkit::trend;

std::string nameOf(const CPeriodProperties& period) {
  return "the id " + std::to_string(period.period);
}

std::string nameOf(const CParamProperties& param) {
  return inQuotes(param.path);
}

std::string nameOf(const CDeviceParams& device) {
  return inQuotes(device.device.path);
}

std::string nameOf(const CEntry& entry) {
  return inQuotes(entry.device) + ", period " + std::to_string(entry.snapshot.period) + ", time " +
         std::to_string(entry.snapshot.time);
}

// Reads the rows of a list, none of which may come twice.
template <typename Row>
std::string readRows(const json::array_t* list, const char* what,
                     std::string (*readRow)(const json&, Row&), std::vector<Row>& rows) {
  if (list == nullptr) {
    return {};
  }
  std::set<std::string> names;
  for (const json& value : *list) {
    Row& row = rows.emplace_back();
    std::string error = readRow(value, row);
    if (error.empty() && !names.insert(nameOf(row)).second) {
      error = nameOf(row) + " is given twice";
    }
    if (!error.empty()) {
      return what + (" " + std::to_string(rows.size())) + ": " + error;
    }
  }
  return {};
}

std::string readPeriod(const json& row, CPeriodProperties& period) {
  Fields fields(row);
  fields.required("id", period.period);
  fields.optional("maxEntries", period.max_entries);
  return fields.finish();
}

std::string readParam(const json& row, CParamProperties& param) {
  int type = SAMPLE_NORMAL;
  Fields fields(row);
  fields.required("path", param.path);
  fields.optional("type", type);
  fields.optional("min", param.hasMin);
  fields.optional("max", param.hasMax);
  fields.optional("avg", param.hasAvg);
  fields.optional("actual", param.hasActual);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  if (type < SAMPLE_NORMAL || type > SAMPLE_LISTEND) {
    return "\"type\" must be 0, 1 or 2";
  }
  param.type = static_cast<sample_type_t>(type);
  return {};
}

std::string readDevice(const json& row, CDeviceParams& device) {
  const json::array_t* params = nullptr;
  Fields fields(row);
  fields.required("path", device.device.path);
  fields.optional("params", params);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  return readRows(params, "parameter", readParam, device.params);
}

std::string readSample(const json& row, CSample& sample) {
  constexpr std::size_t kValues = 4;
  if (!row.is_array() || row.size() != kValues) {
    return "must be [min, max, avg, actual]";
  }
  std::size_t column = 0;
  for (COptVal* value : {&sample.min, &sample.max, &sample.avg, &sample.actual}) {
    const json& number = row[column++];
    if (number.is_null()) {
      continue;
    }
    CElement element;
    if (!model_file::toElement(number, DATA_REAL, element).empty()) {
      return "each value must be a number or null";
    }
    *value = COptVal(element.to_double());
  }
  return {};
}

std::string readEntry(const json& row, CEntry& entry) {
  CSnapshot& snapshot = entry.snapshot;
  const json::array_t* data = nullptr;
  Fields fields(row);
  fields.required("device", entry.device);
  fields.required("period", snapshot.period);
  fields.required("time", snapshot.time);
  fields.required("valid", snapshot.percent_valid);
  fields.required("data", data);
  if (std::string error = fields.finish(); !error.empty()) {
    return error;
  }
  if (snapshot.time < 0) {
    return "\"time\" must not be before 1970";
  }
  if (!(snapshot.percent_valid >= 0 && snapshot.percent_valid <= 100)) {
    return "\"valid\" must be 0 to 100";
  }
  for (const json& sample : *data) {
    const std::string error = readSample(sample, snapshot.data.emplace_back());
    if (!error.empty()) {
      return "data " + std::to_string(snapshot.data.size()) + ": " + error;
    }
  }
  return {};
}

std::string readTrends(const json& document, Trends& trends) {
  const json::array_t* periods = nullptr;
  const json::array_t* devices = nullptr;
  const json::array_t* snapshots = nullptr;
  Fields fields(document);
  fields.optional("periods", periods);
  fields.optional("devices", devices);
  fields.optional("snapshots", snapshots);
  std::string error = fields.finish();
  if (error.empty()) {
    error = readRows(periods, "period", readPeriod, trends.periods);
  }
  if (error.empty()) {
    error = readRows(devices, "device", readDevice, trends.devices);
  }
  if (error.empty()) {
    error = readRows(snapshots, "snapshot", readEntry, trends.entries);
  }
  return error;
}

json fromValue(const COptVal& value) {
  return value.is_valid() ? model_file::fromElement(CElement(*value)) : json();
}

}  // namespace

std::string parse(std::string_view text, Trends& trends) {
  trends = {};
  json document;
  std::string error = json_text::parse(text, document);
  if (!error.empty()) {
    return error;
  }
  error = readTrends(document, trends);
  return document.is_object() ? error : "trends are an object with lists";
}

std::string format(const CPeriodProperties& period) {
  ObjectLine line;
  line.add("id", period.period);
  line.add("maxEntries", period.max_entries);
  return line.text();
}

std::string format(const CDeviceParams& device) {
  std::string params;
  for (const CParamProperties& param : device.params) {
    ObjectLine line;
    line.add("path", param.path);
    line.add("type", static_cast<int>(param.type));
    line.add("min", param.hasMin);
    line.add("max", param.hasMax);
    line.add("avg", param.hasAvg);
    line.add("actual", param.hasActual);
    params += (params.empty() ? "" : ",\n      ") + line.text();
  }
  return "{\"path\": " + json_text::dump(device.device.path) + ", \"params\": [" + params + "]}";
}

std::string format(const std::string& device, const CSnapshot& snapshot) {
  json data = json::array();
  for (const CSample& sample : snapshot.data) {
    data.push_back({fromValue(sample.min), fromValue(sample.max), fromValue(sample.avg),
                    fromValue(sample.actual)});
  }
  ObjectLine line;
  line.add("device", device);
  line.add("period", snapshot.period);
  line.add("time", snapshot.time);
  line.add("valid", snapshot.percent_valid);
  line.add("data", data);
  return line.text();
}

}  // namespace trend_json
