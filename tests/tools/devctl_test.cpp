// devctl as the operator meets it: a process, its output and its exit status.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "sandbox.h"
#include "toolkit/cds.h"

namespace {

constexpr const char* kModel = R"({
  "rights": [{"path": "/", "user": "*", "allow": "r"}],
  "nodes": {
    "/A": {"NodeType": "Device", ".Quality": 192},
    "/A/Level": {"ValueType": "Real", "Value": 1.5, "Units": "volts"},
    "/A/Switch": {"ValueType": "Multistate", "Value": 0, "PossibleValues": "Off;On;Trip",
                  "WritableValues": "Off;On"},
    "/A/Flag": {"ValueType": "Boolean", "Value": true},
    "/A/Text": {"Value": {"value": "é 漢", "time": 1700000000.25, "source": "Persistent"}}
  }
})";

class Devctl : public Sandbox {
 protected:
  void importModel() const {
    const Outcome outcome = devctl({"store", "import", write("model.json", kModel)});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }

  // Expects a failure whose message has each of the words.
  void expectFailure(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& words) const {
    const Outcome outcome = devctl(arguments);
    EXPECT_EQ(outcome.status, 1) << arguments.back();
    for (const std::string& word : words) {
      EXPECT_NE(outcome.err.find(word), std::string::npos) << word << " in: " << outcome.err;
    }
  }

  std::string valueAt(const std::string& path) const {
    const Outcome outcome = devctl({"store", "get", path});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::size_t type = outcome.out.find('\t');
    const std::size_t value = outcome.out.find('\t', type + 1);
    return outcome.out.substr(type + 1, outcome.out.find('\t', value + 1) - type - 1);
  }
};

