// The publisher as a process, between a store and clients that behave well and badly.
#include <csignal>

#include "publisher_fixture.h"

namespace {

using toolkit::CElement;

class Publisher : public PublisherTest {};

TEST_F(Publisher, SendsTheFirstValueAndEachChangeOnceAndInOrder) {
  Receiver client;
  start();
  create("one", {client.uri(), {{"/A"}}});
  std::vector<std::string> expected = {"/A = 1 (192)"};
  ASSERT_TRUE(awaitLast(client, expected.back()));
  for (const int value : {2, 3, 3, 4}) {
    put("/A", value);
    const std::string record = "/A = " + std::to_string(value) + " (192)";
    ASSERT_TRUE(awaitLast(client, record));
    if (expected.back() != record) {
      expected.push_back(record);
    }
  }
  settle(client);
  EXPECT_EQ(records(client), expected);
  EXPECT_EQ(stop(SIGTERM), 0);
}

}  // namespace
