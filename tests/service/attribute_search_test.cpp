// The search over the real socket, and its time limit on a clock that the test moves.
#include "attribute_search.h"

#include "global_data.h"
#include "service_fixture.h"
#include "store_fixture.h"

namespace {

using toolkit::CElement;

class Search : public ServiceTest {
 protected:
  void startWith(std::vector<toolkit::admin::ModelLeaf> leaves = {}) {
    toolkit::admin::Model model = testModel();
    for (auto& leaf : leaves) {
      model.leaves.push_back(std::move(leaf));
    }
    import(model);
    start();
  }

  std::string search(const std::string& start, const std::string& attribute,
                     const std::string& pattern, bool recursive = true,
                     const std::string& options = "", const std::string& user = "operator") const {
    return ask("findAttributeMatches",
               "<options>" + options + "</options><startingPath>" + start +
                   "</startingPath><bRecursive>" + (recursive ? "1" : "0") +
                   "</bRecursive><attribMatch>" + attribute + "</attribMatch><regexMatchPattern>" +
                   pattern + "</regexMatchPattern>",
               user);
  }
  Texts nodes(const std::string& start, const std::string& attribute, const std::string& pattern,
              bool recursive = true) const {
    return elements(search(start, attribute, pattern, recursive), "nodes");
  }
};

TEST_F(Search, WalksEachNodeBeforeWhatLiesBelowIt) {
  std::vector<toolkit::admin::ModelLeaf> leaves;
  for (const char* node : {"/T", "/T/a", "/T/a/z", "/T/a-b", "/T/b/c", "/T/b/c/d", "/U"}) {
    leaves.push_back({node, "DisplayName", CElement(std::string("Power Meter ") + node)});
  }
  startWith(leaves);
  const std::tuple<const char*, const char*, bool, Texts> kCases[] = {
      {"/T", "", true, {"/T", "/T/a", "/T/a/z", "/T/a-b", "/T/b/c", "/T/b/c/d"}},
      {"/T", "", false, {"/T", "/T/a", "/T/a-b"}},
      {"/T", "Meter.*(z|d)$", true, {"/T/a/z", "/T/b/c/d"}},
      {"/T/a/z", "Meter", true, {"/T/a/z"}},
      {"/T", "^Meter", true, {}},
      {"/", "Meter /.$", true, {"/T", "/U"}},
      {"/Gone", "", true, {}},
      {"T", "", true, {}}};
  for (const auto& [start, pattern, recursive, expected] : kCases) {
    EXPECT_EQ(nodes(start, "DisplayName", pattern, recursive), expected) << start << " " << pattern;
  }
}

TEST_F(Search, ComparesWhatTheClientWouldRead) {
  startWith({{"/M1/Odd", "Value", CElement("? what")}, {"/M1/Hash", "Value", CElement("#1")}});
  const std::tuple<const char*, const char*, const char*, Texts> kCases[] = {
      {"", "^(Cl|En)", "", {"Closed", "Enabled"}},
      {"", "^true$", "canonical", {"true"}},
      {"Value", "230", "precision=2", {}},
      {"Units", "", "", {"volts"}},
      {".AttribType", "Multi", "", {"Multistate"}},
      {".Nonsense", "", "errorString=x", {}},
      {"", "w", "", {}},  // "? what" looks like an error
      {"", "1", "", {"#1", "230.123"}},
      {"", "1", "errorPrefix=#", {"230.123"}},
      {"", "", "locale=xx", {}},
      {"DisplayName", "", "errorString=", {}}};
  for (const auto& [attribute, pattern, options, expected] : kCases) {
    const std::string reply = search("/M1", attribute, pattern, true, options);
    EXPECT_EQ(elements(reply, "data"), expected) << attribute << " " << pattern << " " << options;
    EXPECT_EQ(elements(reply, "nodes").size(), expected.size());
  }
}

TEST_F(Search, DoesNotShowNodesThatTheCallerMayNotRead) {
  startWith();
  for (const char* attribute : {"", "Children", ".Time", ".AttribType"}) {
    for (const char* options : {"", "errorString=x", "errorString="}) {
      const std::string reply = search("/Secret", attribute, "", true, options, "operator");
      EXPECT_EQ(elements(reply, "nodes"), Texts{}) << attribute << " " << options;
    }
  }
  EXPECT_EQ(elements(search("/", "", "hid", true, "", "admin"), "nodes"), Texts{"/Secret/Value1"});
  EXPECT_EQ(log().find("Unauthorized"), std::string::npos);
}

TEST_F(Search, SurvivesPatternsThatAreBadOrExplode) {
  startWith({{"/M1/Text2", "Value", CElement(std::string(5000, 'a') + "!")}});
  const auto logged = [this](const std::string& text) {
    int count = 0;
    const std::string lines = log();
    for (std::size_t at = 0; (at = lines.find(text, at)) != std::string::npos; ++at) {
      ++count;
    }
    return count;
  };
  const std::string exception = "Exception in regular expression matching = ";
  EXPECT_EQ(elements(search("/M1", "Units", "(", true), "result"), Texts{""});
  EXPECT_EQ(logged(exception), 1) << "for each node with the attribute";
  EXPECT_EQ(nodes("/M1/Text2", "", "(a+)+$"), Texts{});
  EXPECT_EQ(logged(exception), 2);

  std::string longest(1000, '?');
  EXPECT_EQ(nodes("/M1/Text", "", "é" + longest.substr(0, 1)), Texts{"/M1/Text"});
  for (std::size_t i = 0; i < longest.size(); i += 2) {
    longest[i] = 'a';
  }
  EXPECT_EQ(nodes("/M1/Text2", "", longest), Texts{"/M1/Text2"});
  const std::string reply = search("/M1/Text2", "", longest + "a");
  EXPECT_EQ(elements(reply, "result"), Texts{"? The pattern is longer than 1000 characters"});
  EXPECT_EQ(elements(reply, "nodes"), Texts{});
  EXPECT_EQ(logged("findAttributeMatches: Unexpected Exception The pattern is longer"), 1);
}

std::chrono::steady_clock::time_point presentTime;
int looksBeforeTheEnd;

std::chrono::steady_clock::time_point movedByHand() {
  if (--looksBeforeTheEnd == 0) {
    presentTime += limits::kMaxSearch;
  }
  return presentTime;
}

class SearchTime : public StoreTest {
 protected:
  SearchTime() {
    __psyslog = &log_;
    import({leaf("/T", "Value", CElement("x")), leaf("/T/a", "Value", CElement("x")),
            leaf("/T/b", "Value", CElement(std::string(200'000, 'x')))});
  }
  ~SearchTime() override { __psyslog = nullptr; }

  // Nodes found when the clock jumps to the search's end after so many looks at it.
  Texts found(int looks, const std::string& pattern) {
    _global_data_t global;
    struct soap* const ctx = soap_new();
    ctx->user = &global;
    _service_options_t opts;
    nsvk__findAttributeMatchesResponse response;
    looksBeforeTheEnd = looks;
    AttributeSearch search(ctx, opts, {"", pattern}, response, movedByHand);
    EXPECT_THROW(
        {
          search.CheckRegexMatch("/T");
          search.RecursiveRegexMatch("/T", true);
        },
        SearchEnded)
        << looks;
    soap_free(ctx);
    return response.nodes;
  }

 private:
  toolkit::CSysLog log_{"search_test", -1, false, false, false};
};

TEST_F(SearchTime, EndsTheSearchWithWhatItHas) {
  EXPECT_EQ(found(2, ""), Texts{});
  EXPECT_EQ(found(3, ""), Texts{"/T"});
  EXPECT_EQ(found(4, ""), (Texts{"/T", "/T/a"}));
  EXPECT_EQ(found(5, "x$"), (Texts{"/T", "/T/a"})) << "in the middle of a value";
}

}  // namespace
