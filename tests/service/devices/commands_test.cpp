// Device commands in one process: what is queued, what is refused, and what comes back.
#include "handler_fixture.h"

namespace {

const std::string kBase = "/Software/Commands/Bay.M1";
const std::string kCounter = "/Software/Commands/nextCommandID";
const std::string kLine = "<cmdLine>prüfe alles</cmdLine>";

std::string command(const std::string& kind, const std::string& name, const std::string& param,
                    const std::string& more = "") {
  return tags(
      {{kind, tags({{"name", name}, {"param", param}, {"num", "0"}, {"psswd", "0"}}) + more}});
}
const std::string kRelay = command("cmdBasic", "Relay", "Open");

class Commands : public HandlerTest {
 protected:
  Commands() {
    import({leafAt(kCounter, 7), leafAt(kBase + "/WsdlVersion", 2),
            leafAt(kBase + "/inpQueue/maxCount", 2),
            leafAt(kBase + "/cmdList/cmdLine/prüfe alles", true),
            leafAt(kBase + "/cmdList/cmdBasic/Relay/Open", true),
            leafAt(kBase + "/cmdList/cmdIval/Tap/Up", true),
            leafAt(kBase + "/cmdList/cmdText/Label/A", true),
            leafAt("/Software/Commands/Text/WsdlVersion", "2"),
            leafAt("/Software/Commands/Bare/WsdlVersion", 1),
            leafAt("/Software/Commands/Bare/cmdList/cmdLine/x", 1)});
  }

