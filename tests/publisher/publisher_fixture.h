// A running wspub on a store of the test's own, and subscriptions as the service leaves them there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "receiver.h"
#include "store_fixture.h"

// One record of a message as a line: "/A = 5 (192)", with "[2]" before the quality for a state's
// number; "trend /A = 5 (192)"; "Alarm 7 /A: Too high = 5". Values come before events.
struct Message {
  std::string subscriptionId;
  std::uint64_t sequence = 0;
  std::vector<std::string> records;
};
// Fails the test when the request is no message to a subscriber.
Message parsed(const std::string& request);

// True when the condition holds within a generous time.
bool await(const std::function<bool()>& condition);

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
    std::string user = "operator";
  };

  PublisherTest();
  ~PublisherTest() override;

  // What the service writes for a client.
  void create(const std::string& id, const Wish& wish);
  void update(const std::string& id, const std::vector<PointWish>& more,
              const std::vector<std::string>& fewer = {});
  void cancel(const std::string& id);
  bool exists(const std::string& id);
  int counter();

  // Starts wspub with short times; `more` comes behind its arguments.
  void start(const std::vector<std::string>& more = {});
  // Ends it: its exit status.
  int stop(int signal);

  void put(const std::string& path, const toolkit::CElement& element);
  void put(const std::string& path, double number) { put(path, toolkit::CElement(number)); }
  void send(const toolkit::CEvent& event);

  // Records of all messages that were taken, in order; those of one subscription where an id is
  // given.
  static std::vector<std::string> records(const Receiver& receiver, const std::string& id = "");
  // Waits until the record stands at the end.
  static bool awaitLast(const Receiver& receiver, const std::string& record);
  // Waits until wspub has looked at everything written before, and has sent it to `receiver`.
  void settle(const Receiver& receiver);
  std::string log() const;

  toolkit::CCds cds;

 private:
  void writePoints(const std::string& id, const std::vector<PointWish>& points,
                   const std::string& user);
  void write(const std::string& id, const std::string& name, toolkit::CElement element,
             const std::string& user);

  pid_t pid_ = -1;
  int marks_ = 0;
};

std::string subscriptionPath(const std::string& id);
timeval presentTime();
