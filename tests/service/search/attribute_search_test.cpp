// The search over the real socket, and its time limit on a clock that the test moves.
#include "search/attribute_search.h"

#include "handler_fixture.h"

namespace {

class Search : public ServiceTest {
 protected:
  Search() {
    Leaves leaves = {leafAt("/M1/Odd", "? what"), leafAt("/M1/Hash", "#1"),
                     leafAt("/M1/A", std::string(5000, 'a') + "!")};
    for (const std::string node : {"/T", "/T/a", "/T/a/z", "/T/a-b", "/T/b/c", "/T/b/c/d", "/U"}) {
      leaves.push_back(leafAt(node + ":DisplayName", "Power Meter " + node));
    }
    import(leaves);
    start();
  }
  std::string search(const std::string& start, const std::string& attribute,
                     const std::string& pattern, const std::string& options = "",
                     const std::string& recursive = "true") const {
    return ask("findAttributeMatches", tags({{"options", options},
                                             {"startingPath", start},
                                             {"bRecursive", recursive},
                                             {"attribMatch", attribute},
                                             {"regexMatchPattern", pattern}}));
  }
};

TEST_F(Search, WalksEachNodeBeforeWhatLiesBelowIt) {
  const std::tuple<const char*, const char*, const char*, Texts> kCases[] = {
      {"/T", "", "1", {"/T", "/T/a", "/T/a/z", "/T/a-b", "/T/b/c", "/T/b/c/d"}},
      {"/T", "", "0", {"/T", "/T/a", "/T/a-b"}},
      {"/T", "Meter.*(z|d)$", "1", {"/T/a/z", "/T/b/c/d"}},
      {"/T/a/z", "Meter", "1", {"/T/a/z"}},
      {"/", "Meter /.$", "1", {"/T", "/U"}},
      {"/Gone", "", "1", {}}};
  for (const auto& [start, pattern, recursive, expected] : kCases) {
    EXPECT_EQ(elements(search(start, "DisplayName", pattern, "", recursive), "nodes"), expected)
        << start << " " << pattern;
  }
}

TEST_F(Search, ComparesWhatTheClientMayRead) {
  const std::tuple<const char*, const char*, const char*, const char*, Texts> kCases[] = {
      {"/M1", "", "^(Cl|En)", "", {"Closed", "Enabled"}},
      {"/M1", "", "^true$", "canonical", {"true"}},
      {"/M1", ".AttribType", "Multi", "", {"Multistate"}},
      {"/M1", ".Nonsense", "", "errorString=x", {}},
      {"/M1", "", "w", "", {}},  // "? what" looks like an error
      {"/M1", "", "1", "", {"#1", "230.123"}},
      {"/M1", "", "1", "errorPrefix=#", {"230.123"}},
      {"/M1", "", "", "locale=xx", {}},
      {"/M1", "DisplayName", "", "errorString=", {}},
      {"/Secret", "", "", "errorString=", {}},
      {"/Secret", "Children", "", "", {}},
      {"/Secret", ".Time", "", "", {}}};
  for (const auto& [start, attribute, pattern, options, expected] : kCases) {
    const std::string reply = search(start, attribute, pattern, options);
    EXPECT_EQ(elements(reply, "data"), expected) << attribute << " " << pattern << " " << options;
    EXPECT_EQ(elements(reply, "nodes").size(), expected.size());
  }
  EXPECT_FALSE(contains(log(), "Unauthorized"));
}

TEST_F(Search, SurvivesPatternsThatAreBadOrExplode) {
  const auto logged = [this](const char* pattern) {
    const std::string before = log();
    EXPECT_EQ(elements(search("/M1", "", pattern), "nodes"), Texts{});
    Texts pieces;
    CElement::split_string(pieces, log().substr(before.size()), '=');
    return pieces.size() - 1;
  };
  EXPECT_EQ(logged("("), 8U)
      << "a line for each node with a value that does not look like an error";
  EXPECT_EQ(logged("(a+)+$"), 1U);
  awaitLog("Exception in regular expression matching = ");

  const std::string longest = "é|" + std::string(998, 'a');
  EXPECT_EQ(elements(search("/M1/Text", "", longest), "nodes"), Texts{"/M1/Text"});
  EXPECT_EQ(elements(search("/M1/Text", "", longest + "?"), "result"),
            Texts{"? The pattern is longer than 1000 characters"});
}

std::chrono::steady_clock::time_point presentTime;
int looksBeforeTheEnd;

std::chrono::steady_clock::time_point movedByHand() {
  if (--looksBeforeTheEnd == 0) {
    presentTime += limits::kMaxSearch;
  }
  return presentTime;
}

std::chrono::steady_clock::time_point slow() {
  return presentTime += limits::kMaxMatch / 2;
}

class SearchTime : public HandlerTest {
 protected:
  SearchTime() {
    import({leafAt("/T", "x"), leafAt("/T/a", "x"), leafAt("/T/b", std::string(200'000, 'x'))});
  }
  // Nodes found when the clock jumps to the search's end after so many looks at it.
  Texts found(int looks, const std::string& pattern) {
    _service_options_t opts;
    nsvk__findAttributeMatchesResponse response;
    looksBeforeTheEnd = looks;
    AttributeSearch search(ctx_, opts, {"", pattern}, response, movedByHand);
    const auto run = [&search] {
      search.CheckRegexMatch("/T");
      search.RecursiveRegexMatch("/T", true);
    };
    EXPECT_THROW(run(), SearchEnded);
    return response.nodes;
  }
};

TEST_F(SearchTime, EndsTheSearchWithWhatItHas) {
  EXPECT_EQ(found(2, ""), Texts{});
  EXPECT_EQ(found(4, ""), (Texts{"/T", "/T/a"}));
  EXPECT_EQ(found(5, "x$"), (Texts{"/T", "/T/a"})) << "in the middle of a value";
}

TEST_F(SearchTime, AValueThatTakesTooLongIsPassedOver) {
  set(global_.cdsApi, "/T/c", toolkit::CElement("x"));
  _service_options_t opts;
  nsvk__findAttributeMatchesResponse response;
  AttributeSearch search(ctx_, opts, {"", "x$"}, response, slow);
  search.RecursiveRegexMatch("/T", true);
  EXPECT_EQ(response.nodes, (Texts{"/T/a", "/T/c"}));
}

}  // namespace
