#include "publisher_fixture.h"

#include <chrono>
#include <csignal>
#include <memory>
#include <sstream>
#include <thread>

#include "TarnixH.h"
#include "toolkit/sw_info.h"
#include "toolkit/time.h"

using toolkit::CElement;

namespace {

constexpr const char* kPublisher = "/Software/Data Servers/WS-Publisher";
constexpr const char* kMark = "/Mark";

std::string textOf(const std::string* text) {
  return text == nullptr ? "-" : *text;
}

std::string shown(const std::string* value, const std::string* numeric) {
  return textOf(value) + (numeric == nullptr ? "" : " [" + *numeric + "]");
}

std::string line(const nss1__PublishedValue& value) {
  EXPECT_NE(value.RealTime, value.Trend);
  return (value.Trend ? "trend " : "") + textOf(value.Path) + " = " +
         shown(value.Value, value.NumericValue) + " (" + std::to_string(value.Quality) + ")";
}

std::string line(const nss1__Event& event) {
  static const char* const kTypes[] = {"Event", "Alarm", "Structure", "Lost"};
  std::string text = kTypes[event.EventType];
  text += " " + std::to_string(event.EventId) + " " + textOf(event.SourcePath) + ": " +
          textOf(event.Description) + " = " + shown(event.Value, event.NumericValue);
  return event.Quality == nullptr ? text : text + " (" + *event.Quality + ")";
}

}  // namespace

Message parsed(const std::string& request) {
  EXPECT_NE(request.find("\r\nContent-Type: text/xml; charset=utf-8\r\n"), std::string::npos);
  EXPECT_NE(
      request.find("\r\nSOAPAction: \"http://tarnix.example/TarnixWSSubscriber/publish\"\r\n"),
      std::string::npos);
  EXPECT_EQ(request.find("\r\nExpect:"), std::string::npos);
  const auto release = [](struct soap* ctx) {
    soap_destroy(ctx);
    soap_end(ctx);
    soap_free(ctx);
  };
  const std::unique_ptr<struct soap, decltype(release)> ctx(
      soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE | SOAP_XML_STRICT), release);
  std::istringstream body(request.substr(request.find("\r\n\r\n") + 4));
  ctx->is = &body;
  _nss1__publish in;
  in.soap_default(ctx.get());
  EXPECT_TRUE(soap_begin_recv(ctx.get()) == SOAP_OK &&
              soap_envelope_begin_in(ctx.get()) == SOAP_OK &&
              soap_body_begin_in(ctx.get()) == SOAP_OK &&
              soap_get__nss1__publish(ctx.get(), &in, "nss1:publish", nullptr) != nullptr)
      << request;
  Message message = {in.subscriptionId, in.sequence, {}};
  if (in.values != nullptr) {
    for (const auto* value : in.values->PublishedValue) {
      message.records.push_back(line(*value));
    }
  }
  if (in.events != nullptr) {
    for (const auto* event : in.events->Event) {
      message.records.push_back(line(*event));
    }
  }
  return message;
}

