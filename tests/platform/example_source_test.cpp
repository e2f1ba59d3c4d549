// The example of a source of values is a whole program: what it writes arrives.
#include "store_fixture.h"

namespace {

using ExampleSource = ClientTest;

TEST_F(ExampleSource, WritesItsDevicesValuesAndLeavesTheWatchdog) {
  import({leaf("/Plant/Meter1:NodeType", "Device")});
  EXPECT_EQ(runProgram(folder(), FEED, {"/Plant/Meter1", "1"}).status, 0);
  EXPECT_EQ(text("/Plant/Meter1/VoltageA"), "230.841");
  EXPECT_EQ(text("/Plant/Meter1/EnergyImported"), "0.1");
  EXPECT_EQ(text("/Plant/Meter1/.Quality"), "192");
  const Read values = read(
      cds_, {normalized("/Plant/Meter1/VoltageA"), normalized("/Plant/Meter1/EnergyImported")});
  const timeval first = values.elements[0].time();
  const timeval second = values.elements[1].time();
  EXPECT_FALSE(timercmp(&first, &second, !=)) << "one cycle has one time stamp";
  EXPECT_TRUE(watchdogs().empty());
}

TEST_F(ExampleSource, SaysWhatIsMissing) {
  EXPECT_TRUE(contains(runProgram(folder(), FEED, {"/Plant/Meter1"}).err, "import a model"));
  import({});
  EXPECT_EQ(runProgram(folder(), FEED, {}).status, 1);
}

}  // namespace
