#include "store_fixture.h"

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

void ChildProcess::awaitStop() const {
  int status = 0;
  waitpid(pid_, &status, WUNTRACED);
}

int ChildProcess::kill() {
  ::kill(pid_, SIGKILL);
  return wait();
}

toolkit::CPath normalized(const std::string& text) {
  toolkit::CPath path(text);
  path.normalize();
  return path;
}

void expectSame(const toolkit::admin::Model& a, const toolkit::admin::Model& b) {
  EXPECT_EQ(a.nodes, b.nodes);
  EXPECT_EQ(a.rights, b.rights);
  EXPECT_EQ(a.leaves, b.leaves);
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

api_status_t StoreTest::remove(toolkit::CCds& cds, const std::string& node) {
  api_status_t status = API_NONE;
  cds.remove_node(node, status, "test");
  return status;
}

toolkit::CEvent StoreTest::makeEvent(std::int32_t type, const std::string& path,
                                     const std::string& message, timeval time) {
  toolkit::CEvent event;
  event.type = type;
  event.path = path;
  event.message = message;
  event.time = time;
  return event;
}

std::vector<toolkit::CEventStream::Entry> StoreTest::events(toolkit::CCds& cds, std::uint64_t after,
                                                            toolkit::CEventStream::Kind kind) {
  std::vector<toolkit::CEventStream::Entry> entries;
  EXPECT_EQ(toolkit::CEventStream(cds, kind).read(after, entries), 0) << cds.last_error();
  return entries;
}

std::vector<api_status_t> StoreTest::send(toolkit::CCds& cds,
                                          const std::vector<toolkit::CEvent>& events) {
  std::vector<api_status_t> statuses;
  cds.events_send(events, statuses);
  return statuses;
}

std::vector<toolkit::admin::Watchdog> StoreTest::watchdogs() {
  std::vector<toolkit::admin::Watchdog> rows;
  EXPECT_EQ(toolkit::admin::watchdogs(rows), "");
  return rows;
}

void ClientTest::import(std::vector<toolkit::admin::ModelLeaf> leaves) {
  StoreTest::import(std::move(leaves));
  ASSERT_EQ(cds_.init(), 0) << cds_.last_error();
}
