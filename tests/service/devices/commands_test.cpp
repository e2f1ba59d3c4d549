// Device commands at the handlers: what is queued, what is refused, and what comes back.

#include "handler_fixture.h"

namespace {

const std::string kBase = "/Software/Commands/Bay.M1";

class Commands : public HandlerTest {
 protected:
  Commands() {
    import({leafAt("/Software/Commands/nextCommandID", 7), leafAt(kBase + "/WsdlVersion", 2),
            leafAt(kBase + "/inpQueue/maxCount", 2),
            leafAt(kBase + "/cmdList/cmdLine/prüfe alles", true),
            leafAt(kBase + "/cmdList/cmdBasic/Relay/Open", true),
            leafAt(kBase + "/cmdList/cmdIval/Tap/Up", true),
            leafAt(kBase + "/cmdList/cmdText/Label/A", true),
            leafAt("/Software/Commands/Text/WsdlVersion", "2"),
            leafAt("/Software/Commands/Bare/WsdlVersion", 1),
            leafAt("/Software/Commands/Bare/cmdList/cmdLine/x", 1)});
    const auto make = [](nsc3__sendCmd_s& sent, int kind, auto*& member, auto& command) {
      sent.cmdVersion = 1;
      sent.__union_sendCmdUnion = kind;
      member = &command;
    };
    make(line_, SOAP_UNION_nsc3__sendCmdUnion_cmdLine, line_.cmd.cmdLine, words_);
    make(basic_, SOAP_UNION_nsc3__sendCmdUnion_cmdBasic, basic_.cmd.cmdBasic, relay_);
    make(number_, SOAP_UNION_nsc3__sendCmdUnion_cmdIval, number_.cmd.cmdIval, tap_);
    make(text_, SOAP_UNION_nsc3__sendCmdUnion_cmdText, text_.cmd.cmdText, label_);
    relay_.name = "Relay";
    relay_.param = "Open";
    tap_.name = "Tap";
    tap_.param = "Up";
    tap_.iValue = -3;
    label_.name = "Label";
    label_.param = "A";
  }

  // The result's text; empty when the command was queued.
  std::string send(const std::string& device, nsc3__sendCmd_s* cmd) {
    std::string path = device;
    sent_ = {};
    EXPECT_EQ(nsc3__sendDeviceCmd(ctx_, nullptr, &path, cmd, sent_), SOAP_OK);
    return sent_.result;
  }
  nsc3__getDeviceCmdResultResponse fetch(const std::string& device, int handle) {
    std::string path = device;
    nsc3__getDeviceCmdResultResponse response;
    EXPECT_EQ(nsc3__getDeviceCmdResult(ctx_, nullptr, &path, handle, response), SOAP_OK);
    return response;
  }
  void answer(int handle, const std::string& document) {
    set(global_.cdsApi, kBase + "/outQueue/" + std::to_string(handle) + "/Value",
        CElement(document));
  }

