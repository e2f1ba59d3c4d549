// CCds: client of the data store, a tree of nodes whose leaves hold typed values.
//
// Every process of the device has its own client; they share one store. It has two halves:
//   live        $TOOLKIT_RUN (default /run/toolkit): all nodes and leaves, what every read sees.
//   persistent  $TOOLKIT_STATE (default /var/lib/toolkit): what survives a restart.
// A normal write changes the live half only. A persistent write is committed durably to the
// persistent half and then to the live half, and only then has it succeeded.
//
// A leaf is named by a CPath. `Children` and `Attributes` are automatic leaves of every node: the
// names of its child nodes and of its leaves, joined by ";". Writing a leaf makes the missing nodes
// above it. The names of the tree are case sensitive.
//
// Calls return 0 when the store was asked; the outcome for each path is then in its api_status_t.
// Non-zero means that the store could not be asked at all (client closed, store damaged, disk
// failed): every status is then API_FAILED or the more exact reason, and outputs are defaults.
// Nothing throws except std::bad_alloc. A batch is one transaction: readers in any process see all
// of it or nothing.
//
// One thread per process. A client may be opened before fork(): the child notices and opens anew.
#pragma once

#include <cassert>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "toolkit/element.h"
#include "toolkit/event.h"
#include "toolkit/path.h"
#include "toolkit/types.h"

namespace toolkit {

namespace store {
class Change;
class Store;
}  // namespace store

using syslog_severity_t = event_severity_t;

class CCds {
 public:
  // Tries to open the store; see init() for the outcome.
  CCds();
  ~CCds();
  CCds(const CCds&) = delete;
  CCds& operator=(const CCds&) = delete;

  // Opens the store unless it is open. A missing live half is built from the persistent one, by
  // exactly one of the processes that ask for it. 0, or non-zero with the reason in last_error():
  // no store, a damaged one, one of another version, no right to it.
  int init();
  const std::string& last_error() const { return lastError_; }

  // True once init() has succeeded, also after close().
  bool is_initialized() const { return initialized_; }
  bool is_open() const { return store_ != nullptr; }
  // Ends this client's use of the store: later calls fail with API_FAILED.
  void close();

  // Every later write of this client fails with API_READ_ONLY, but for set_own_leaf() and the
  // watchdog's.
  void setReadOnly() { readOnly_ = true; }

  // Every later write of this client is for others, who shall not stop the device: API_STORE_FULL
  // where it makes the store grow and less than an eighth of what the store may have is free. But
  // for set_own_leaf() and the watchdog's.
  void setForClients() { forClients_ = true; }

  // API_SUCCESS, API_NOT_FOUND, API_BAD_PATH or API_FAILED. A sub-attribute in the path is not
  // looked at: the leaf is read. An array element path gives that element as a String.
  int get_leaf(const CPath& path, api_status_t& status, CElement& element,
               element_property_t& source);
  // The same for those who need the element alone: nothing unless get_leaf gives API_SUCCESS.
  std::optional<CElement> find_leaf(const CPath& path);
  // One transaction; the outputs have one entry a path, in order.
  int get_leaves(const std::vector<CPath>& paths, std::vector<api_status_t>& statuses,
                 std::vector<CElement>& elements, std::vector<element_property_t>& sources);

