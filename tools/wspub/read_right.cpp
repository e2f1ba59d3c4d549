#include "read_right.h"

#include <cstdlib>

namespace wspub {

namespace {

// Makes a user the caller, as long as the object lives. The variable is emptied and not removed:
// libcurl's resolver threads look at the environment, which a removal would shift under them.
class Caller {
 public:
  explicit Caller(const std::string& user) { setenv("REMOTE_USER", user.c_str(), 1); }
  ~Caller() { setenv("REMOTE_USER", "", 1); }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
};

}  // namespace

bool mayRead(const std::string& user, const toolkit::CPath& path) {
  const Caller caller(user);
  return path.is_read_authorized();
}

}  // namespace wspub
