#include "toolkit/sw_info.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "toolkit/time.h"

namespace toolkit {

namespace {

timeval presentTime() {
  timeval now = {};
  qel_QELtoUNIXtime64(qel_UTCtime64(), &now);
  return now;
}

data_type_t typeOf(std::string_view leaf, data_type_t valueType) {
  return leaf == "/Value" ? valueType : leaf == "/HasDynamicChildren" ? DATA_BOOLEAN : DATA_STRING;
}

}  // namespace

int CCds_SwInfo::SetAppStatus(int status) {
  return SetIntValue(path_, "/AppStatus", status);
}

int CCds_SwInfo::SetAppError(int error) {
  return SetIntValue(path_, "/AppError", error);
}

int CCds_SwInfo::SetIntValue(const std::string& base, const char* suffix, int value) {
  CElement element(value);
  element.set_time(presentTime());
  api_status_t status = API_NONE;
  const int result = cds_.set_leaf(base + suffix, element, status, PCD_FALSE, path_);
  return result == 0 && status == API_SUCCESS ? 0 : 1;
}

int CCds_SwInfo::UpdateIntValue(const std::string& base, const char* suffix, int delta,
                                int* newValue) {
  api_status_t status = API_NONE;
  const int result = cds_.add_to_leaf(base + suffix, delta, newValue, status, path_);
  return result == 0 && status == API_SUCCESS ? 0 : 1;
}

int CCds_SwInfo::FillSwInfoNode(const tagnval* record) {
  const std::string node = path_ + record->val;
  const timeval now = presentTime();
  std::vector<CPath> paths;
  std::vector<CElement> elements;
  data_type_t valueType = DATA_STRING;
  for (++record; record->tag != nullptr; ++record) {
    const std::string_view leaf = record->tag;
    if (leaf == "/ValueType") {
      valueType = pcd_human_str_to_enum(record->val);
    }
    CElement& element = elements.emplace_back(record->val);
    element.convert_type(typeOf(leaf, valueType));
    element.set_time(now);
    paths.emplace_back(node + record->tag);
  }
  const std::vector<pcd_tribool_t> persist(paths.size(), PCD_FALSE);
  std::vector<api_status_t> statuses;
  const int result = cds_.set_leaves(paths, elements, persist, statuses, path_);
  const auto failed = std::find_if(statuses.begin(), statuses.end(),
                                   [](api_status_t status) { return status != API_SUCCESS; });
  return result == 0 && failed == statuses.end() ? 0 : 1;
}

}  // namespace toolkit