bool await(const std::function<bool()>& condition) {
  for (int tries = 0; tries < 3000; ++tries) {
    if (condition()) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

std::string subscriptionPath(const std::string& id) {
  return std::string(kPublisher) + "/Subscriptions/" + id;
}

timeval presentTime() {
  timeval now = {};
  qel_QELtoUNIXtime64(qel_UTCtime64(), &now);
  return now;
}

PublisherTest::PublisherTest() {
  import({leaf("/A", "Value", CElement(1.0)), leaf("/B", "Value", CElement(1.0))});
  cds.init();
}

PublisherTest::~PublisherTest() {
  if (pid_ > 0) {
    stop(SIGKILL);
  }
}

void PublisherTest::start(const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"--poll", "20", "--backoff", "50", "--log-level", "9"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  std::filesystem::create_directory(folder() / "wspub");
  pid_ = startProcess(folder() / "wspub", WSPUB, arguments, [this] {
    setenv("TOOLKIT_LOG", (folder() / "log").c_str(), 1);
    for (const char* proxy : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"}) {
      unsetenv(proxy);
    }
  });
}

int PublisherTest::stop(int signal) {
  kill(pid_, signal);
  const Outcome outcome = waitForProcess(pid_, folder() / "wspub");
  pid_ = -1;
  return outcome.status;
}

void PublisherTest::put(const std::string& path, const CElement& element) {
  CElement stamped = element;
  stamped.set_time(presentTime());
  ASSERT_EQ(set(cds, path, stamped), API_SUCCESS) << path;
}

void PublisherTest::send(const toolkit::CEvent& event) {
  api_status_t status = API_NONE;
  cds.event_send(event, status);
  ASSERT_EQ(status, API_SUCCESS);
}

void PublisherTest::write(const std::string& id, const std::string& name, CElement element,
                          const std::string& user) {
  element.set_time(presentTime());
  api_status_t status = API_NONE;
  cds.set_leaf(subscriptionPath(id) + "/" + name, element, status, PCD_FALSE,
               "Web-Services: " + user + "@192.0.2.1");
  ASSERT_EQ(status, API_SUCCESS) << name;
}

void PublisherTest::writePoints(const std::string& id, const std::vector<PointWish>& points,
                                const std::string& user) {
  for (const PointWish& point : points) {
    std::string name;
    toolkit::CPath::PathToNodeName(point.path, name);
    write(id, "RTNodes/" + name + "/RqstdFreshness", CElement(point.freshness), user);
    write(id, "RTNodes/" + name + "/Deadband", CElement(point.deadband), user);
  }
}

void PublisherTest::create(const std::string& id, const Wish& wish) {
  api_status_t status = API_NONE;
  cds.remove_node(subscriptionPath(id), status, "test");
  write(id, "RTNodeCount", CElement(0), wish.user);
  write(id, "ReplyURI", CElement(wish.uri), wish.user);
  write(id, "LeaseDuration", CElement(wish.lease), wish.user);
  write(id, "LogSinceTime", CElement(wish.since), wish.user);
  write(id, "LogOptions", CElement(wish.options), wish.user);
  cds.add_node(subscriptionPath(id) + "/RTNodes", status, "test");
  cds.add_to_leaf(std::string(kPublisher) + "/SubUpdateCount", 1, nullptr, status, "test");
  writePoints(id, wish.points, wish.user);
  write(id, "RTNodeCount", CElement(static_cast<int>(wish.points.size())), wish.user);
}

void PublisherTest::update(const std::string& id, const std::vector<PointWish>& more,
                           const std::vector<std::string>& fewer) {
  writePoints(id, more, "operator");
  for (const std::string& path : fewer) {
    std::string name;
    toolkit::CPath::PathToNodeName(path, name);
    api_status_t status = API_NONE;
    cds.remove_node(subscriptionPath(id) + "/RTNodes/" + name, status, "test");
  }
  write(id, "RTNodeCount", CElement(7), "operator");
}

void PublisherTest::cancel(const std::string& id) {
  api_status_t status = API_NONE;
  cds.remove_node(subscriptionPath(id), status, "test");
  ASSERT_EQ(status, API_SUCCESS);
  cds.add_to_leaf(std::string(kPublisher) + "/SubUpdateCount", 1, nullptr, status, "test");
}

bool PublisherTest::exists(const std::string& id) {
  return cds.node_exists(subscriptionPath(id));
}

int PublisherTest::counter() {
  return std::stoi(text(cds, std::string(kPublisher) + "/SubUpdateCount"));
}

std::vector<std::string> PublisherTest::records(const Receiver& receiver, const std::string& id) {
  std::vector<std::string> all;
  for (const std::string& request : receiver.taken()) {
    const Message message = parsed(request);
    if (id.empty() || message.subscriptionId == id) {
      all.insert(all.end(), message.records.begin(), message.records.end());
    }
  }
  return all;
}

bool PublisherTest::awaitLast(const Receiver& receiver, const std::string& record) {
  return await([&] {
    const auto all = records(receiver);
    return !all.empty() && all.back() == record;
  });
}

void PublisherTest::settle(const Receiver& receiver) {
  Receiver mark;
  const std::string id = "mark" + std::to_string(++marks_);
  put(kMark, CElement(marks_));
  create(id, {mark.uri(), {{kMark}}});
  ASSERT_TRUE(awaitLast(mark, std::string(kMark) + " = " + std::to_string(marks_) + " (192)"));
  cancel(id);
  // What was queued in the same turn has left by now or leaves with the next answers.
  std::size_t before = receiver.attempts();
  ASSERT_TRUE(await([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return std::exchange(before, receiver.attempts()) == receiver.attempts();
  }));
}

std::string PublisherTest::log() const {
  return contentsOf(folder() / "log");
}