  std::string words_ = "prüfe alles";
  nsc3__simpleCmd relay_;
  nsc3__setValueCmd tap_;
  nsc3__setTextCmd label_;
  nsc3__sendCmd_s line_, basic_, number_, text_;
  nsc3__sendDeviceCmdResponse sent_;
};

TEST_F(Commands, AreQueuedAsDocumentsUnderHandlesThatSurviveARestart) {
  EXPECT_EQ(send("/Bay/M1", &number_), "");
  EXPECT_EQ(sent_.cmdHandle, 7);
  nsc3__sendCmd_s queued;
  std::istringstream document(text(global_.cdsApi, kBase + "/inpQueue/7/Value"));
  ctx_->is = &document;
  ASSERT_EQ(soap_begin_recv(ctx_), SOAP_OK);
  ASSERT_NE(queued.soap_get(ctx_, "nsc3:sendCmd-s", ""), nullptr) << document.str();
  ASSERT_EQ(queued.__union_sendCmdUnion, 3);
  EXPECT_EQ(queued.cmd.cmdIval->name + queued.cmd.cmdIval->param, "TapUp");
  EXPECT_EQ(queued.cmd.cmdIval->iValue, -3);

  EXPECT_EQ(send("/Bay/M1", &line_), "");
  EXPECT_TRUE(contains(text(global_.cdsApi, kBase + "/inpQueue/8/Value"), ">prüfe alles<"));
  fs::remove_all(folder() / "run");
  CCds restarted;
  EXPECT_EQ(text(restarted, "/Software/Commands/nextCommandID"), "9");
}

TEST_F(Commands, OfKindsThatTheDeviceListsAreTaken) {
  const std::string none = "? 29 Command Not Supported : No command support for this type";
  const std::tuple<const char*, nsc3__sendCmd_s*, int, std::string> kCases[] = {
      {"/Bay/M1", &line_, 1, ""},
      {"/Bay/M1", &basic_, 2, ""},
      {"/Bay/M1", &line_, 3, "? 30 Wrong Version : Wrong WSDL Version requested"},
      {"/Bay/M1", &text_, 1, none},
      {"/Bay/M1", nullptr, 1, none},
      {"/Nobody", &line_, 1, none},
      {"", &line_, 1, none},
      {"/Text", &line_, 1, "? 9 Node Not Found"},
      {"/Bare", &line_, 1, none}};
  for (const auto& [device, cmd, version, expected] : kCases) {
    if (cmd != nullptr) {
      cmd->cmdVersion = version;
    }
    EXPECT_EQ(send(device, cmd), expected) << device << " version " << version;
    EXPECT_EQ(sent_.cmdHandle != 0, expected.empty()) << device;
  }
  for (const char* param : {"", "Close", "Open/Value", "../../inpQueue", "Open/"}) {
    relay_.param = param;
    EXPECT_EQ(send("/Bay/M1", &basic_), none) << param;
  }
}

TEST_F(Commands, FindNoQueueOrAFullOne) {
  words_ = "x";
  EXPECT_EQ(send("/Bare", &line_), "? 9 Node Not Found");
  EXPECT_EQ(send("/Bay/M1", &basic_), "");
  EXPECT_EQ(send("/Bay/M1", &basic_), "");
  const std::string full = "? 31 Device Busy or Not Available : Input Queue already full";
  EXPECT_EQ(send("/Bay/M1", &basic_), full);
  EXPECT_EQ(text(global_.cdsApi, "/Software/Commands/nextCommandID"), "9");
  api_status_t status = API_NONE;
  global_.cdsApi.clear_leaf(normalized(kBase + "/inpQueue/maxCount/Value"), status, "");
  EXPECT_EQ(send("/Bay/M1", &basic_), "? 9 Node Not Found");
  remove(global_.cdsApi, kBase + "/inpQueue/7");
  remove(global_.cdsApi, kBase + "/inpQueue/8");
  remove(global_.cdsApi, kBase + "/inpQueue/maxCount");
  EXPECT_EQ(send("/Bay/M1", &basic_), "? 9 Node Not Found");
  EXPECT_EQ(text(global_.cdsApi, "/Software/Commands/nextCommandID"), "9");
  import({leafAt(kBase + "/inpQueue/maxCount", 2), leafAt(kBase + "/WsdlVersion", 2),
          leafAt(kBase + "/cmdList/cmdBasic/Relay/Open", true)});
  EXPECT_EQ(send("/Bay/M1", &basic_), "? 9 Node Not Found");
}

TEST_F(Commands, OfTwoProcessesHaveNoHandleTwiceAndNoneWhereTheStoreIsOnlyRead) {
  constexpr int kCommands = 200;
  set(global_.cdsApi, kBase + "/inpQueue/maxCount/Value", CElement(3 * kCommands));
  const auto sendAll = [this] {
    for (int i = 0; i < kCommands; ++i) {
      EXPECT_EQ(send("/Bay/M1", &basic_), "");
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
  EXPECT_EQ(send("/Bay/M1", &basic_), "? 16 Write Failed");
  EXPECT_EQ(text(global_.cdsApi, "/Software/Commands/nextCommandID"),
            std::to_string(7 + 2 * kCommands));
}

std::string document(int handle, const std::string& results) {
  return "<c:getDeviceCmdResultResponse xmlns:c=\"http://tarnix.example/TarnixWSC3\"><cmdHandle>" +
         std::to_string(handle) +
         "</cmdHandle><numericStatus>cmdSuccess</numericStatus><cmdStatus>Done</cmdStatus>"
         "<cmdResults><cmdVersion>1</cmdVersion>" +
         results + "</cmdResults></c:getDeviceCmdResultResponse>";
}

TEST_F(Commands, ComeBackWithWhatTheDeviceWrote) {
  answer(1, document(1, "<resText>Zähler &lt; 13 漢</resText>"));
  answer(2, document(2,
                     "<resHarms><cdsName>/Bay/M1/Va</cdsName><timeSample>5</timeSample>"
                     "<hData><frequency>50</frequency><magnitude>230.5</magnitude></hData>"
                     "<hData><frequency>250</frequency><phase>-90</phase></hData></resHarms>"));
  answer(3, document(3, ""));
  for (int again = 0; again < 2; ++again) {
    const auto words = fetch("/Bay/M1", 1);
    EXPECT_EQ(words.result + words.cmdStatus, "Done");
    EXPECT_EQ(words.cmdHandle, 1);
    EXPECT_EQ(words.numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    ASSERT_EQ(words.cmdResults.__union_cmdResultUnion, 1);
    EXPECT_EQ(*words.cmdResults.result.resText, "Zähler < 13 漢");
  }
  const auto harmonics = fetch("/Bay/M1", 2);
  ASSERT_EQ(harmonics.cmdResults.__union_cmdResultUnion, 2);
  const nsc3__harmonicResponse& data = *harmonics.cmdResults.result.resHarms;
  EXPECT_EQ(data.cdsName, "/Bay/M1/Va");
  ASSERT_EQ(data.hData.size(), 2U);
  EXPECT_EQ(data.hData[0].magnitude, 230.5F);
  EXPECT_EQ(data.hData[1].phase, -90.0F);
  EXPECT_EQ(fetch("/Bay/M1", 3).cmdResults.__union_cmdResultUnion, 0);
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
  const std::tuple<const char*, int, int, int, std::string, const char*> kCases[] = {
      {"", 1, 0, 3, "? 8 Bad Path Syntax", "No device path given"},
      {"/Bay/M1", 1, 1, 7, "? 32 Handle Invalid or Expired", agedOut},
      {"/Bay/M1", -1, -1, 7, "? 32 Handle Invalid or Expired", agedOut},
      {"/Bay/M1", 9, 9, 8, "? 22 No Data Available", "Could not read results"},
      {"/Bay/M1", 4, 4, 8, unreadable, ""},
      {"/Bay/M1", 5, 5, 8, unreadable, ""},
      {"/Bay/M1", 6, 6, 8, unreadable, ""},
      {"/Bay/M1", 8, 8, 8, unreadable, ""}};
  for (const auto& [device, handle, given, number, result, words] : kCases) {
    const auto response = fetch(device, handle);
    EXPECT_EQ(response.result, result) << handle;
    EXPECT_EQ(response.cmdHandle, given);
    EXPECT_EQ(response.numericStatus, number) << handle;
    EXPECT_EQ(response.cmdStatus, words) << handle;
  }
}

}  // namespace
