// Devices, leaves, clock and identity over the real socket.
#include <cstdint>

#include "service_fixture.h"

namespace {

using toolkit::CElement;

class DeviceData : public ServiceTest {
 protected:
  static toolkit::admin::Model devices() {
    toolkit::admin::Model model = testModel();
    model.rights.push_back({"/S/T", "*", ""});
    for (const char* path : {"/", "/S", "/S/T", "/S/T/U", "/ST"}) {
      put(model, path, "NodeType", CElement("Device"), 1);
    }
    put(model, "/", "DisplayName", CElement("whole plant"), 2);
    put(model, "/", ".Quality", CElement(64), 3);
    put(model, "/sDevChangeCount", "Value", CElement(7), 4);
    put(model, "/S", ".Quality", CElement(192), 5);
    put(model, "/S/T", "DisplayName", CElement("switch <T>"), 6);
    put(model, "/S/T", "Value", CElement("hidden"), 7);
    model.leaves.push_back({"/S", "Value", CElement(0.9), ELEMENT_PERSISTENT});
    return model;
  }

  void startWithDevices() {
    import(devices());
    start();
  }

 private:
  static void put(toolkit::admin::Model& model, const std::string& node, const std::string& name,
                  CElement element, int seconds) {
    element.set_time({seconds, 0});
    model.leaves.push_back({node, name, std::move(element), ELEMENT_NORMAL});
  }
};

std::string treeOf(const std::string& start, bool recursive) {
  return "<startingPath>" + start + "</startingPath><bRecursive>" + (recursive ? "true" : "0") +
         "</bRecursive>";
}

TEST_F(DeviceData, TheTreeListsByPrefixAndLevel) {
  startWithDevices();
  const std::tuple<const char*, bool, Texts> kCases[] = {
      {"/", false, {"/", "/M1", "/S", "/ST"}},
      {"/", true, {"/", "/M1", "/S", "/S/T", "/S/T/U", "/ST"}},
      {"", false, {"/", "/M1", "/S", "/ST"}},
      {"/S", false, {"/S", "/S/T", "/ST"}},
      {"/S/", false, {"/S/T"}},
      {"/S/T", false, {"/S/T", "/S/T/U"}},
      {"/S/T/U", true, {"/S/T/U"}},
      {"S", true, {}},
      {"/Nothing", true, {}}};
  for (const auto& [prefix, recursive, expected] : kCases) {
    const std::string reply = ask("getDeviceTree", treeOf(prefix, recursive));
    EXPECT_EQ(elements(reply, "devPath"), expected) << prefix << " " << recursive;
    EXPECT_EQ(elements(reply, "result"), Texts{""});
  }
}

TEST_F(DeviceData, ADeviceIsDescribedByWhatItHas) {
  startWithDevices();
  const std::string reply = ask("getDeviceTree", treeOf("/", true));
  const std::tuple<const char*, Texts> kExpected[] = {
      {"devPath", {"/", "/M1", "/S", "/S/T", "/S/T/U", "/ST"}},
      {"devType", Texts(6, "Device")},
      {"devDisplayName", {"whole plant", "Unknown", "Unknown", "switch <T>", "Unknown", "Unknown"}},
      {"devQuality", {"64", "192", "192", "0", "0", "0"}},
      {"devChangeCount", {"7", "0", "0", "0", "0", "0"}},
      {"devChangeTime", {"4000000", "1700000000500000", "5000000", "0", "0", "0"}}};
  for (const auto& [name, expected] : kExpected) {
    EXPECT_EQ(elements(reply, name), expected) << name;
  }
}

TEST_F(DeviceData, LeavesAreDescribedEachInItsPlace) {
  startWithDevices();
  const auto describe = [this](const std::string& base, const Texts& leaves,
                               const std::string& options = "") {
    std::string children = "<options>" + options + "</options><basePath>" + base + "</basePath>";
    for (const std::string& leaf : leaves) {
      children += "<leafPaths>" + leaf + "</leafPaths>";
    }
    return ask("getLeafDescriptors", children);
  };
  const std::string reply = describe(
      "/", {"S", "S:DisplayName", "M1/Breaker", "M1:Children", "S/T", "/x", "M1/Va:.Time"});
  EXPECT_EQ(elements(reply, "result"),
            (Texts{"OK", "0.9", "? 9 Node Not Found : CDS access failed", "Closed",
                   "Breaker;Count;Enabled;Flag;List;One;Text;Va",
                   "? 2 Not Authorized : Unauthorized read",
                   "? 8 Bad Path Syntax : CDS access failed", "1700000000500000"}));
  EXPECT_EQ(elements(reply, "leafType"),
            (Texts{"LeafTypePersist", "LeafTypeNormal", "LeafTypeNormal", "LeafTypeAuto",
                   "LeafTypeNormal", "LeafTypeNormal", "LeafTypeNormal"}));
  EXPECT_EQ(elements(reply, "leafChangeTime"),
            (Texts{"0", "0", "1700000000500000", "0", "7000000", "0", "1700000000500000"}));
  EXPECT_EQ(elements(describe("/M1", {"Va"}), "result")[1],
            "? 9 Node Not Found : CDS access failed")
      << "nothing is put between";
  EXPECT_EQ(elements(describe("/M1/Va", {""}, "precision=2"), "result")[1], "2.3e+02");
  EXPECT_EQ(elements(describe("/M1/Va", {}, "errorPrefix=#"), "result"),
            Texts{"#? 17 No Paths Provided : No paths provided"});
}

class Clock : public ServiceTest {
 protected:
  ~Clock() override { unsetenv("TZ"); }

