#include "publisher_fixture.h"

#include <algorithm>
#include <csignal>

#include "toolkit/leaf_batch.h"

using toolkit::CElement;

namespace {

constexpr const char* kPublisher = "/Software/Data Servers/WS-Publisher";
// Its point stands after all others in the order in which points are read.
const std::string kMark = "/Z = ";

}  // namespace

std::string subscriptionPath(const std::string& id) {
  return std::string(kPublisher) + "/Subscriptions/" + id;
}

PublisherTest::PublisherTest() {
  setenv("TOOLKIT_LOG", (folder() / "log").c_str(), 1);
  setenv("no_proxy", "*", 1);
  import({leaf("/A", "Value", CElement(1.0)), leaf("/B", "Value", CElement(1.0))});
  cds.init();
}

PublisherTest::~PublisherTest() {
  if (pid_ > 0) {
    stop(SIGKILL);
  }
}

void PublisherTest::start(const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"--poll", "20", "--backoff", "50"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  pid_ = startProcess(folder(), WSPUB, arguments);
}

int PublisherTest::stop(int signal) {
  kill(pid_, signal);
  const Outcome outcome = waitForProcess(pid_, folder());
  pid_ = -1;
  return outcome.status;
}

void PublisherTest::put(const std::string& path, CElement element) {
  toolkit::CLeafBatch leaf;
  leaf.add(path, std::move(element));
  ASSERT_EQ(leaf.write(cds, "Web-Services: " + user + "@192.0.2.1"), API_SUCCESS) << path;
}

void PublisherTest::send(const toolkit::CEvent& event) {
  api_status_t status = API_NONE;
  cds.event_send(event, status);
  ASSERT_EQ(status, API_SUCCESS);
}

void PublisherTest::create(const std::string& id, Wish wish) {
  const std::string base = subscriptionPath(id);
  remove(cds, base);
  put(base + "/RTNodeCount", CElement(0));
  put(base + "/ReplyURI", CElement(wish.uri));
  put(base + "/LeaseDuration", CElement(wish.lease));
  put(base + "/LogSinceTime", CElement(wish.since));
  put(base + "/LogOptions", CElement(wish.options));
  count();
  wish.points.push_back({"/Z"});
  update(id, wish.points);
}

void PublisherTest::update(const std::string& id, const std::vector<PointWish>& more) {
  for (const PointWish& point : more) {
    std::string name;
    toolkit::CPath::PathToNodeName(point.path, name);
    name.insert(0, subscriptionPath(id) + "/RTNodes/");
    put(name + "/RqstdFreshness", CElement(point.freshness));
    put(name + "/Deadband", CElement(point.deadband));
  }
  put(subscriptionPath(id) + "/RTNodeCount", CElement(7));
}

void PublisherTest::count() {
  api_status_t status = API_NONE;
  cds.add_to_leaf(std::string(kPublisher) + "/SubUpdateCount", 1, nullptr, status, "test");
}

Texts PublisherTest::records(const Receiver& receiver, const std::string& id) {
  Texts all;
  for (const Message& message : receiver.taken()) {
    if (id.empty() || message.subscriptionId == id) {
      all.insert(all.end(), message.records.begin(), message.records.end());
    }
  }
  std::erase_if(all, [](const auto& record) { return record.starts_with(kMark); });
  return all;
}

Texts PublisherTest::settled(const Receiver& receiver, const std::string& id) {
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
