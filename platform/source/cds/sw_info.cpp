#include "toolkit/sw_info.h"

#include <string_view>

#include "toolkit/time.h"

namespace toolkit {

namespace {

data_type_t typeOf(std::string_view leaf, data_type_t valueType) {
  return leaf == "/Value" ? valueType : leaf == "/HasDynamicChildren" ? DATA_BOOLEAN : DATA_STRING;
}

}  // namespace

int CCds_SwInfo::SetAppStatus(int status) {
  return setOwn("/AppStatus", status);
}

int CCds_SwInfo::SetAppError(int error) {
  return setOwn("/AppError", error);
}

int CCds_SwInfo::setOwn(const char* suffix, int value) {
  CElement element(value);
  element.set_time(qel_now());
  api_status_t status = API_NONE;
  const int result = cds_.set_own_leaf(path_ + suffix, element, status, path_);
  return result == 0 && status == API_SUCCESS ? 0 : 1;
}

int CCds_SwInfo::SetIntValue(const std::string& base, const char* suffix, int value) {
  CLeafBatch batch;
  batch.add(base + suffix, CElement(value));
  return batch.write(cds_, path_) == API_SUCCESS ? 0 : 1;
}

int CCds_SwInfo::UpdateIntValue(const std::string& base, const char* suffix, int delta,
                                int* newValue) {
  api_status_t status = API_NONE;
  const int result = cds_.add_to_leaf(base + suffix, delta, newValue, status, path_);
  return result == 0 && status == API_SUCCESS ? 0 : 1;
}

int CCds_SwInfo::FillSwInfoNode(const tagnval* record) {
  CLeafBatch batch;
  AddSwInfoNode(path_, record, batch);
  return batch.write(cds_, path_) == API_SUCCESS ? 0 : 1;
}

void CCds_SwInfo::AddSwInfoNode(const std::string& path, const tagnval* record, CLeafBatch& batch) {
  const std::string node = path + record->val;
  data_type_t valueType = DATA_STRING;
  for (++record; record->tag != nullptr; ++record) {
    const std::string_view leaf = record->tag;
    if (leaf == "/ValueType") {
      valueType = pcd_human_str_to_enum(record->val);
    }
    CElement element(record->val);
    element.convert_type(typeOf(leaf, valueType));
    batch.add(node + record->tag, std::move(element));
  }
}

}  // namespace toolkit
