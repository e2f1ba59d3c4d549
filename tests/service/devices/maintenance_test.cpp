// Node maintenance: at the handlers, and over the socket where rights and the restart come in.
#include <cerrno>

#include "handler_fixture.h"
#include "toolkit/event_stream.h"

namespace {

class Maintenance : public ServiceTest {
 protected:
  Maintenance() {
    const std::vector<toolkit::admin::Right> rights = {{"/", "boss", "rwdx"},
                                                       {"/M1/Kept", "boss", "r"},
                                                       {"/", "founder", "d"},
                                                       {"/Secret", "founder", "d"},
                                                       {"/M1/Kept", "founder", "d"}};
    import({}, rights);
    start();
  }
  FastCgiReply maintain(const std::string& operation, const std::string& children,
                        const std::string& user = "boss") const {
    return post(envelope(operation, children, "TarnixWSTest"), user);
  }
  std::string ask(const std::string& operation, const std::string& children,
                  const std::string& user = "boss") const {
    return result(operation, children, user, "TarnixWSTest");
  }
  std::string remove(const std::string& path) const {
    return ask("RemoveNode", tags({{"n:basePath", path}}));
  }
  std::string create(const std::string& base, const Texts& paths, const Texts& texts) const {
    return ask("CreateNode", tags({{"n:basePath", base}}) + pathsAndValues(paths, texts));
  }
};

const std::string kAbsent = "? 9 Node Not Found : CDS access failed";
const std::string kNotRemoved = "? 9 Node Not Found : CDS Error removing node";

TEST_F(Maintenance, WritesWhatTheValueOperationsDoNot) {
  const std::string leaf = "<n:path>/M1/Va:Units</n:path><n:value>kilovolts</n:value>";
  EXPECT_EQ(maintain("SetLeaf", leaf, "nobody").status(), 401);
  const std::string leaves =
      pathsAndValues({"/M1/Va:.Time", "/New/A", "/M1/Count"}, {"0", "x", "many"});
  EXPECT_EQ(results("SetLeaves", leaves, "boss", "TarnixWSTest"),
            (Texts{"? 16 Write Failed : CDS write access failed", "x",
                   "? 12 Bad Value Format : Could not transform many"}));
  EXPECT_EQ(value("/New/A"), "x");
}

TEST_F(Maintenance, MakesANodeWithItsLeavesOrNothing) {
  EXPECT_EQ(create("/M1/New", {"/Value", ":Units"}, {"5", "volts"}), "5");
  EXPECT_EQ(create("/M1/Pump/", {"A/Value", "Value", ":Units"}, {"1", "7", "bar"}), "7");
  EXPECT_EQ(value("/M1/Pump"), "7");
  EXPECT_EQ(value("/M1/Pump/A"), "1");
  EXPECT_EQ(create("/M1/Fan:", {"Value"}, {"8"}), "8");
  EXPECT_EQ(create("", {"/Value"}, {"1"}), "? 8 Bad Path Syntax : No node path provided");
  EXPECT_EQ(create("/", {"M9/Value"}, {"1"}), "? 16 Write Failed : CreateNode()");
  EXPECT_EQ(create("//M9", {"/Value"}, {"1"}), "? 16 Write Failed : CreateNode()");
  EXPECT_EQ(create("/M9", {"/Value", "/Other"}, {"1"}),
            "? 14 Index Out of Range : Mismatched array sizes");
  const std::string children = "<n:basePath>/M9</n:basePath>" + pathsAndValues({"/Value"}, {"1"});
  const std::string kept =
      "<n:basePath>/M1/K</n:basePath>" + pathsAndValues({"/Value", "ept/Value"}, {"1", "1"});
  const std::string foreign = "<n:options>locale=xx</n:options>" + children;
  EXPECT_EQ(maintain("CreateNode", children, "nobody").status(), 401);
  EXPECT_EQ(maintain("CreateNode", kept).status(), 401);
  EXPECT_EQ(ask("CreateNode", foreign), "? 7 Locale Not Supported : xx");
  EXPECT_EQ(value("/M9"), kAbsent);
  EXPECT_FALSE(contains(value("/M1:Children"), "K"));
  EXPECT_EQ(create("/M1/Kept", {"Too/Value"}, {"1"}), "1") << "its base is not written to";
}

TEST_F(Maintenance, RemovesWhatIsNamedAndNothingElse) {
  const std::string badPath = "? 8 Bad Path Syntax : CDS Error in supplied path";
  EXPECT_EQ(remove("/M1/Va:Units"), "");
  EXPECT_EQ(value("/M1/Va:Units"), kAbsent);
  EXPECT_EQ(value("/M1/Va"), "230.123");
  for (const char* path : {"/M1/", "", "//", "/M1//Va", "/M1/Va/..", "/M1/Va:"}) {
    EXPECT_EQ(remove(path), badPath) << path;
  }
  for (const char* path :
       {"/M1/Va:.Time", "/M1/List:PossibleValues[0]", "/M1/Va/Value", "/Nothing"}) {
    EXPECT_EQ(remove(path), kNotRemoved) << path;
  }
  const std::string notAll = "<n:basePath>/M1</n:basePath>";  // a path below is kept from boss
  EXPECT_EQ(maintain("RemoveNode", notAll, "operator").status(), 401);
  EXPECT_EQ(maintain("RemoveNode", notAll).status(), 401);
  EXPECT_EQ(remove("/M1:.Quality"), "") << "nothing is below a leaf";
  EXPECT_EQ(value("/M1/Va"), "230.123");
  EXPECT_EQ(value("/M1/List:PossibleValues[0]"), "a");
  EXPECT_EQ(remove("/M1/Va"), "");
  EXPECT_EQ(value("/M1/Va"), kAbsent);
}

TEST_F(Maintenance, TheDevicesOwnTreesFollowTheRightsAndTheirRootsStay) {
  for (const std::string path :
       {"/Software", "/Alarms", "/Software/Data Servers", "/Software/Commands"}) {
    const std::string leaf = tags({{"n:path", path + "/X"}, {"n:value", "2"}});
    EXPECT_EQ(create(path + "/X", {"/Value"}, {"1"}), "1") << path;
    EXPECT_EQ(maintain("SetLeaf", leaf, "nobody").status(), 401) << path;
    EXPECT_EQ(value(path + "/X"), "1") << path;
    EXPECT_EQ(ask("SetLeaf", leaf), "2") << path;
    EXPECT_EQ(remove(path), kNotRemoved);
    EXPECT_EQ(remove(path + "/X"), "") << path;
  }
  EXPECT_EQ(ask("RemoveNode", tags({{"n:basePath", "/"}}), "founder"), kNotRemoved);
  EXPECT_EQ(value("/Software/System Settings/Supported Locales"), "en_US;de_DE;fr_FR");
  EXPECT_EQ(create("/Software", {":Description"}, {"mine"}), "mine");
}

// The fixture's view of the file system has no reboot that can be executed.
TEST_F(Maintenance, ResetIsForThoseWithTheRightAndSaysWhyItFailed) {
  EXPECT_EQ(maintain("Reset", "", "admin").status(), 401);
  EXPECT_EQ(ask("Reset", ""), "? System Reboot Failed: Permission denied");
  CCds cds;
  std::vector<toolkit::CEventStream::Entry> entries;
  toolkit::CEventStream(cds, toolkit::CEventStream::kEvents).read(0, entries);
  ASSERT_EQ(entries.size(), 1U);
  const CEvent& event = entries[0].event;
  EXPECT_EQ(event.message, "Network Card Reset requested via web services by boss at 192.0.2.1");
  EXPECT_EQ(event.severity, 2);
}

using Reset = HandlerTest;
std::string calls;

TEST_F(Reset, TriesAgainWithForce) {
  import({leafAt("/M1", 1)});
  calls.clear();
  global_.execute = [](const char* path, char* const arguments[]) {
    calls += path;
    for (; *arguments != nullptr; ++arguments) {
      calls += std::string(" ") + *arguments;
    }
    calls += '\n';
    errno = EPERM;
    return -1;
  };
  _nst1__ResetResponse response;
  EXPECT_EQ(__nst1__Reset(ctx_, nullptr, &response), SOAP_OK);
  EXPECT_EQ(*response.ResetResult, "? System Reboot Failed: Operation not permitted");
  EXPECT_EQ(calls, "/sbin/reboot /sbin/reboot\n/sbin/reboot /sbin/reboot -f\n");
}

}  // namespace
