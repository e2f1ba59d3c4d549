#include "front/ignored_elements.h"

#include <algorithm>

#include "front/global_data.h"

void IgnoredElements::note(const char* name) {
  ++count_;
  if (names_.size() < kMaxNames) {
    std::string cut = std::string(name).substr(0, kMaxName);
    if (std::find(names_.begin(), names_.end(), cut) == names_.end()) {
      names_.push_back(std::move(cut));
    }
  }
}

void IgnoredElements::report() {
  if (count_ == 0) {
    return;
  }
  std::string list;
  for (const std::string& name : names_) {
    list.append(list.empty() ? "" : ", ").append(name);
  }
  __psyslog->info(1, "%zu elements of the request were not read: %s", count_, list.c_str());
  names_.clear();
  count_ = 0;
}