  // Microseconds of local time ahead of UTC, and the zone's name.
  std::pair<std::int64_t, std::string> clockIn(const char* zone) {
    setenv("TZ", zone, 1);
    import(testModel());
    start();
    const std::string reply = ask("getLocalAndUtcTime", "");
    return {std::stoll(elements(reply, "localTime").at(0)) -
                std::stoll(elements(reply, "utcTime").at(0)),
            elements(reply, "timezone").at(0)};
  }
  static constexpr double kHour = 3600e6;
  static constexpr double kBetweenReadings = 60e6;
};

TEST_F(Clock, StandardTime) {
  const auto [shift, name] = clockIn("XST-3");
  EXPECT_NEAR(static_cast<double>(shift), 3 * kHour, kBetweenReadings);
  EXPECT_EQ(name, "XST");
}

TEST_F(Clock, DaylightSavingTime) {
  const auto [shift, name] = clockIn("XST1XDT,0/0,J365/25");  // all the year
  EXPECT_NEAR(static_cast<double>(shift), 0, kBetweenReadings);
  EXPECT_EQ(name, "XDT");
}

TEST_F(DeviceData, TheCallerIsNamed) {
  startWithDevices();
  for (const char* user : {"operator", "", "viewer"}) {
    EXPECT_EQ(elements(ask("whoAmI", "", user), "result"), Texts{user});
  }
}

TEST_F(DeviceData, StatisticsAreNotServed) {
  startWithDevices();
  const std::string request =
      envelope("getMinAvgMaxValues", "<paths>/M1/Va</paths><ratePeriod>RatePeriodA</ratePeriod>",
               "TarnixWSVK");
  const FastCgiReply old = post(request);
  EXPECT_EQ(old.status(), 500);
  EXPECT_EQ(elements(old.body(), "faultcode"), Texts{"SOAP-ENV:Server"});
  std::string soap12 = request;
  const std::string uri = "http://schemas.xmlsoap.org/soap/envelope/";
  soap12.replace(soap12.find(uri), uri.size(), "http://www.w3.org/2003/05/soap-envelope");
  const FastCgiReply recent = post(soap12);
  EXPECT_EQ(recent.status(), 500);
  EXPECT_EQ(elements(recent.body(), "Value"), Texts{"SOAP-ENV:Receiver"});
}

TEST_F(DeviceData, AbsentElementsAreNoError) {
  startWithDevices();
  const std::tuple<const char*, std::string, Texts> kCases[] = {
      {"getDeviceTree", "devPath", {"/", "/M1", "/S", "/ST"}},
      {"getLeafDescriptors", "result", {"? 17 No Paths Provided : No paths provided"}},
      {"findAttributeMatches", "result", {""}},
      {"getLocalAndUtcTime", "result", {""}},
      {"whoAmI", "result", {"operator"}},
      {"getMinAvgMaxValues", "faultstring", {"Server fault"}}};
  const std::string nils =
      "<options xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:nil='true'/>"
      "<startingPath xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:nil='1'/><other/>";
  for (const auto& [operation, name, expected] : kCases) {
    EXPECT_EQ(elements(ask(operation, ""), name), expected) << operation;
    EXPECT_EQ(elements(ask(operation, nils), name), expected) << operation;
  }
  EXPECT_EQ(elements(ask("getLeafDescriptors", "<leafPaths>/M1/Count</leafPaths>"), "result"),
            (Texts{"OK", "42"}));
}

}  // namespace
