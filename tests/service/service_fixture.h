// A running dravixd of a test's own: own store, own socket, own log.
//
// Each process runs in a private mount namespace. There its /tmp is the test's folder, so that any
// number of tests run side by side although the socket's path is fixed, and /sbin/reboot cannot be
// executed.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fastcgi_client.h"
#include "test_program.h"
#include "toolkit/admin.h"

using Texts = std::vector<std::string>;

// A SOAP 1.1 envelope around an element of the core namespace, or of another one.
std::string envelope(const std::string& operation, const std::string& children,
                     const std::string& name = "TarnixWS");

class ServiceTest : public testing::Test {
 protected:
  ServiceTest();
  ~ServiceTest() override;

  // The store that the service will open.
  void import(const toolkit::admin::Model& model) {
    ASSERT_EQ(toolkit::admin::importModel(model, true), "");
  }
  static toolkit::admin::Model testModel();

  // Starts dravixd and waits until its socket answers; fails the test when it does not.
  void start(const Texts& arguments = {"-d", "-D", "9"});
  // Called in each process that is started from now on, before it becomes dravixd.
  void prepareWith(std::function<void()> prepare) { prepare_ = std::move(prepare); }
  // Starts one more dravixd in the same folder. The caller ends it and waits for it.
  pid_t startBeside(const Texts& arguments = {"-d", "-D", "9"}) const;
  // Runs dravixd to its end.
  Outcome run(const Texts& arguments);
  // Sends a signal and waits for the end.
  Outcome stop(int signal);
  // Waits for an end that comes by itself.
  Outcome waitForEnd() { return waitForProcess(std::exchange(pid_, -1), root()); }

  // Log lines so far.
  std::string log() const { return contentsOf(root() / "log"); }
  // Waits until the log holds the text; fails the test when it does not come.
  void awaitLog(const std::string& text) const;

  std::string socketPath() const { return (root() / "tmp/dravixd.socket").string(); }
  const std::filesystem::path& root() const { return folder_.path(); }
  pid_t pid() const { return pid_; }

  // One request with the given body, as the user, from 192.0.2.1 unless `more` tells otherwise.
  FastCgiReply post(const std::string& body, const std::string& user = "operator",
                    const FastCgiParams& more = {}) const;
  // One SOAP 1.1 operation of the core namespace (prefix "n"); returns the reply's envelope.
  std::string call(const std::string& operation, const std::string& children,
                   const std::string& user = "operator") const {
    return post(envelope(operation, children), user).body();
  }
  // The same in the namespace of device data, whose children have no prefix.
  std::string ask(const std::string& operation, const std::string& children,
                  const std::string& user = "operator") const {
    return post(envelope(operation, children, "TarnixWSVK"), user).body();
  }
  // setValue: the result's text. setValues: the results' texts.
  std::string set(const std::string& path, const std::string& text,
                  const std::string& options = "") const;
  Texts setMany(const Texts& paths, const Texts& texts, const std::string& options = "") const;
  // getValue of one path: the result's text.
  std::string value(const std::string& path, const std::string& options = "",
                    const std::string& user = "operator") const;

 private:
  void spawn(const Texts& arguments);
  bool hasEnded() const;

  std::function<void()> prepare_;
  TemporaryFolder folder_{"/var/tmp"};  // the service sees another /tmp
  pid_t pid_ = -1;
};

// The paths and values of a setValues, each list as it stands.
std::string pathsAndValues(const Texts& paths, const Texts& texts);

// Texts of all elements of this local name, in order, with the references resolved.
Texts elements(const std::string& xml, const std::string& name);
