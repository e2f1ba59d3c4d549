// CCds_SwInfo: what a program tells of itself in the store, under a node of its own.
//
//   <path>/AppStatus   the numbers below
//   <path>/AppError    0, or the program's own error number
//
// Values are written to the live half. Calls return 0 on success and non-zero when the store
// refused; a status that cannot be written never stops the program.
#pragma once

#include <string>
#include <utility>

#include "toolkit/cds.h"
#include "toolkit/leaf_batch.h"

namespace toolkit {

// Life of a program.
enum AppStatuses {
  APP_UNKNOWN = 0,
  APP_PUBLISHING = 1,  // running, and has taken a subscription
  APP_STOPPED = 2,
  APP_FAILED = 3,
  APP_RUNNING = 4,
};

// A row of the template of one node; `const tagnval node[]` is a template:
//   {group path, the node's name below a program's path, with its "/", or ""}
//   {leaf, text}...    "/Value" follows the "/ValueType" given before it
//   {nullptr, nullptr}
struct tagnval {
  const char* tag;
  const char* val;
};

class CCds_SwInfo {
 public:
  // `cds` must outlive this object.
  CCds_SwInfo(CCds& cds, std::string path) : cds_(cds), path_(std::move(path)) {}

  // Also where the client is read-only.
  int SetAppStatus(int status);
  int SetAppError(int error);

  // Writes an Integer to the Value of the node at base + suffix.
  int SetIntValue(const std::string& base, const char* suffix, int value);
  // Adds to the Integer there, see CCds::add_to_leaf. `newValue` may be null.
  int UpdateIntValue(const std::string& base, const char* suffix, int delta, int* newValue);

  // Writes the leaves of a template's node below this object's path, in one transaction.
  int FillSwInfoNode(const tagnval* record);
  // Adds them to a batch instead, below `path`.
  static void AddSwInfoNode(const std::string& path, const tagnval* record, CLeafBatch& batch);

 private:
  int setOwn(const char* suffix, int value);

  CCds& cds_;
  std::string path_;
};

}  // namespace toolkit
