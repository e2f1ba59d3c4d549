// Devices, leaves, clock and identity over the real socket.
#include "service_fixture.h"

namespace {

class DeviceData : public ServiceTest {
 protected:
  DeviceData() {
    const auto at = [](int seconds, const std::string& path, const auto& value) {
      toolkit::CElement element(value);
      element.set_time({seconds, 0});
      toolkit::admin::ModelLeaf leaf = leafAt(path, element);
      leaf.source = ELEMENT_PERSISTENT;
      return leaf;
    };
    import({at(1, "/:NodeType", "Device"), at(1, "/S:NodeType", "Device"),
            at(1, "/S/T:NodeType", "Device"), at(1, "/S/T/U:NodeType", "Device"),
            at(1, "/ST:NodeType", "Device"), at(2, "/:DisplayName", "whole plant"),
            at(3, "/:.Quality", 64), at(4, "/sDevChangeCount", 7), at(5, "/S:.Quality", 192),
            at(6, "/S/T:DisplayName", "switch <T>"), at(7, "/S/T", "hidden")},
           {{ "/S/T",
              "*",
              "" }});
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
  std::string request = "<options>precision=2</options><basePath>/M1</basePath>";
  for (const char* leaf : {"/Va", "/Breaker", ":Children", "Va", "//", "/Va:.Time", "/../S/T"}) {
    request += tags({{"leafPaths", leaf}});
  }
  const std::string reply = ask("getLeafDescriptors", request);
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
