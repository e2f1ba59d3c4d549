// Devices, leaves, clock and identity over the real socket.
#include "service_fixture.h"

namespace {

class DeviceData : public ServiceTest {
 protected:
  DeviceData() {
    Leaves leaves = {leafAt("/:NodeType", "Device"),    leafAt("/S:NodeType", "Device"),
                     leafAt("/S/T:NodeType", "Device"), leafAt("/S/T/U:NodeType", "Device"),
                     leafAt("/ST:NodeType", "Device"),  leafAt("/:DisplayName", "whole plant"),
                     leafAt("/:.Quality", 64),          leafAt("/sDevChangeCount", 7),
                     leafAt("/S:.Quality", 192),        leafAt("/S/T:DisplayName", "switch <T>"),
                     leafAt("/S/T", "hidden")};
    // The devices' types change at the first second, each other leaf at one of its own.
    for (std::size_t i = 0; i < leaves.size(); ++i) {
      leaves[i].element.set_time({i < 5 ? 1 : static_cast<time_t>(i) - 3, 0});
      leaves[i].source = ELEMENT_PERSISTENT;
    }
    const toolkit::admin::Right none = {"/S/T", "*", ""};
    import(leaves, {none});
    start();
  }
  ~DeviceData() override { unsetenv("TZ"); }

  std::string tree(const std::string& start, const std::string& recursive) const {
    return ask("getDeviceTree", tags({{"startingPath", start}, {"bRecursive", recursive}}));
  }
};

TEST_F(DeviceData, TheTreeListsByPrefixAndLevelWhatADeviceHas) {
  const std::tuple<const char*, const char*, Texts> kCases[] = {
      {"/", "0", {"/", "/M1", "/S", "/ST"}},
      {"/", "true", {"/", "/M1", "/S", "/S/T", "/S/T/U", "/ST"}},
      {"/S", "0", {"/S", "/S/T", "/ST"}},
      {"/S/", "0", {"/S/T"}},
      {"S", "1", {}}};
  for (const auto& [prefix, recursive, expected] : kCases) {
    EXPECT_EQ(elements(tree(prefix, recursive), "devPath"), expected) << prefix << recursive;
  }
  expectElements(tree("/", "1"),
                 {{"devType", Texts(6, "Device")},
                  {"devDisplayName",
                   {"whole plant", "Unknown", "Unknown", "switch <T>", "Unknown", "Unknown"}},
                  {"devQuality", {"64", "192", "192", "0", "0", "0"}},
                  {"devChangeCount", {"7", "0", "0", "0", "0", "0"}},
                  {"devChangeTime", {"4000000", "1700000000500000", "5000000", "0", "0", "0"}}});
}

TEST_F(DeviceData, LeavesAreDescribedEachInItsPlace) {
  const Texts paths = {"/Va", "/Breaker", ":Children", "Va", "//", "/Va:.Time", "/../S/T"};
  const std::string base = "<options>precision=2</options><basePath>/M1</basePath>";
  const std::string reply = ask("getLeafDescriptors", base + tagged("leafPaths", paths));
  const std::string bad = "? 8 Bad Path Syntax : CDS access failed";
  EXPECT_EQ(elements(reply, "result"),
            (Texts{"OK", "2.3e+02", "Closed", "Breaker;Count;Enabled;Flag;List;One;Text;Va",
                   "? 9 Node Not Found : CDS access failed", bad, "1700000000500000", bad}));
  const std::string absent =
      ask("getLeafDescriptors",
          tags({{"leafPaths", "/S/T"}, {"leafPaths", "/S/T:DisplayName.Source"}}));
  EXPECT_EQ(elements(absent, "result"),
            (Texts{"OK", "? 2 Not Authorized : Unauthorized read", "Persistent"}));
  const std::string normal = "LeafTypeNormal";
  const std::string persistent = "LeafTypePersist";
  EXPECT_EQ(elements(reply + absent, "leafType"),
            (Texts{normal, normal, "LeafTypeAuto", normal, normal, normal, normal, persistent,
                   persistent}));
  EXPECT_EQ(elements(reply + absent, "leafChangeTime"),
            (Texts{"1700000000500000", "1700000000500000", "0", "0", "0", "1700000000500000", "0",
                   "7000000", "6000000"}));
}

TEST_F(DeviceData, TheClockFollowsTheZone) {
  const std::tuple<const char*, const char*, double> kCases[] = {
      {"XST-3", "XST", 3}, {"XST1XDT,0/0,J365/25", "XDT", 0}};  // summer all the year
  for (const auto& [zone, name, hours] : kCases) {
    setenv("TZ", zone, 1);
    stop(SIGTERM);
    start();
    const std::string reply = ask("getLocalAndUtcTime", "");
    const double local = std::stod(elements(reply, "localTime").at(0));
    EXPECT_EQ(elements(reply, "timezone"), Texts{name});
    EXPECT_EQ(local - std::stod(elements(reply, "utcTime").at(0)), hours * 3600e6);
  }
}

}  // namespace
