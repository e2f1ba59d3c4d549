// Devices, leaves, clock and identity over the real socket.
#include "service_fixture.h"

namespace {

using toolkit::CElement;

class DeviceData : public ServiceTest {
 protected:
  DeviceData() {
    toolkit::admin::Model model = testModel();
    model.rights.push_back({"/S/T", "*", ""});
    const auto put = [&model](const char* node, const char* name, CElement element, int seconds) {
      element.set_time({seconds, 0});
      model.leaves.push_back({node, name, std::move(element), ELEMENT_PERSISTENT});
    };
    for (const char* path : {"/", "/S", "/S/T", "/S/T/U", "/ST"}) {
      put(path, "NodeType", CElement("Device"), 1);
    }
    put("/", "DisplayName", CElement("whole plant"), 2);
    put("/", ".Quality", CElement(64), 3);
    put("/sDevChangeCount", "Value", CElement(7), 4);
    put("/S", ".Quality", CElement(192), 5);
    put("/S/T", "DisplayName", CElement("switch <T>"), 6);
    put("/S/T", "Value", CElement("hidden"), 7);
    import(model);
  }
  ~DeviceData() override { unsetenv("TZ"); }

  std::string tree(const std::string& start, const std::string& recursive) const {
    return ask("getDeviceTree", "<startingPath>" + start + "</startingPath><bRecursive>" +
                                    recursive + "</bRecursive>");
  }
};

TEST_F(DeviceData, TheTreeListsByPrefixAndLevelWhatADeviceHas) {
  start();
  const std::tuple<const char*, const char*, Texts> kCases[] = {
      {"/", "0", {"/", "/M1", "/S", "/ST"}},
      {"/", "true", {"/", "/M1", "/S", "/S/T", "/S/T/U", "/ST"}},
      {"/S", "0", {"/S", "/S/T", "/ST"}},
      {"/S/", "0", {"/S/T"}},
      {"S", "1", {}}};
  for (const auto& [prefix, recursive, expected] : kCases) {
    EXPECT_EQ(elements(tree(prefix, recursive), "devPath"), expected) << prefix << recursive;
  }
  const std::string all = tree("/", "1");
  const std::tuple<const char*, Texts> kDescriptors[] = {
      {"devType", Texts(6, "Device")},
      {"devDisplayName", {"whole plant", "Unknown", "Unknown", "switch <T>", "Unknown", "Unknown"}},
      {"devQuality", {"64", "192", "192", "0", "0", "0"}},
      {"devChangeCount", {"7", "0", "0", "0", "0", "0"}},
      {"devChangeTime", {"4000000", "1700000000500000", "5000000", "0", "0", "0"}}};
  for (const auto& [name, expected] : kDescriptors) {
    EXPECT_EQ(elements(all, name), expected) << name;
  }
}

TEST_F(DeviceData, LeavesAreDescribedEachInItsPlace) {
  start();
  std::string request = "<options>precision=2</options><basePath>/M1</basePath>";
  for (const char* leaf : {"/Va", "/Breaker", ":Children", "Va", "//", "/Va:.Time", "/../S/T"}) {
    request += "<leafPaths>" + std::string(leaf) + "</leafPaths>";
  }
  const std::string reply = ask("getLeafDescriptors", request);
  const std::string bad = "? 8 Bad Path Syntax : CDS access failed";
  EXPECT_EQ(elements(reply, "result"),
            (Texts{"OK", "2.3e+02", "Closed", "Breaker;Count;Enabled;Flag;List;One;Text;Va",
                   "? 9 Node Not Found : CDS access failed", bad, "1700000000500000", bad}));
  const std::string absent = ask("getLeafDescriptors",
                                 "<leafPaths>/S/T</leafPaths><leafPaths>"
                                 "/S/T:DisplayName.Source</leafPaths>");
  EXPECT_EQ(elements(absent, "result"),
            (Texts{"OK", "? 2 Not Authorized : Unauthorized read", "Persistent"}));
  EXPECT_EQ(
      elements(reply + absent, "leafType"),
      (Texts{"LeafTypeNormal", "LeafTypeNormal", "LeafTypeAuto", "LeafTypeNormal", "LeafTypeNormal",
             "LeafTypeNormal", "LeafTypeNormal", "LeafTypePersist", "LeafTypePersist"}));
  EXPECT_EQ(elements(reply + absent, "leafChangeTime"),
            (Texts{"1700000000500000", "1700000000500000", "0", "0", "0", "1700000000500000", "0",
                   "7000000", "6000000"}));
}

TEST_F(DeviceData, TheClockFollowsTheZone) {
  const std::tuple<const char*, const char*, double> kCases[] = {
      {"XST-3", "XST", 3}, {"XST1XDT,0/0,J365/25", "XDT", 0}};  // summer all the year
  for (const auto& [zone, name, hours] : kCases) {
    setenv("TZ", zone, 1);
    start();
    const std::string reply = ask("getLocalAndUtcTime", "");
    EXPECT_EQ(elements(reply, "timezone"), Texts{name});
    EXPECT_EQ(
        std::stod(elements(reply, "localTime").at(0)) - std::stod(elements(reply, "utcTime").at(0)),
        hours * 3600e6);
    stop(SIGTERM);
  }
}

}  // namespace
