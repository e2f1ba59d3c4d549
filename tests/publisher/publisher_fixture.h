// A running wspub on a store of the test's own, and subscriptions as the service leaves them there.
#pragma once

#include <string>
#include <vector>

#include "receiver.h"
#include "store_fixture.h"

std::string subscriptionPath(const std::string& id);

class PublisherTest : public StoreTest {
 protected:
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

  PublisherTest();
  ~PublisherTest() override;

  // What the service writes for the user, with one point more, see settled().
  void create(const std::string& id, Wish wish);
  void update(const std::string& id, const std::vector<PointWish>& more);
  bool exists(const std::string& id) { return cds.node_exists(subscriptionPath(id)); }
  // Counts a change among the subscriptions.
  void count();

  // Starts wspub with short times; `more` comes after its arguments.
  void start(const std::vector<std::string>& more = {});
  // Ends it: its exit status.
  int stop(int signal);

  void put(const std::string& path, toolkit::CElement element);
  void put(const std::string& path, double number) { put(path, toolkit::CElement(number)); }
  void send(const toolkit::CEvent& event);

  // Records of all messages that were taken, in order; those of one subscription where an id is
  // given. None of the point that settled() uses.
  static Texts records(const Receiver& receiver, const std::string& id = "");
  // The records once everything written before has been looked at and sent.
  Texts settled(const Receiver& receiver, const std::string& id = "one");

  toolkit::CCds cds;
  std::string user = "operator";

 private:
  pid_t pid_ = -1;
  int marks_ = 0;
};
