// The client on a sound store: reads, writes, nodes, persistence, devices, watchdog; and imports.
#include "store_fixture.h"
#include "toolkit/utils.h"

using toolkit::CCds_Utils;
using namespace toolkit::admin;

namespace {

using Texts = std::vector<std::string>;

class Cds : public ClientTest {
 protected:
  Cds() {
    import({leaf("/Dev1:NodeType", "Device"), leaf("/Dev1/.Quality", 64), leaf("/Dev1/Va", 230.5),
            leaf("/Dev1/Va:Units", "V"), leaf("/Dev1/Sub:NodeType", "Device"), leaf("/Dev10", 10),
            leaf("/Dev1 b/List:PossibleValues", "a;b;"), leaf("/Software/Data Servers/WS", 1)});
  }

  api_status_t add(const std::string& node) {
    api_status_t status = API_NONE;
    cds_.add_node(node, status, "test");
    return status;
  }
  api_status_t clear(const char* path) { return StoreTest::clear(cds_, path); }
  Texts devices() {
    Texts paths;
    CCds_Utils::GetDeviceList(cds_, paths);
    return paths;
  }
  element_property_t source(const char* path) { return read(cds_, {path}).sources[0]; }
};

TEST_F(Cds, ReadsEveryKindOfPath) {
  const std::pair<const char*, const char*> kCases[] = {
      {"/Dev1/Va", "230.5"},          {"/Dev1/Va:Attributes", "Units;Value"},
      {"/Dev1/Va:.Time", "230.5"},    {"/:Children", "Dev1;Dev1 b;Dev10;Software"},
      {"/Dev1:Children", "Sub;Va"},   {"/Dev1 b/List:PossibleValues[2]", ""},
      {"/Dev1:Children[1]", "Va"},    {"/Dev1 b/List:PossibleValues[3]", "status 2"},
      {"/Dev1/Va:Children[0]", ""},   {"/Dev1/Va:Children", ""},
      {"/Gone:Children", "status 2"}, {"/dev1/Va", "status 2"},
      {"/Dev1", "status 2"},          {"/Dev1/", "status 5"}};
  for (const auto& [path, expected] : kCases) {
    EXPECT_EQ(text(path), expected) << path;
  }
  EXPECT_EQ(source("/Dev1:Children"), ELEMENT_AUTOMATIC);
}

TEST_F(Cds, ABatchOfReadsHasOneEntryAPath) {
  std::vector<api_status_t> statuses(7);
  std::vector<CElement> elements(1, CElement("old"));
  std::vector<element_property_t> sources;
  ASSERT_EQ(cds_.get_leaves({normalized("/Dev10"), "/Gone", "bad", "/Dev10"}, statuses, elements,
                            sources),
            0);
  EXPECT_EQ(statuses, (std::vector{API_SUCCESS, API_NOT_FOUND, API_BAD_PATH, API_SUCCESS}));
  EXPECT_EQ(elements, (std::vector{CElement(10), CElement(), CElement(), CElement(10)}));
  EXPECT_EQ(sources.size(), 4U);
  EXPECT_TRUE(cds_.node_exists("/Dev10"));
  CCds other;
  ASSERT_EQ(remove(other, "/Dev10"), API_SUCCESS);
  EXPECT_FALSE(cds_.node_exists("/Dev10")) << "a batch read before does not hide that it goes";
}

TEST_F(Cds, NodesAreAddedAndRemovedByExactPaths) {
  for (const char* bad : {"", "/Dev1/", "/Dev1:Units", "/Dev1/NodeType"}) {
    EXPECT_EQ(remove(bad), API_BAD_PATH) << bad;
    EXPECT_EQ(add(bad), API_BAD_PATH) << bad;
  }
  EXPECT_EQ(add("/A/B"), API_SUCCESS);
  EXPECT_EQ(add("/A/B"), API_SUCCESS) << "also when it is there";
  EXPECT_EQ(remove("/A"), API_SUCCESS);
  EXPECT_FALSE(cds_.node_exists("/A/B"));
  EXPECT_EQ(remove("/A"), API_NOT_FOUND);
  for (const char* kept : {"/", "/Software", "/Software/Data Servers"}) {
    EXPECT_EQ(remove(kept), API_NOT_AUTHORIZED) << kept;
  }
  EXPECT_EQ(text("/Software/Data Servers/WS"), "1");
}

TEST_F(Cds, RemovingANodeLeavesSiblingsOfThePrefix) {
  EXPECT_EQ(remove("/Dev1"), API_SUCCESS);
  for (const char* path : {"/Dev1:Children", "/Dev1/Va", "/Dev1:NodeType"}) {
    EXPECT_EQ(text(path), "status 2") << path;
  }
  EXPECT_EQ(text("/Dev10"), "10");
  EXPECT_EQ(text("/:Children"), "Dev1 b;Dev10;Software");
  EXPECT_EQ(devices(), Texts());
  ASSERT_EQ(boot(), "");
  EXPECT_EQ(text("/Dev1/Va"), "status 2") << "gone from the persistent half too";
}

TEST_F(Cds, TheDeviceIndexFollowsEveryWrite) {
  EXPECT_EQ(devices(), (Texts{"/Dev1", "/Dev1/Sub"}));
  set("/Dev10:NodeType", "Device", PCD_TRUE);
  set("/:NodeType", "Device");
  set("/Dev1:NodeType", "Point");
  EXPECT_EQ(devices(), (Texts{"/", "/Dev1/Sub", "/Dev10"}));
  EXPECT_EQ(clear("/Dev1/Sub:NodeType"), API_SUCCESS);
  EXPECT_EQ(devices(), (Texts{"/", "/Dev10"}));
  ASSERT_EQ(boot(), "");
  EXPECT_EQ(devices(), (Texts{"/Dev1", "/Dev10"}));
}

TEST_F(Cds, OnlyPersistentWritesSurviveARestart) {
  set("/Dev1/Va", 1.5);
  set("/Dev10", "other type", PCD_TRUE);
  set("/New", "x", PCD_UNSET);
  std::vector<api_status_t> statuses;
  cds_.set_leaves({"/Mixed/A/Own", "/Mixed/B"}, {CElement(1), CElement(2)}, {PCD_TRUE, PCD_FALSE},
                  statuses, "test");
  EXPECT_EQ(source("/Mixed/B"), ELEMENT_NORMAL);
  EXPECT_EQ(source("/Dev10"), ELEMENT_PERSISTENT);
  EXPECT_EQ(clear("/Dev1/Va:Units"), API_SUCCESS);
  EXPECT_EQ(clear("/Dev1/Va:Units"), API_NOT_FOUND);
  EXPECT_EQ(clear("/Dev1:Children"), API_BAD_PATH);
  ASSERT_EQ(boot(), "");
  EXPECT_EQ(text("/Dev1/Va"), "230.5");
  EXPECT_EQ(text("/Dev10"), "other type");
  EXPECT_EQ(text("/Mixed:Children"), "A");
  EXPECT_EQ(text("/:Children"), "Dev1;Dev1 b;Dev10;Mixed;Software");
  EXPECT_EQ(text("/Dev1/Va:Units"), "status 2");
}

TEST_F(Cds, ReadOnlyClientsWriteNothingButPing) {
  api_status_t status = API_NONE;
  EXPECT_EQ(cds_.watchdog_ping(status), 0);
  EXPECT_EQ(status, API_NOT_FOUND) << "not registered";
  cds_.watchdog_register(status, "", 5, 1);
  EXPECT_EQ(status, API_BAD_PATH);
  ASSERT_EQ(cds_.watchdog_register(status, "me", 5, 1), 0);
  cds_.setReadOnly();
  for (const api_status_t refused :
       {send({CEvent{}}).at(0), set("/Dev10", 1), remove("/Dev1"), clear("/Dev10"), add("/A")}) {
    EXPECT_EQ(refused, API_READ_ONLY);
  }
  EXPECT_EQ(text("/Dev10"), "10");
  EXPECT_EQ(cds_.watchdog_ping(status), 0);
  EXPECT_EQ(status, API_SUCCESS);
}

TEST_F(Cds, AClosedClientFailsUntilItIsOpenedAgain) {
  cds_.close();
  EXPECT_TRUE(cds_.is_initialized() && !cds_.is_open());
  EXPECT_EQ(text("/Dev10"), "status 4");
  EXPECT_EQ(set("/Dev10", 1), API_FAILED);
  EXPECT_EQ(remove("/Dev1"), API_FAILED);
  EXPECT_FALSE(cds_.node_exists("/Dev1"));
  Texts paths = {"before"};
  EXPECT_EQ(CCds_Utils::GetDeviceList(cds_, paths), -1);
  EXPECT_EQ(paths, Texts());
  std::vector<toolkit::CEventStream::Entry> events;
  EXPECT_NE(toolkit::CEventStream(cds_, toolkit::CEventStream::kEvents).read(0, events), 0);
  ASSERT_EQ(cds_.init(), 0);
  EXPECT_EQ(text("/Dev10"), "10");
}

TEST_F(Cds, QualityOfTheNearestDevice) {
  const std::pair<const char*, int> kCases[] = {
      {"/Dev1/Va", 64}, {"/Dev1", 64}, {"/Dev1/Sub/X", 192}, {"/Dev10", 192}, {"bad", 192}};
  for (const auto& [node, expected] : kCases) {
    CElement quality;
    CCds_Utils(cds_).CheckDeviceQuality(node, &quality);
    EXPECT_EQ(quality.to_int(), expected) << node;
  }
}

using Import = ClientTest;

TEST_F(Import, TakesAllOrNamesTheFault) {
  import({leaf("/Kept", 1)});
  const std::string longName(600, 'x');
  const ModelLeaf good = leaf("/New", 1);
  const std::tuple<Right, ModelLeaf, const char*> kCases[] = {
      {{"/", "*", "r"}, {"/New/", "Value", {}}, "\"/New/:Value\""},
      {{"/", "*", "r"}, {"/New", "Children", {}}, "\"/New:Children\""},
      {{"/", "*", "r"}, {"/New", longName, {}}, "xxx\" is not a leaf path"},
      {{"/Units", "*", "r"}, good, "\"/Units\""},
      {{"/", "", "r"}, good, "user"},
      {{"/", longName, "r"}, good, "too long"},
      {{"/", "*", "rq"}, good, "\"rq\""}};
  for (const auto& [right, odd, named] : kCases) {
    const std::string error = importModel({{right}, {"/New"}, {good, odd}}, true);
    EXPECT_TRUE(contains(error, named));
  }
  EXPECT_EQ(text("/Kept"), "1");
  EXPECT_FALSE(cds_.node_exists("/New"));
}

TEST_F(Import, AddsToWhatIsThereUnlessItReplaces) {
  import({leaf("/A", 1), leaf("/B", 2)});
  const Model more = {{}, {}, {{"/B", "Value", CElement(3), ELEMENT_MPL}, leaf("/C", 4)}};
  ASSERT_EQ(importModel(more, false), "");
  EXPECT_EQ(text("/:Children"), "A;B;C");
  ASSERT_EQ(boot(), "");
  EXPECT_EQ(text("/B"), "3");
  ASSERT_EQ(importModel(more, true), "");
  EXPECT_EQ(text("/:Children"), "B;C");
}

TEST_F(Import, ReadersSeeTheOldContentUntilTheNewIsComplete) {
  import(leaves("/N", 500, CElement("old")));
  ChildProcess importer([] {
    for (int i = 0; i < 20; ++i) {
      StoreTest::import(leaves("/N", 500, CElement(i % 2 == 0 ? "new" : "old")));
    }
    return 0;
  });
  for (int i = 0; i < 3000; ++i) {
    const Read ends = read(cds_, {"/N0", "/N499"});
    ASSERT_EQ(ends.statuses, std::vector(2, API_SUCCESS));
    ASSERT_EQ(ends.elements[0], ends.elements[1]);
  }
  EXPECT_EQ(importer.wait(), 0);
}

}  // namespace
