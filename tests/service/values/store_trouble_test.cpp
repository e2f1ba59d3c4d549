// Writing while the store cannot take it: error strings, old values whole, and a service that goes
// on.
#include <cstdlib>

#include "service_fixture.h"
#include "store/store.h"

namespace {

const std::string kFailed = "? 16 Write Failed : CDS write access failed";
const std::string kBatchFailed = "? 16 Write Failed : Attempt to write data failed";

class StoreTrouble : public ServiceTest {
 protected:
  void begin(Leaves leaves = {}) {
    leaves.push_back(leafAt("/M1/Text", "old"));
    import(leaves);
    start();
  }
  void expectOldValues() {
    EXPECT_EQ(value("/M1/Count"), "42");
    EXPECT_EQ(value("/M1/Text"), "old");
  }
};

TEST_F(StoreTrouble, AReadOnlyStoreIsOnlyRead) {
  begin({leafAt("/ReadOnlyCDS", true)});
  EXPECT_EQ(set("/M1/Count", "1"), kFailed);
  EXPECT_EQ(setMany({"/M1/Count"}, {"1"}), std::vector{kFailed});
  EXPECT_TRUE(contains(call("createSubscription", tags({{"n:subscriptionId", "a"}})), "Fault"));
  expectOldValues();
  stop(SIGTERM);
  EXPECT_EQ(appStatus(), "2");
}

TEST_F(StoreTrouble, AFullMapTakesNeitherALargeTextNorASmallOneBesideIt) {
  setenv("TOOLKIT_STORE_LIMIT", "1000000", 1);
  begin();
  const std::string large(1000000, 'x');
  for (const char* options : {"", "persist"}) {
    EXPECT_EQ(set("/M1/Text", large, options), kFailed);
    EXPECT_EQ(setMany({"/M1/Count", "/M1/Text"}, {"1", large}, options), Texts(2, kBatchFailed));
    expectOldValues();
    ASSERT_EQ(toolkit::admin::boot(), "");
    expectOldValues();
  }
  EXPECT_EQ(set("/M1/Count", "43", "persist"), "43") << "what fits is still taken";
}

TEST_F(StoreTrouble, AClientThatFillsTheStoreDoesNotStopTheMeter) {
  setenv("TOOLKIT_STORE_LIMIT", "2000000", 1);
  begin();
  std::string reply;
  for (int i = 0; i < 1000 && !contains(reply, "? 16 Write Failed"); ++i) {
    const std::string path = "/M1/New" + std::to_string(i);
    const std::string children = tags({{"n:path", path}, {"n:value", std::string(5000, 'x')}});
    reply = post(envelope("SetLeaf", children, "TarnixWSTest"), "admin").body();
  }
  EXPECT_TRUE(contains(reply, "? 16 Write Failed"));
  EXPECT_EQ(set("/M1/Count", "43"), "43") << "what does not grow is still taken";
  CCds meter;
  for (int i = 0; i < 50; ++i) {
    CEvent event;
    event.message = std::string(1000, 'x');
    api_status_t status = API_NONE;
    EXPECT_EQ(meter.event_send(event, status), 0);
    ASSERT_EQ(status, API_SUCCESS) << meter.last_error();
  }
}

TEST_F(StoreTrouble, AStoppedWriterKeepsTheServiceFromWritingOnly) {
  begin();
  ChildProcess holder([] {
    CCds own;
    toolkit::store::WriteTransaction turn(own.handle()->live());
    raise(SIGSTOP);
    return 0;
  });
  holder.awaitStop();
  for (const char* address : {"192.0.2.8", "192.0.2.9"}) {
    const std::string read = envelope("getValue", tags({{"n:path", "/M1/Count"}}));
    const FastCgiReply reply = post(read, "", {{"REMOTE_ADDR", address}});
    EXPECT_EQ(elements(reply.body(), "getValueResult"), Texts{"42"});
    EXPECT_EQ(set("/M1/Count", "1"), kFailed);
  }
  EXPECT_EQ(stop(SIGTERM).status, 0);
}

}  // namespace
