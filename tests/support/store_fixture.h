// A data store of a test's own, in a temporary folder.
#pragma once

#include <utility>

#include "test_program.h"
#include "toolkit/admin.h"
#include "toolkit/cds.h"
#include "toolkit/event_stream.h"
#include "toolkit/log.h"

using toolkit::CCds;
using toolkit::CElement;
using toolkit::CEvent;

// A child process that runs a function and ends with its result, killed when it outlives the
// object.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& body) : pid_(fork()) {
    if (pid_ == 0) {
      _exit(body());
    }
  }
  ~ChildProcess() {
    if (pid_ > 0) {
      kill();
    }
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Exit status, or 128 + signal.
  int wait() { return waitForChild(std::exchange(pid_, -1)); }
  int kill() {
    ::kill(pid_, SIGKILL);
    return wait();
  }
  // Waits until it has stopped itself.
  void awaitStop() const { waitpid(pid_, nullptr, WUNTRACED); }

 private:
  pid_t pid_;
};

// A path that has been parsed.
inline toolkit::CPath normalized(const std::string& text) {
  toolkit::CPath path(text);
  path.normalize();
  return path;
}

// All events of a log, in their order.
inline std::vector<CEvent> eventsOf(toolkit::CLog& log) {
  std::vector<CEvent> events;
  EXPECT_EQ(log.retrieve(events, "", nullptr, nullptr, log.kNoMaximum, false, false, 0), 0);
  return events;
}

inline std::vector<CEvent> eventsOf(const fs::path& file) {
  toolkit::CLog log;
  EXPECT_EQ(log.openToRead(file), 0) << log.last_error();
  return eventsOf(log);
}

inline CEvent makeEvent(std::int32_t type, const std::string& path, const std::string& message,
                        timeval time, int quality = 192) {
  CEvent event;
  event.type = type;
  event.path = path;
  event.message = message;
  event.time = time;
  event.quality = static_cast<std::uint16_t>(quality);
  return event;
}

inline void expectSame(const toolkit::admin::Model& a, const toolkit::admin::Model& b) {
  EXPECT_EQ(a.nodes, b.nodes);
  EXPECT_EQ(a.rights, b.rights);
  EXPECT_EQ(a.leaves, b.leaves);
}

// Points $TOOLKIT_RUN and $TOOLKIT_STATE at folders of the test's own; the caller is anonymous.
class StoreTest : public testing::Test {
 public:
  // What a batch read gives.
  struct Read {
    int result;
    std::vector<api_status_t> statuses;
    std::vector<CElement> elements;
    std::vector<element_property_t> sources;
  };
  static Read read(CCds& cds, const std::vector<toolkit::CPath>& paths) {
    Read read = {};
    read.result = cds.get_leaves(paths, read.statuses, read.elements, read.sources);
    return read;
  }
  // The text of a leaf; "status n" when it cannot be read.
  static std::string text(CCds& cds, const std::string& path) {
    api_status_t status = API_NONE;
    CElement element;
    element_property_t source = ELEMENT_NORMAL;
    cds.get_leaf(path, status, element, source);
    return status == API_SUCCESS ? element.to_string() : "status " + std::to_string(status);
  }

 protected:
  using Leaf = toolkit::admin::ModelLeaf;

  explicit StoreTest(const fs::path& parent = fs::temp_directory_path()) : folder_(parent) {
    setenv("TOOLKIT_RUN", (folder() / "run").c_str(), 1);
    setenv("TOOLKIT_STATE", (folder() / "state").c_str(), 1);
    unsetenv("TOOLKIT_STORE_LIMIT");
    unsetenv("REMOTE_USER");
  }

  // By a path as in "/Dev1/Va:Units".
  template <class Value>
  static Leaf leaf(const std::string& path, Value value) {
    const toolkit::CPath parsed = normalized(path);
    return {parsed.getNodePath(), parsed.getLeafName(), CElement(value)};
  }
  // Value leaves of the nodes prefix0, prefix1, ...
  static std::vector<Leaf> leaves(const std::string& prefix, int count, const CElement& element) {
    std::vector<Leaf> leaves;
    leaves.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      leaves.push_back({prefix + std::to_string(i), "Value", element});
    }
    return leaves;
  }
  // Imports leaves, in place of what is there, with the right to everything for everybody.
  static void import(std::vector<Leaf> leaves) {
    toolkit::admin::Model model;
    model.rights = {{"/", "*", "rwdx"}};
    model.leaves = std::move(leaves);
    ASSERT_EQ(toolkit::admin::importModel(model, true), "");
  }

  static api_status_t set(CCds& cds, const std::string& path, const CElement& element,
                          pcd_tribool_t persist = PCD_FALSE) {
    api_status_t status = API_NONE;
    cds.set_leaf(path, element, status, persist, "test");
    return status;
  }
  static api_status_t remove(CCds& cds, const std::string& node) {
    api_status_t status = API_NONE;
    cds.remove_node(node, status, "test");
    return status;
  }
  static api_status_t clear(CCds& cds, const toolkit::CPath& path) {
    api_status_t status = API_NONE;
    cds.clear_leaf(path, status, "test");
    return status;
  }
  static std::vector<api_status_t> send(CCds& cds, const std::vector<CEvent>& events) {
    std::vector<api_status_t> statuses;
    cds.events_send(events, statuses);
    return statuses;
  }
  // What was handed over to others after a number.
  static std::vector<toolkit::CEventStream::Entry> events(
      CCds& cds, std::uint64_t after = 0,
      toolkit::CEventStream::Kind kind = toolkit::CEventStream::kEvents) {
    std::vector<toolkit::CEventStream::Entry> entries;
    EXPECT_EQ(toolkit::CEventStream(cds, kind).read(after, entries), 0) << cds.last_error();
    return entries;
  }
  static std::vector<toolkit::admin::Watchdog> watchdogs() {
    std::vector<toolkit::admin::Watchdog> rows;
    EXPECT_EQ(toolkit::admin::watchdogs(rows), "");
    return rows;
  }

  const fs::path& folder() const { return folder_.path(); }
  fs::path liveFile() const { return folder() / "run/live.mdb"; }
  fs::path persistentFile() const { return folder() / "state/persistent.mdb"; }

 private:
  TemporaryFolder folder_;
};

// The same with a client of the test's own.
class ClientTest : public StoreTest {
 protected:
  using StoreTest::events, StoreTest::remove, StoreTest::send, StoreTest::set, StoreTest::text;

  void import(std::vector<Leaf> leaves) {
    StoreTest::import(std::move(leaves));
    ASSERT_EQ(cds_.init(), 0) << cds_.last_error();
  }
  std::string text(const std::string& path) { return text(cds_, path); }
  template <class Value>
  api_status_t set(const std::string& path, const Value& value, pcd_tribool_t persist = PCD_FALSE) {
    return set(cds_, path, CElement(value), persist);
  }
  api_status_t remove(const std::string& node) { return remove(cds_, node); }
  std::vector<toolkit::CEventStream::Entry> events() { return events(cds_); }
  std::vector<api_status_t> send(const std::vector<CEvent>& events) { return send(cds_, events); }

  CCds cds_;
};
