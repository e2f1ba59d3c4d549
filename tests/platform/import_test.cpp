#include "store_fixture.h"

using toolkit::CElement;
using namespace toolkit::admin;

namespace {

using Import = ClientTest;

TEST_F(Import, TakesAllOrNamesTheFault) {
  import({leaf("/Kept", "Value", CElement(1))});
  const std::string longName(600, 'x');
  const ModelLeaf good = leaf("/New", "Value", CElement(1));
  const std::tuple<Right, ModelLeaf, const char*> kCases[] = {
      {{"/", "*", "r"}, leaf("/New/", "Value", {}), "\"/New/:Value\""},
      {{"/", "*", "r"}, leaf("/New", "Children", {}), "\"/New:Children\""},
      {{"/", "*", "r"}, leaf("/New", longName, {}), "xxx\" is not a leaf path"},
      {{"/Units", "*", "r"}, good, "\"/Units\""},
      {{"/", "", "r"}, good, "user"},
      {{"/", longName, "r"}, good, "too long"},
      {{"/", "*", "rq"}, good, "\"rq\""},
  };
  for (const auto& [right, odd, named] : kCases) {
    const std::string error = importModel({{right}, {"/New"}, {good, odd}}, true);
    EXPECT_TRUE(contains(error, named));
  }
  EXPECT_EQ(text("/Kept"), "1");
  EXPECT_FALSE(cds_.node_exists("/New"));
}

TEST_F(Import, AddsToWhatIsThereUnlessItReplaces) {
  import({leaf("/A", "Value", CElement(1)), leaf("/B", "Value", CElement(2))});
  const Model more = {
      {}, {}, {{"/B", "Value", CElement(3), ELEMENT_MPL}, leaf("/C", "Value", CElement(4))}};
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
