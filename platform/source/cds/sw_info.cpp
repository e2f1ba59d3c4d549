#include "toolkit/sw_info.h"

#include "toolkit/time.h"

namespace toolkit {

int CCds_SwInfo::SetAppStatus(int status) {
  return SetIntValue(path_, "/AppStatus", status);
}

int CCds_SwInfo::SetAppError(int error) {
  return SetIntValue(path_, "/AppError", error);
}

int CCds_SwInfo::SetIntValue(const std::string& base, const char* suffix, int value) {
  CElement element(value);
  timeval now = {};
  qel_QELtoUNIXtime64(qel_UTCtime64(), &now);
  element.set_time(now);
  api_status_t status = API_NONE;
  const int result = cds_.set_leaf(base + suffix, element, status, PCD_FALSE, path_);
  return result == 0 && status == API_SUCCESS ? 0 : 1;
}

}  // namespace toolkit
