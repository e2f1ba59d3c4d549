#include "store_fixture.h"

using toolkit::CCds;
using toolkit::CElement;
using namespace toolkit::admin;

namespace {

class Import : public StoreTest {};

TEST_F(Import, TakesAllOrNamesTheFault) {
  import({leaf("/Kept", "Value", CElement(1))});
  const struct {
    Right right;
    std::string node;
    std::string name;
    const char* named;
  } kCases[] = {
      {{"/", "*", "r"}, "/New/", "Value", "\"/New/:Value\""},
      {{"/", "*", "r"}, "/New", "Children", "\"/New:Children\""},
      {{"/", "*", "r"}, "/New", ".Time", "\"/New:.Time\""},
      {{"/", "*", "r"}, "/New", "List[1]", "\"/New:List[1]\""},
      {{"/", "*", "r"}, "/New", "", "\"/New:\""},
      {{"/", "*", "r"}, "/New", std::string(600, 'x'), "xxx\" is not a leaf path"},
      {{"/Units", "*", "r"}, "/New", "Value", "\"/Units\""},
      {{"/", "", "r"}, "/New", "Value", "user"},
      {{"/", std::string(600, 'u'), "r"}, "/New", "Value", "too long"},
      {{"/", "*", "rq"}, "/New", "Value", "\"rq\""},
  };
  for (const auto& c : kCases) {
    Model model;
    model.rights = {c.right};
    model.nodes = {"/New"};
    model.leaves = {leaf("/New", "Value", CElement(1)), leaf(c.node, c.name, CElement(1))};
    const std::string error = importModel(model, true);
    EXPECT_NE(error.find(c.named), std::string::npos) << error;
  }
  CCds cds;
  EXPECT_EQ(text(cds, "/Kept"), "1");
  EXPECT_FALSE(cds.node_exists("/New"));
}

TEST_F(Import, AddsToWhatIsThereUnlessItReplaces) {
  import({leaf("/A", "Value", CElement(1)), leaf("/B", "Value", CElement(2))});
  CCds cds;
  Model more;
  more.leaves = {leaf("/B", "Value", CElement(3)), leaf("/C", "Value", CElement(4))};
  more.leaves[0].source = ELEMENT_MPL;
  ASSERT_EQ(importModel(more, false), "");
  EXPECT_EQ(text(cds, "/:Children"), "A;B;C");
  ASSERT_EQ(boot(), "");
  EXPECT_EQ(text(cds, "/B"), "3");
  ASSERT_EQ(importModel(more, true), "");
  EXPECT_EQ(text(cds, "/:Children"), "B;C");
}

TEST_F(Import, ExportGivesBackWhatWasImported) {
  Model model;
  model.rights = {{"/", "*", "r"}, {"/A", "admin", "rwdx"}, {"/A", "nobody", ""}};
  model.nodes = {"/", "/A", "/A/B", "/A b", "/Empty"};
  model.leaves = {leaf("/", "Own", CElement(true)), leaf("/A", "NodeType", CElement("Device")),
                  leaf("/A/B", "Value", CElement(1.5)), leaf("/A b", "Value", CElement())};
  model.leaves[2].source = ELEMENT_MPL;
  model.leaves[2].element.set_time({7, 8});
  ASSERT_EQ(importModel(model, true), "");
  Model out;
  ASSERT_EQ(exportModel("/", out), "");
  EXPECT_EQ(out.nodes, model.nodes);
  ASSERT_EQ(out.leaves.size(), model.leaves.size());
  for (std::size_t i = 0; i < out.leaves.size(); ++i) {
    EXPECT_EQ(out.leaves[i].node + ":" + out.leaves[i].name,
              model.leaves[i].node + ":" + model.leaves[i].name);
    EXPECT_EQ(out.leaves[i].element, model.leaves[i].element) << i;
    EXPECT_EQ(out.leaves[i].source, model.leaves[i].source) << i;
  }
  ASSERT_EQ(out.rights.size(), 3U);
  EXPECT_EQ(out.rights[1].allow, "rwdx");
  ASSERT_EQ(exportModel("/A", out), "");
  EXPECT_EQ(out.nodes, (std::vector<std::string>{"/A", "/A/B"}));
  EXPECT_TRUE(out.rights.empty());
  EXPECT_NE(exportModel("/Gone", out).find("\"/Gone\""), std::string::npos);
}

TEST_F(Import, ReadersSeeTheOldContentUntilTheNewIsComplete) {
  const auto content = [](const char* value) {
    std::vector<ModelLeaf> leaves;
    leaves.reserve(500);
    for (int i = 0; i < 500; ++i) {
      leaves.push_back(leaf("/N" + std::to_string(i), "Value", CElement(value)));
    }
    return leaves;
  };
  import(content("old"));
  ChildProcess importer([&] {
    for (int i = 0; i < 20; ++i) {
      import(content(i % 2 == 0 ? "new" : "old"));
    }
    return 0;
  });
  CCds cds;
  const std::vector<toolkit::CPath> ends = {"/N0", "/N499"};
  std::vector<api_status_t> statuses;
  std::vector<CElement> elements;
  std::vector<element_property_t> sources;
  for (int i = 0; i < 3000; ++i) {
    ASSERT_EQ(cds.get_leaves(ends, statuses, elements, sources), 0);
    ASSERT_EQ(statuses, std::vector(2, API_SUCCESS));
    ASSERT_EQ(elements[0], elements[1]);
  }
  EXPECT_EQ(importer.wait(), 0);
}

}  // namespace
