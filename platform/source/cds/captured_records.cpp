#include "toolkit/captured_records.h"

namespace toolkit {

namespace {

std::string nodeOf(const std::string& device) {
  std::string name;
  CPath::PathToNodeName(device, name);
  return kWaveformsPath + ("/" + name);
}

}  // namespace

void announceRecord(CLeafBatch& batch, const std::string& device, const CCapturedRecord& record) {
  const std::string node = nodeOf(device);
  std::string points;
  for (const std::string& point : record.points) {
    points += (points.empty() ? "" : ";") + point;
  }
  batch.add(CPath(node + "/Value"), CElement(record.url));
  batch.add(CPath(node + "/Time"), CElement(record.time));
  batch.add(CPath(node + "/Points"), CElement(points));
}

CRecordReader::CRecordReader(CLeafReader& reader, const std::string& device) {
  const std::string node = nodeOf(device);
  url_ = reader.add(node + "/Value");
  time_ = reader.add(node + "/Time");
  points_ = reader.add(node + "/Points");
}

std::optional<CCapturedRecord> CRecordReader::record(const CLeafReader& reader) const {
  CCapturedRecord record;
  record.url = reader.text(url_);
  const CElement* time = reader.element(time_);
  if (record.url.empty() || time == nullptr || time->type() != DATA_TIMEVAL) {
    return std::nullopt;
  }
  record.time = time->to_timeval();
  const std::string points = reader.text(points_);
  if (!points.empty()) {
    CElement::split_string(record.points, points, ';');
  }
  return record;
}

}  // namespace toolkit
