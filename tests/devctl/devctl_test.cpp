// devctl as the operator meets it: a process, its output and its exit status.
#include "sandbox.h"

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
  Devctl() { expectSuccess({"store", "import", write("model.json", kModel)}); }

  // Expects a leaf of this type and value.
  void expectLeaf(const std::string& path, const std::string& typeAndValue) const {
    const std::string line = expectSuccess({"store", "get", path});
    EXPECT_TRUE(line.starts_with(path + "\t" + typeAndValue + "\t")) << line;
  }
};

TEST_F(Devctl, GetPrintsEverythingOfALeaf) {
  const std::string lines = expectSuccess({"store", "get", "/A/Text", "/A/Level:Units"});
  EXPECT_TRUE(
      lines.starts_with("/A/Text\tString\té 漢\t2023-11-14T22:13:20.250000Z\tPersistent\n"
                        "/A/Level:Units\tString\tvolts\t"))
      << lines;
}

TEST_F(Devctl, ControlCharactersDoNotReachTheTerminal) {
  const std::string text = "a\x7F\xC2\x9B\xE2\x80\xA8 é";
  expectSuccess({"store", "set", "/A/\xC2\x9B", text});
  EXPECT_TRUE(expectSuccess({"store", "get", "/A/\xC2\x9B"}).starts_with("/A/?\tString\ta??? é\t"));
  EXPECT_TRUE(expectSuccess({"store", "ls", "/A"}).ends_with("\n?/\n:.Quality\n:NodeType\n"));
  expectFailure({"store", "get", "/B\x1B\xC2\x9B"}, {"/B??: not"});
  const std::string json = expectSuccess({"store", "export", "/A"});
  EXPECT_TRUE(contains(json, R"("/A/\u009b": {)")) << json;
  EXPECT_TRUE(contains(json, R"("a\u007f\u009b\u2028 é")")) << json;
  useStore("other");
  expectSuccess({"store", "import", write("export.json", json)});
  EXPECT_EQ(expectSuccess({"store", "export", "/A"}), json);
}

TEST_F(Devctl, SetKeepsTheTypeTakesLabelsAndPersistsWhatItIsToldTo) {
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"/A/Level", "-2", "Real\t-2"},         {"/A/Level:Units", "12", "String\t12"},
      {"/A/Switch", "On", "Integer\t1"},      {"/A/Switch", "Trip", "Integer\t2"},
      {"/A/Flag", "FALSE", "Boolean\tfalse"}, {"/A/Level:Minimum", "3", "Real\t3"},
      {"/A/Switch", "0", "Integer\t0"},       {"/A/Note", "5", "String\t5"}};
  for (const auto& [path, value, expected] : kCases) {
    expectSuccess({"store", "set", path, value});
    expectLeaf(path, expected);
  }
  expectSuccess({"store", "set", "/A/New", "5", "--type", "Integer64", "--persist"});
  expectSuccess({"store", "boot"});
  expectLeaf("/A/New", "Integer64\t5");
  expectLeaf("/A/Level", "Real\t1.5");
}

TEST_F(Devctl, ListAndRemove) {
  EXPECT_EQ(expectSuccess({"store", "ls", "/A"}),
            "Flag/\nLevel/\nSwitch/\nText/\n:.Quality\n:NodeType\n");
  expectSuccess({"store", "rm", "/A/Level:Units"});
  expectSuccess({"store", "rm", "/A/Flag"});
  EXPECT_EQ(expectSuccess({"store", "ls", "/A"}), "Level/\nSwitch/\nText/\n:.Quality\n:NodeType\n");
  expectLeaf("/A/Level", "Real\t1.5");
}

TEST_F(Devctl, ReplaceEmptiesTheStoreAndAnExportImportsAgainToTheSame) {
  expectSuccess({"store", "import", "--replace", FEEDER_MODEL});
  expectFailure({"store", "get", "/A/Level"}, {"/A/Level", "not found"});
  const std::string first = expectSuccess({"store", "export"});
  useStore("other");
  expectSuccess({"store", "import", write("export.json", first)});
  EXPECT_EQ(expectSuccess({"store", "export"}), first);
}

TEST_F(Devctl, BootMakesNoStoreOfNothing) {
  useStore("none");
  const std::filesystem::path state = std::getenv("TOOLKIT_STATE");
  const std::vector<std::string> words = {"no data store in the folder " + state.string() + ":",
                                          "'devctl store import'", "'devctl store init'"};
  expectFailure({"store", "boot"}, words);
  EXPECT_FALSE(std::filesystem::exists(folder() / "none"));
  std::filesystem::create_directories(state);
  expectFailure({"store", "boot"}, words);
  std::ofstream(state / "persistent.mdb").close();
  expectFailure({"store", "boot"}, words);
  EXPECT_EQ(std::filesystem::file_size(state / "persistent.mdb"), 0U);
  expectSuccess({"store", "init"});
  expectSuccess({"store", "boot"});
  EXPECT_FALSE(contains(expectSuccess({"store", "ls", "/"}), "A/"));
  useStore("imported");
  expectSuccess({"store", "import", FEEDER_MODEL});
  const std::string before = expectSuccess({"store", "export"});
  expectSuccess({"store", "init"});
  expectSuccess({"store", "boot"});
  EXPECT_EQ(expectSuccess({"store", "export"}), before);
}

TEST_F(Devctl, FailuresNameWhatIsWrongAndChangeNothing) {
  const std::string faulty = write("faulty.json", R"({"nodes": {"/C": {}, "/D/": {}}})");
  expectFailure({"store", "import", "--replace", faulty}, {faulty, "\"/D/\""});
  expectFailure({"store", "import", folder()}, {folder()});
  expectFailure({"store", "get", "/A/Level", "/A//B"}, {"/A//B"});
  expectFailure({"store", "ls", "/Missing"}, {"/Missing"});
  expectFailure({"store", "set", "/A/Level", "high"}, {"/A/Level", "\"high\"", "Real"});
  expectFailure({"store", "set", "/A/Switch", "Half"}, {"/A/Switch", "\"Half\""});
  expectFailure({"store", "set", "/A/Level", "1", "--type", "Reel"}, {"/A/Level", "\"Reel\""});
  expectFailure({"store", "set", "/A/Level:.Time", "1"}, {"/A/Level:.Time"});
  expectFailure({"store", "rm", "/"}, {"/", "removed"});
  expectFailure({"store", "frobnicate"}, {"frobnicate"});
  expectLeaf("/A/Level", "Real\t1.5");
}

TEST_F(Devctl, StatusFailsWhenSomebodyIsOverdue) {
  api_status_t status = API_NONE;
  toolkit::CCds cds;
  cds.watchdog_register(status, "sleeper", 90, 0);
  EXPECT_TRUE(contains(expectSuccess({"status"}), "sleeper"));
  cds.watchdog_register(status, "sleeper", -1, 0);
  expectSuccess({"store", "boot"});
  expectFailure({"status"}, {"sleeper is overdue"});
}

}  // namespace
