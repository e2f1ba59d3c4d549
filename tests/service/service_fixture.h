// A running dravixd of a test's own: own store, own socket, own log.
//
// Each process runs in a private mount namespace. There its /tmp is the test's folder, so that any
// number of tests run side by side although the socket's path is fixed, and /sbin/reboot cannot be
// executed.
#pragma once

#include "store_fixture.h"

using Texts = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;
using Leaves = std::vector<toolkit::admin::ModelLeaf>;

inline const std::string kSoap11 = "http://schemas.xmlsoap.org/soap/envelope/";
inline const std::string kSoap12 = "http://www.w3.org/2003/05/soap-envelope";

// A SOAP 1.1 envelope around an element of the core namespace, or of another one.
std::string envelope(const std::string& operation, const std::string& children,
                     const std::string& name = "TarnixWS");
// An element for each name and its content.
std::string tags(const Pairs& contents);
// An element of the name for each text.
std::string tagged(const std::string& name, const Texts& texts);
// The paths and values of a setValues, each list as it stands.
inline std::string pathsAndValues(const Texts& paths, const Texts& texts) {
  return tagged("n:paths", paths) + tagged("n:values", texts);
}
// The points of a subscription.
inline std::string point(const std::string& path, const std::string& more = "") {
  return tags({{"n:NodeSubscription", tags({{"n:Path", path}}) + more}});
}
std::string repeated(const std::string& text, int count);

// Texts of all elements of this local name, in order, with the references resolved.
Texts elements(const std::string& xml, const std::string& name);
// The same of each name.
void expectElements(const std::string& xml,
                    const std::vector<std::pair<std::string, Texts>>& expected);

// The leaf at "node:name", or the node's value.
template <class Value>
toolkit::admin::ModelLeaf leafAt(const std::string& path, const Value& value) {
  const std::size_t colon = path.find(':');
  const std::string name = colon == std::string::npos ? "Value" : path.substr(colon + 1);
  return {path.substr(0, colon), name, CElement(value)};
}

struct FastCgiReply {
  bool complete = false;  // the service ended the request properly
  std::string out;        // headers and body as the service wrote them

  int status() const;        // from the Status header; 200 when there is none
  std::string body() const;  // what follows the headers
};

// Sends one request to the UNIX socket at `socketPath` and reads until the service ends it.
FastCgiReply fastCgiRequest(const std::string& socketPath, const Pairs& params,
                            const std::string& body);

// The bytes of a request.
std::string encodedRequest(const Pairs& params, const std::string& body);

// A socket of the type at the path; -1 when it cannot be had.
int boundSocket(const std::string& path, int type);

// A peer that sends the bytes as they are and then stays, silent, until the object goes.
class SilentPeer {
 public:
  SilentPeer(const std::string& socketPath, const std::string& bytes);
  ~SilentPeer();
  SilentPeer(const SilentPeer&) = delete;
  SilentPeer& operator=(const SilentPeer&) = delete;

  FastCgiReply reply() const;

 private:
  int descriptor_;
};

class ServiceTest : public StoreTest {
 protected:
  ServiceTest();
  ~ServiceTest() override;

  // The store that the service opens: the test model, which is there from the beginning, and more.
  static void import(const Leaves& more, const std::vector<toolkit::admin::Right>& rights = {});

  // Starts dravixd and waits until its socket answers; fails the test when it does not.
  void start(const Texts& arguments = {"-d", "-D", "9"});
  // Called in each process that is started from now on, before it becomes dravixd.
  void prepareWith(std::function<void()> prepare) { prepare_ = std::move(prepare); }
  // Starts one more dravixd in the same folder. The caller ends it and waits for it.
  pid_t startBeside(const Texts& arguments = {"-d", "-D", "9"}) const;
  // Runs dravixd to its end.
  Outcome run(const Texts& arguments);
  // Starts it in the background; returns its number when it listens there.
  pid_t startDaemon(const std::string& where);
  // Sends a signal and waits for the end.
  Outcome stop(int signal);
  // Waits for an end that comes by itself.
  Outcome waitForEnd() { return waitForProcess(std::exchange(pid_, -1), root()); }

  // Log lines so far.
  std::string log() const { return contentsOf(root() / "log"); }
  // Waits until the log holds the text; fails the test when it does not come.
  void awaitLog(const std::string& text) const;

  std::string socketPath() const { return (root() / "tmp/dravixd.socket").string(); }
  const fs::path& root() const { return folder(); }
  // A folder of waveforms; puts a record there under another name.
  fs::path waves() const { return root() / "waves"; }
  void copyWaveform(const std::string& from, const std::string& to,
                    const Texts& extensions = {".cfg", ".dat", ".hdr"}) const;
  pid_t pid() const { return pid_; }

  // One request with the given body, as the user, from 192.0.2.1 unless `more` tells otherwise.
  FastCgiReply post(const std::string& body, const std::string& user = "operator",
                    const Pairs& more = {}) const;
  // One SOAP 1.1 operation of the core namespace (prefix "n"); returns the reply's envelope.
  std::string call(const std::string& operation, const std::string& children,
                   const std::string& user = "operator") const {
    return post(envelope(operation, children), user).body();
  }
  // The texts of its results, also in another namespace.
  Texts results(const std::string& operation, const std::string& children,
                const std::string& user = "operator", const std::string& name = "TarnixWS") const {
    return elements(post(envelope(operation, children, name), user).body(), operation + "Result");
  }
  // An operation of device data, whose children have no prefix.
  std::string ask(const std::string& operation, const std::string& children,
                  const std::string& user = "operator") const {
    return post(envelope(operation, children, "TarnixWSVK"), user).body();
  }
  // The only one of them.
  std::string result(const std::string& operation, const std::string& children,
                     const std::string& user = "operator",
                     const std::string& name = "TarnixWS") const;
  // setValue: the result's text. setValues: the results' texts.
  std::string set(const std::string& path, const std::string& text,
                  const std::string& options = "") const;
  Texts setMany(const Texts& paths, const Texts& texts, const std::string& options = "") const;
  // getValue of one path: the result's text.
  std::string value(const std::string& path, const std::string& options = "",
                    const std::string& user = "operator") const;

  // What other processes find in the store.
  static std::string stored(const std::string& path) {
    CCds cds;
    return StoreTest::text(cds, path);
  }
  static std::string appStatus(const std::string& worker = "") {
    return stored("/Software/Data Servers/BACnet WebServices" + worker + "/AppStatus");
  }

 private:
  bool hasEnded() const;

  std::function<void()> prepare_;
  pid_t pid_ = -1;
};