  // Writes a leaf with the element's own time stamp. `source` says who wrote ("Web-Services,
  // user, address") and is kept with the leaf. API_BAD_PATH for a path with a sub-attribute or an
  // index, for an automatic leaf, and for one that is too long.
  int set_leaf(const CPath& path, const CElement& element, api_status_t& status,
               pcd_tribool_t persist, const std::string& source);
  // One transaction for all good entries; a bad path among them fails alone. A full store or a
  // failed disk fails every entry and changes nothing.
  // `events` tell of the change and go with it: they are handed over as by events_send.
  int set_leaves(const std::vector<CPath>& paths, const std::vector<CElement>& elements,
                 const std::vector<pcd_tribool_t>& persist, std::vector<api_status_t>& statuses,
                 const std::string& source, const std::vector<CEvent>& events = {});
  // Write what a program tells of itself, to the live half; a read-only client does, too. Outcomes
  // as set_leaf's and set_leaves'.
  int set_own_leaf(const CPath& path, const CElement& element, api_status_t& status,
                   const std::string& source);
  int set_own_leaves(const std::vector<CPath>& paths, const std::vector<CElement>& elements,
                     std::vector<api_status_t>& statuses, const std::string& source);
  // Adds to the Integer at `path` in one transaction, so that no count is lost between processes. A
  // missing leaf counts as 0, and a sum that is too large goes on from the smallest number. `sum`,
  // unless null, receives the new value.
  int add_to_leaf(const CPath& path, int delta, int* sum, api_status_t& status,
                  const std::string& source, pcd_tribool_t persist = PCD_FALSE);
  // Who wrote a leaf: the `source` of its last write. Outcomes as get_leaf's.
  int get_writer(const CPath& path, api_status_t& status, std::string& writer);
  // Removes one leaf from both halves.
  int clear_leaf(const CPath& path, api_status_t& status, const std::string& source);

  // API_SUCCESS when the node exists.
  int test_node(const std::string& nodePath, api_status_t& status);
  bool node_exists(const std::string& nodePath);
  // Makes a node and the missing ones above it; an existing node is a success.
  int add_node(const std::string& nodePath, api_status_t& status, const std::string& source);
  // Removes a node with all below it, from both halves, in one transaction. API_NOT_AUTHORIZED for
  // "/", "/Software", "/Alarms", "/Software/Data Servers" and "/Software/Commands".
  int remove_node(const std::string& nodePath, api_status_t& status, const std::string& source);
  // The same, but only while the leaf at `leaf` is still `expected`, time stamp included; else
  // API_NOT_FOUND and nothing changes.
  int remove_node_if(const std::string& nodePath, const CPath& leaf, const CElement& expected,
                     api_status_t& status, const std::string& source);

  // Hands events over, in one transaction: acknowledgements to the alarm engine, all others to
  // whoever reads events (see CEventStream). API_NOT_FOUND for an acknowledgement of an alarm that
  // does not stand under /Alarms, API_STORE_FULL when 1,000 of them wait already.
  int events_send(const std::vector<CEvent>& events, std::vector<api_status_t>& statuses);
  int event_send(const CEvent& event, api_status_t& status) {
    std::vector<api_status_t> retcodes;
    const int result = events_send({event}, retcodes);
    assert(retcodes.size() == 1);
    status = retcodes.front();
    return result;
  }

  // Enters a system event in the device's log: hands it over as events_send does, with the time of
  // the call. `source` says who caused it, `path` what it is about.
  int syslog_add(const std::string& message, syslog_severity_t severity, const std::string& source,
                 const std::string& path);

  // A number that every write to the live half changes, in whatever process. 0 when the store
  // cannot be read.
  std::size_t state();

  // Watchdog: a process says its name and at most how many seconds will pass between two pings;
  // `devctl status` tells who is overdue. `action` is kept for the supervisor.
  int watchdog_register(api_status_t& status, const std::string& name, int periodSeconds,
                        int action);
  int watchdog_ping(api_status_t& status);
  int watchdog_clear(api_status_t& status);

  // The platform's own classes reach the store through this; null when the client is closed.
  const std::shared_ptr<store::Store>& handle() const { return store_; }

 private:
  api_status_t write(const std::function<void(store::Change&)>& body);
  api_status_t writeOwn(const std::function<void(store::Change&)>& body);
  int change(bool goodPath, api_status_t& status,
             const std::function<api_status_t(store::Change&)>& body);
  void noteFailure(int code);

  // Nodes that a batch read has found, and the state of the store in which it found them: a test of
  // one of them needs no look-up while nobody has written.
  struct FoundNodes {
    std::size_t state = 0;
    std::unordered_set<std::string> paths;
  };

  std::shared_ptr<store::Store> store_;
  std::string lastError_;
  std::string watchdogName_;
  FoundNodes found_;
  bool initialized_ = false;
  bool readOnly_ = false;
  bool forClients_ = false;
};

}  // namespace toolkit