  // The handle of a command that was queued, or why it was not.
  std::string send(const std::string& device, const std::string& cmd,
                   const std::string& version = "1") {
    const std::string versioned =
        cmd.empty() ? cmd : tags({{"cmd", tags({{"cmdVersion", version}}) + cmd}});
    const std::string reply =
        serve(envelope("sendDeviceCmd", tags({{"devPath", device}}) + versioned, "TarnixWSC3"));
    const std::string result = elements(reply, "result").at(0);
    const std::string handle = elements(reply, "cmdHandle").at(0);
    return handle == "0" ? result : handle + result;
  }
  std::string fetch(const std::string& device, const std::string& handle) {
    return serve(envelope("getDeviceCmdResult", tags({{"devPath", device}, {"cmdHandle", handle}}),
                          "TarnixWSC3"));
  }
  void answer(int handle, const std::string& document) {
    set(global_.cdsApi, kBase + "/outQueue/" + std::to_string(handle), CElement(document));
  }
  std::string queued(int handle) {
    return text(global_.cdsApi, kBase + "/inpQueue/" + std::to_string(handle));
  }
};

TEST_F(Commands, AreQueuedAsDocumentsUnderHandlesThatSurviveARestart) {
  EXPECT_EQ(send("/Bay/M1", command("cmdIval", "Tap", "Up", "<iValue>-3</iValue>")), "7");
  const std::string document = queued(7);
  EXPECT_TRUE(contains(document, "sendCmd-s"));
  expectElements(document, {{"name", {"Tap"}}, {"param", {"Up"}}, {"iValue", {"-3"}}});
  EXPECT_EQ(send("/Bay/M1", kLine), "8");
  EXPECT_TRUE(contains(queued(8), ">prüfe alles<"));
  fs::remove_all(folder() / "run");
  CCds restarted;
  EXPECT_EQ(text(restarted, kCounter), "9");
}

const std::string kNone = "? 29 Command Not Supported : No command support for this type";

TEST_F(Commands, OfKindsThatTheDeviceListsAreTaken) {
  const std::tuple<const char*, std::string, const char*, std::string> kCases[] = {
      {"/Bay/M1", kLine, "1", "7"},
      {"/Bay/M1", kRelay, "2", "8"},
      {"/Bay/M1", kLine, "3", "? 30 Wrong Version : Wrong WSDL Version requested"},
      {"/Bay/M1", command("cmdText", "Label", "A", "<text>a</text>"), "1", kNone},
      {"/Bay/M1", "", "1", kNone},
      {"/Nobody", kLine, "1", kNone},
      {"", kLine, "1", kNone},
      {"/Text", kLine, "1", "? 9 Node Not Found"},
      {"/Bare", kLine, "1", kNone}};
  for (const auto& [device, cmd, version, expected] : kCases) {
    EXPECT_EQ(send(device, cmd, version), expected) << device << cmd << " version " << version;
  }
  for (const char* param : {"", "Close", "Open/Value", "../../inpQueue", "Open/"}) {
    EXPECT_EQ(send("/Bay/M1", command("cmdBasic", "Relay", param)), kNone) << param;
  }
}

TEST_F(Commands, FindNoQueueOrAFullOne) {
  const std::string none = "? 9 Node Not Found";
  EXPECT_EQ(send("/Bare", "<cmdLine>x</cmdLine>"), none);
  EXPECT_EQ(send("/Bay/M1", kRelay), "7");
  EXPECT_EQ(send("/Bay/M1", kRelay), "8");
  EXPECT_EQ(send("/Bay/M1", kRelay),
            "? 31 Device Busy or Not Available : Input Queue already full");
  clear(global_.cdsApi, kBase + "/inpQueue/maxCount/Value");
  EXPECT_EQ(send("/Bay/M1", kRelay), none);
  remove(global_.cdsApi, kBase + "/inpQueue/7");
  remove(global_.cdsApi, kBase + "/inpQueue/8");
  remove(global_.cdsApi, kBase + "/inpQueue/maxCount");
  EXPECT_EQ(send("/Bay/M1", kRelay), none);
  EXPECT_EQ(text(global_.cdsApi, kCounter), "9");
  import({leafAt(kBase + "/inpQueue/maxCount", 2), leafAt(kBase + "/WsdlVersion", 2),
          leafAt(kBase + "/cmdList/cmdBasic/Relay/Open", true)});
  EXPECT_EQ(send("/Bay/M1", kRelay), none);
}

TEST_F(Commands, OfTwoProcessesHaveNoHandleTwiceAndNoneWhereTheStoreIsOnlyRead) {
  constexpr int kCommands = 200;
  set(global_.cdsApi, kBase + "/inpQueue/maxCount/Value", CElement(3 * kCommands));
  const auto sendAll = [this] {
    for (int i = 0; i < kCommands; ++i) {
      EXPECT_NE(send("/Bay/M1", kRelay)[0], '?');
    }
    return HasFailure() ? 1 : 0;
  };
  ChildProcess other(sendAll);
  sendAll();
  EXPECT_EQ(other.wait(), 0);
  Texts children;
  CElement::split_string(children, text(global_.cdsApi, kBase + "/inpQueue:Children"), ';');
  EXPECT_EQ(children.size(), 2 * kCommands + 1U);
  global_.cdsApi.setReadOnly();
  EXPECT_TRUE(contains(send("/Bay/M1", kRelay), "? 16 Write Failed"));
  EXPECT_EQ(text(global_.cdsApi, kCounter), std::to_string(7 + 2 * kCommands));
}

std::string document(int handle, const std::string& results) {
  return "<c:getDeviceCmdResultResponse xmlns:c=\"http://tarnix.example/TarnixWSC3\"><cmdHandle>" +
         std::to_string(handle) +
         "</cmdHandle><numericStatus>cmdSuccess</numericStatus><cmdStatus>Done</cmdStatus>"
         "<cmdResults><cmdVersion>1</cmdVersion>" +
         results + "</cmdResults></c:getDeviceCmdResultResponse>";
}

TEST_F(Commands, ComeBackWithWhatTheDeviceWroteAsOftenAsTheyAreAskedFor) {
  answer(1, document(1, "<resText>Zähler &lt; 13 漢</resText>"));
  answer(3, document(3, ""));
  for (int again = 0; again < 2; ++again) {
    expectElements(fetch("/Bay/M1", "1"), {{"result", {""}},
                                           {"cmdHandle", {"1"}},
                                           {"numericStatus", {"cmdSuccess"}},
                                           {"cmdStatus", {"Done"}},
                                           {"resText", {"Zähler < 13 漢"}}});
  }
  expectElements(fetch("/Bay/M1", "3"), {{"cmdStatus", {"Done"}}, {"resText", {}}});
}

TEST_F(Commands, ResultsThatCannotBeHadSayWhy) {
  const std::string unreadable =
      "? 22 No Data Available : Could not deserialize results from device handler";
  const char* const agedOut = "No such cmdHandle exists, or its results were aged out";
  answer(4, document(5, "<resText>of another</resText>"));
  answer(5, "<rubbish");
  answer(6, "");
  answer(8, document(8, "<resHarms><timeSample>soon</timeSample></resHarms>"));
  api_status_t status = API_NONE;
  global_.cdsApi.add_node(kBase + "/outQueue/9", status, "");
  const std::tuple<const char*, const char*, const char*, std::string, const char*> kCases[] = {
      {"/Bay/M1", "1", "Handle", "? 32 Handle Invalid or Expired", agedOut},
      {"/Bay/M1", "-1", "Handle", "? 32 Handle Invalid or Expired", agedOut},
      {"/Bay/M1", "9", "Other", "? 22 No Data Available", "Could not read results"},
      {"/Bay/M1", "4", "Other", unreadable, ""},
      {"/Bay/M1", "5", "Other", unreadable, ""},
      {"/Bay/M1", "6", "Other", unreadable, ""},
      {"/Bay/M1", "8", "Other", unreadable, ""}};
  for (const auto& [device, handle, failure, result, words] : kCases) {
    expectElements(fetch(device, handle), {{"result", {result}},
                                           {"cmdHandle", {handle}},
                                           {"numericStatus", {std::string("cmdFail") + failure}},
                                           {"cmdStatus", {words}}});
  }
}

}  // namespace
