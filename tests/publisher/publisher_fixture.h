// A running wspub on a store of the test's own, and subscriptions as the service leaves them there.
#pragma once

#include <algorithm>

#include "receiver.h"
#include "store_fixture.h"
#include "toolkit/leaf_batch.h"

class PublisherTest : public ClientTest {
 protected:
  using CElement = toolkit::CElement;

  struct PointWish {
    std::string path;
    int freshness = 0;
    double deadband = 0;
  };
  struct Wish {
    std::string uri;
    std::vector<PointWish> points = {};
    int options = 0;
    int lease = 0;
    timeval since = {};
  };

  PublisherTest() {
    setenv("TOOLKIT_LOG", (folder() / "log").c_str(), 1);
    setenv("no_proxy", "*", 1);
    import({leaf("/A", 1.0), leaf("/B", 1.0)});
  }
  ~PublisherTest() override {
    if (pid_ > 0) {
      stop(SIGKILL);
    }
  }

  static std::string subscriptionPath(const std::string& id) {
    return kPublisher + "/Subscriptions/" + id;
  }
  // What the service writes for the user, with one point more, see settled().
  void create(const std::string& id, Wish wish) {
    const std::string base = subscriptionPath(id);
    remove(base);
    put(base + "/RTNodeCount", CElement(0));
    put(base + "/ReplyURI", CElement(wish.uri));
    put(base + "/LeaseDuration", CElement(wish.lease));
    put(base + "/LogSinceTime", CElement(wish.since));
    put(base + "/LogOptions", CElement(wish.options));
    count();
    wish.points.push_back({"/Z"});
    update(id, wish.points);
  }
  void update(const std::string& id, const std::vector<PointWish>& more) {
    for (const PointWish& point : more) {
      std::string name;
      toolkit::CPath::PathToNodeName(point.path, name);
      name.insert(0, subscriptionPath(id) + "/RTNodes/");
      put(name + "/RqstdFreshness", CElement(point.freshness));
      put(name + "/Deadband", CElement(point.deadband));
    }
    put(subscriptionPath(id) + "/RTNodeCount", CElement(7));
  }
  bool exists(const std::string& id) { return cds_.node_exists(subscriptionPath(id)); }
  // Counts a change among the subscriptions.
  void count() {
    api_status_t status = API_NONE;
    cds_.add_to_leaf(kPublisher + "/SubUpdateCount", 1, nullptr, status, "test");
  }

  // Starts wspub with short times; `more` comes after its arguments.
  void start(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"--poll", "20", "--backoff", "50"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    pid_ = startProcess(folder(), WSPUB, arguments);
  }
  // Ends it: its exit status.
  int stop(int signal) {
    kill(pid_, signal);
    return waitForProcess(std::exchange(pid_, -1), folder()).status;
  }

  void put(const std::string& path, double number) { put(path, CElement(number)); }
  void put(const std::string& path, CElement element) {
    toolkit::CLeafBatch leaf;
    leaf.add(path, std::move(element));
    ASSERT_EQ(leaf.write(cds_, "Web-Services: " + user + "@192.0.2.1"), API_SUCCESS) << path;
  }
  void send(const toolkit::CEvent& event) {
    ASSERT_EQ(ClientTest::send({event}), std::vector{API_SUCCESS});
  }

  // Records of all messages that were taken, in order; those of one subscription where an id is
  // given. None of the point that settled() uses.
  static Texts records(const Receiver& receiver, const std::string& id = "") {
    Texts all;
    for (const Message& message : receiver.taken()) {
      if (id.empty() || message.subscriptionId == id) {
        all.insert(all.end(), message.records.begin(), message.records.end());
      }
    }
    std::erase_if(all, [](const auto& record) { return record.starts_with(kMark); });
    return all;
  }
  // The records once everything written before has been looked at and sent.
  Texts settled(const Receiver& receiver, const std::string& id = "one") {
    // The look that brings the first mark may have begun before it.
    for (int i = 0; i < 2; ++i) {
      put("/Z", ++marks_);
      const std::string mark = kMark + std::to_string(marks_) + " (192)";
      EXPECT_TRUE(await([&] {
        return std::ranges::any_of(receiver.taken(), [&](const Message& message) {
          return message.subscriptionId == id && std::ranges::count(message.records, mark) > 0;
        });
      })) << mark;
    }
    return records(receiver, id);
  }

  std::string user = "operator";

 private:
  inline static const std::string kPublisher = "/Software/Data Servers/WS-Publisher";
  // Its point stands after all others in the order in which points are read.
  inline static const std::string kMark = "/Z = ";

  pid_t pid_ = -1;
  int marks_ = 0;
};