TEST_F(Devctl, GetPrintsEverythingOfALeaf) {
  importModel();
  const Outcome outcome = devctl({"store", "get", "/A/Text", "/A/Level:Units"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(
      outcome.out.rfind("/A/Text\tString\té 漢\t2023-11-14T22:13:20.250000Z\tPersistent\n", 0), 0U)
      << outcome.out;
  EXPECT_NE(outcome.out.find("/A/Level:Units\tString\tvolts\t"), std::string::npos);
}

TEST_F(Devctl, SetKeepsTheTypeAndTakesLabels) {
  importModel();
  struct Case {
    std::vector<std::string> arguments;
    const char* path;
    const char* result;
  };
  const Case cases[] = {
      {{"/A/Level", "-2"}, "/A/Level", "Real\t-2"},
      {{"/A/Level:Units", "12"}, "/A/Level:Units", "String\t12"},
      {{"/A/Switch", "On"}, "/A/Switch", "Integer\t1"},
      {{"/A/Switch", "Trip"}, "/A/Switch", "Integer\t2"},
      {{"/A/Switch", "0"}, "/A/Switch", "Integer\t0"},
      {{"/A/Flag", "FALSE"}, "/A/Flag", "Boolean\tfalse"},
      {{"/A/Level:Minimum", "3"}, "/A/Level:Minimum", "Real\t3"},
      {{"/A/New", "5", "--type", "Integer64"}, "/A/New", "Integer64\t5"},
      {{"/A/Note", "5"}, "/A/Note", "String\t5"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> arguments = {"store", "set"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const Outcome outcome = devctl(arguments);
    EXPECT_EQ(outcome.status, 0) << c.path << ": " << outcome.err;
    EXPECT_EQ(valueAt(c.path), c.result);
  }
}

TEST_F(Devctl, OnlyPersistentWritesSurviveABoot) {
  importModel();
  ASSERT_EQ(devctl({"store", "set", "/A/Level", "7"}).status, 0);
  ASSERT_EQ(devctl({"store", "set", "/A/Switch", "1", "--persist"}).status, 0);
  ASSERT_EQ(devctl({"store", "boot"}).status, 0);
  EXPECT_EQ(valueAt("/A/Level"), "Real\t1.5");
  EXPECT_EQ(valueAt("/A/Switch"), "Integer\t1");
}

TEST_F(Devctl, ListAndRemove) {
  importModel();
  Outcome outcome = devctl({"store", "ls", "/A"});
  for (const char* line : {"Flag/\n", "Level/\n", ":NodeType\n", ":.Quality\n"}) {
    EXPECT_NE(outcome.out.find(line), std::string::npos) << line << " in " << outcome.out;
  }
  EXPECT_EQ(devctl({"store", "rm", "/A/Level:Units"}).status, 0);
  EXPECT_EQ(devctl({"store", "rm", "/A/Flag"}).status, 0);
  outcome = devctl({"store", "ls", "/A"});
  EXPECT_EQ(outcome.out.find("Flag/"), std::string::npos);
  expectFailure({"store", "get", "/A/Level:Units"}, {"/A/Level:Units", "not found"});
  EXPECT_EQ(valueAt("/A/Level"), "Real\t1.5");
}

TEST_F(Devctl, ExportImportsAgainToTheSame) {
  ASSERT_EQ(devctl({"store", "import", FEEDER_MODEL}).status, 0);
  const Outcome first = devctl({"store", "export"});
  ASSERT_EQ(first.status, 0) << first.err;
  useStore("other");
  const Outcome imported = devctl({"store", "import", write("export.json", first.out)});
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(devctl({"store", "export"}).out, first.out);

  const Outcome part = devctl({"store", "export", "/Feeder1/Branch1"});
  EXPECT_EQ(part.status, 0);
  EXPECT_NE(part.out.find("\"/Feeder1/Branch1/VoltageA\""), std::string::npos);
  EXPECT_EQ(part.out.find("\"/Feeder1/VoltageA\""), std::string::npos);
}

TEST_F(Devctl, ReplaceEmptiesTheStoreAndAFaultyFileChangesNothing) {
  importModel();
  const std::string other = write("other.json", R"({"nodes": {"/B": {"Value": 1}}})");
  const std::string faulty = write("faulty.json", R"({"nodes": {"/C": {}, "/D/": {}}})");
  expectFailure({"store", "import", "--replace", faulty}, {faulty, "\"/D/\""});
  EXPECT_EQ(valueAt("/A/Level"), "Real\t1.5");
  ASSERT_EQ(devctl({"store", "import", "--replace", other}).status, 0);
  expectFailure({"store", "get", "/A/Level"}, {"/A/Level", "not found"});
  EXPECT_EQ(valueAt("/B"), "Integer\t1");
}

TEST_F(Devctl, FailuresNameWhatIsWrong) {
  importModel();
  expectFailure({"store", "import", "/nowhere.json"}, {"/nowhere.json"});
  expectFailure({"store", "get", "/A/Level", "/A//B"}, {"/A//B"});
  expectFailure({"store", "get", "/Missing"}, {"/Missing", "not found"});
  expectFailure({"store", "ls", "/Missing"}, {"/Missing"});
  expectFailure({"store", "export", "/Missing"}, {"/Missing"});
  expectFailure({"store", "set", "/A/Level", "high"}, {"/A/Level", "\"high\"", "Real"});
  expectFailure({"store", "set", "/A/Switch", "Half"}, {"/A/Switch", "\"Half\""});
  expectFailure({"store", "set", "/A/Level", "1", "--type", "Reel"}, {"/A/Level", "\"Reel\""});
  expectFailure({"store", "set", "/A/Level:.Time", "1"}, {"/A/Level:.Time"});
  expectFailure({"store", "rm", "/"}, {"/", "removed"});
  expectFailure({"store", "rm", "/A/"}, {"/A/"});
  expectFailure({"store", "frobnicate"}, {"frobnicate"});
  EXPECT_EQ(valueAt("/A/Level"), "Real\t1.5");
}

TEST_F(Devctl, StatusFailsWhenSomebodyIsOverdue) {
  importModel();
  EXPECT_EQ(devctl({"status"}).status, 0);
  toolkit::CCds cds;
  ASSERT_EQ(cds.init(), 0) << cds.last_error();
  api_status_t status = API_NONE;
  cds.watchdog_register(status, "sleeper", 1, 0);
  ASSERT_EQ(status, API_SUCCESS);
  Outcome outcome = devctl({"status"});
  for (int tries = 0; outcome.status == 0 && tries < 100; ++tries) {
    EXPECT_NE(outcome.out.find("sleeper"), std::string::npos);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    outcome = devctl({"status"});
  }
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("sleeper is overdue"), std::string::npos);
  cds.watchdog_clear(status);
  EXPECT_EQ(devctl({"status"}).status, 0);
}

}  // namespace
