// A data store of a test's own, in a temporary folder.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "test_program.h"
#include "toolkit/admin.h"
#include "toolkit/cds.h"
#include "toolkit/event_stream.h"

// A child process that runs a function and ends with its result, killed when it outlives the
// object.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& body);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Exit status, or 128 + signal.
  int wait();
  int kill();
  // Waits until it has stopped itself.
  void awaitStop() const;

 private:
  pid_t pid_;
};

// A path that has been parsed.
toolkit::CPath normalized(const std::string& text);

void expectSame(const toolkit::admin::Model& a, const toolkit::admin::Model& b);

// Points $TOOLKIT_RUN and $TOOLKIT_STATE at folders of the test's own; the caller is anonymous.
class StoreTest : public testing::Test {
 public:
  // What a batch read gives.
  struct Read {
    int result;
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    std::vector<element_property_t> sources;
  };
  static Read read(toolkit::CCds& cds, const std::vector<toolkit::CPath>& paths);
  // The text of a leaf; "status n" when it cannot be read.
  static std::string text(toolkit::CCds& cds, const std::string& path);

 protected:
  StoreTest();

  static toolkit::admin::ModelLeaf leaf(const std::string& node, const std::string& name,
                                        const toolkit::CElement& element) {
    return {node, name, element};
  }
  // By a path as in "/Dev1/Va:Units".
  template <class Value>
  static toolkit::admin::ModelLeaf leaf(const std::string& path, Value value) {
    const toolkit::CPath parsed = normalized(path);
    return {parsed.getNodePath(), parsed.getLeafName(), toolkit::CElement(value)};
  }
  // Value leaves of the nodes prefix0, prefix1, ...
  static std::vector<toolkit::admin::ModelLeaf> leaves(const std::string& prefix, int count,
                                                       const toolkit::CElement& element);
  // Imports leaves, in place of what is there, with the right to everything for everybody.
  static void import(std::vector<toolkit::admin::ModelLeaf> leaves);

  static api_status_t set(toolkit::CCds& cds, const std::string& path,
                          const toolkit::CElement& element, pcd_tribool_t persist = PCD_FALSE);
  static api_status_t remove(toolkit::CCds& cds, const std::string& node);
  static toolkit::CEvent makeEvent(std::int32_t type, const std::string& path,
                                   const std::string& message, timeval time);
  // What was handed over to others after a number.
  static std::vector<toolkit::CEventStream::Entry> events(
      toolkit::CCds& cds, std::uint64_t after = 0,
      toolkit::CEventStream::Kind kind = toolkit::CEventStream::kEvents);
  static std::vector<api_status_t> send(toolkit::CCds& cds,
                                        const std::vector<toolkit::CEvent>& events);
  static std::vector<toolkit::admin::Watchdog> watchdogs();

  const std::filesystem::path& folder() const { return folder_.path(); }
  std::filesystem::path liveFile() const { return folder() / "run/live.mdb"; }
  std::filesystem::path persistentFile() const { return folder() / "state/persistent.mdb"; }

 private:
  TemporaryFolder folder_;
};

// The same with a client of the test's own.
class ClientTest : public StoreTest {
 protected:
  using StoreTest::events, StoreTest::remove, StoreTest::send, StoreTest::set, StoreTest::text;

  void import(std::vector<toolkit::admin::ModelLeaf> leaves);
  std::string text(const std::string& path) { return text(cds_, path); }
  template <class Value>
  api_status_t set(const std::string& path, const Value& value, pcd_tribool_t persist = PCD_FALSE) {
    return set(cds_, path, toolkit::CElement(value), persist);
  }
  api_status_t remove(const std::string& node) { return remove(cds_, node); }
  std::vector<toolkit::CEventStream::Entry> events() { return events(cds_); }
  std::vector<api_status_t> send(const std::vector<toolkit::CEvent>& events) {
    return send(cds_, events);
  }

  toolkit::CCds cds_;
};
