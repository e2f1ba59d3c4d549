#include "store_fixture.h"

#include <poll.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

using toolkit::CElement;

ChildProcess::ChildProcess(const std::function<int()>& body) : pid_(fork()) {
  if (pid_ == 0) {
    _exit(body());
  }
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) {
    kill();
  }
}

int ChildProcess::wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int ChildProcess::kill() {
  ::kill(pid_, SIGKILL);
  return wait();
}

void Signal::raise() const {
  EXPECT_EQ(eventfd_write(counter_, 1), 0);
}

bool Signal::await() const {
  constexpr int kMilliseconds = 30000;
  pollfd reader = {counter_, POLLIN, 0};
  eventfd_t count = 0;
  return poll(&reader, 1, kMilliseconds) == 1 && eventfd_read(counter_, &count) == 0;
}

toolkit::CPath normalized(const std::string& text) {
  toolkit::CPath path(text);
  path.normalize();
  return path;
}

void expectSame(const toolkit::admin::Model& a, const toolkit::admin::Model& b) {
  EXPECT_EQ(a.nodes, b.nodes);
  const auto rows = [](const toolkit::admin::Model& model) {
    std::vector<std::tuple<std::string, std::string, std::string, CElement>> rows;
    for (const auto& [path, user, allow] : model.rights) {
      rows.emplace_back(path, user, allow, CElement());
    }
    for (const auto& [node, name, element, source] : model.leaves) {
      rows.emplace_back(node, name, std::to_string(source), element);
    }
    return rows;
  };
  EXPECT_EQ(rows(a), rows(b));
}

StoreTest::StoreTest() {
  setenv("TOOLKIT_RUN", (folder() / "run").c_str(), 1);
  setenv("TOOLKIT_STATE", (folder() / "state").c_str(), 1);
  unsetenv("TOOLKIT_STORE_LIMIT");
  unsetenv("REMOTE_USER");
}

std::vector<toolkit::admin::ModelLeaf> StoreTest::leaves(const std::string& prefix, int count,
                                                         const CElement& element) {
  std::vector<toolkit::admin::ModelLeaf> leaves;
  leaves.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    leaves.push_back({prefix + std::to_string(i), "Value", element});
  }
  return leaves;
}

void StoreTest::import(std::vector<toolkit::admin::ModelLeaf> leaves) {
  toolkit::admin::Model model;
  model.rights = {{"/", "*", "rwdx"}};
  model.leaves = std::move(leaves);
  ASSERT_EQ(toolkit::admin::importModel(model, true), "");
}

StoreTest::Read StoreTest::read(toolkit::CCds& cds, const std::vector<toolkit::CPath>& paths) {
  Read read = {};
  read.result = cds.get_leaves(paths, read.statuses, read.elements, read.sources);
  return read;
}

std::string StoreTest::text(toolkit::CCds& cds, const std::string& path) {
  api_status_t status = API_NONE;
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
  cds.get_leaf(path, status, element, source);
  return status == API_SUCCESS ? element.to_string() : "status " + std::to_string(status);
}

api_status_t StoreTest::set(toolkit::CCds& cds, const std::string& path, const CElement& element,
                            pcd_tribool_t persist) {
  api_status_t status = API_NONE;
  cds.set_leaf(path, element, status, persist, "test");
  return status;
}
