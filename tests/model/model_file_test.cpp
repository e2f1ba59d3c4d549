#include "model_file.h"

#include "store_fixture.h"

namespace {

using toolkit::admin::Model;

std::string errorOf(const std::string& text) {
  Model model;
  model.nodes.emplace_back("/left over");
  std::string error = model_file::parse(text, model);
  EXPECT_TRUE(model.nodes.empty()) << text;
  return error;
}

TEST(ModelFile, FaultsNameThePlace) {
  const std::pair<const char*, std::vector<const char*>> kCases[] = {
      {"{\"nodes\": {\n\"/A\": {\"Value\": 1,}\n}}", {"line 2"}},
      {"{\"nodes\":\n\n1e999", {"line 3, column 5", "1e999"}},
      {"{\"nodes\": {\"/A\": {\"Value\": \"\xC3\x28\"}}}", {"line 1", "UTF-8"}},
      {R"({"nodes": {"/A": {"Value": 1, "Value": 2}}})", {"\"/A\"", "\"Value\"", "twice"}},
      {R"({"nodes": {"/A": {"Value": [[[[[[[[[[1]]]]]]]]]]}}})", {"\"/A\"", "deeply"}},
      {R"({"nodes": {"/A/Units": {}}})", {"\"/A/Units\"", "leaf"}},
      {R"({"nodes": {"/A": {"Value": 3000000000}}})", {"\"/A\"", "Integer64"}},
      {R"({"nodes": {"/A": {"ValueType": "Reel", "Value": 1}}})", {"\"/A\"", "\"Reel\""}},
      {R"({"nodes": {"/A": {"ValueType": "Integer", "Value": 1.5}}})", {"\"/A\"", "integer"}},
      {R"({"nodes": {"/A": {"ValueType": "Real", "Minimum": "low"}}})", {"\"Minimum\"", "number"}},
      {R"({"nodes": {"/A": {"Value": {"type": "Real"}}}})", {"\"/A\"", "\"value\""}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "typ": 1}}}})", {"\"/A\"", "\"typ\""}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "time": "now"}}}})", {"\"/A\"", "time"}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "source": "Automatic"}}}})", {"\"Automatic\""}},
      {R"({"rights": [{"path": "/", "user": "*"}]})", {"right 1", "\"allow\""}},
      {R"({"rights": [{"path": "/", "user": "*", "allow": "rq"}]})", {"right 1", "\"q\""}},
      {R"({"rights": [{"path": "/", "user": "a", "allow": "r"},
                      {"path": "/", "user": "a", "allow": "w"}]})",
       {"right 2", "twice"}}};
  for (const auto& [text, words] : kCases) {
    const std::string error = errorOf(text);
    for (const char* word : words) {
      EXPECT_TRUE(contains(error, word)) << text;
    }
  }
  EXPECT_NE(errorOf(std::string(1000000, '[')), "") << "bottomless nesting";
}

TEST(ModelFile, TypesFollowTheValueOrTheNode) {
  const std::tuple<const char*, data_type_t, const char*> kCases[] = {
      {R"("Value": true)", DATA_BOOLEAN, "true"},
      {R"("Value": -2147483648)", DATA_INTEGER, "-2147483648"},
      {R"("Value": 2, "ValueType": "real")", DATA_REAL, "2"},
      {R"("Value": 2, "ValueType": {"value": "Real"})", DATA_REAL, "2"},
      {R"(".AlarmHighLimit": 253, "ValueType": "Real")", DATA_REAL, "253"},
      {R"(".AlarmDelay": 3, "ValueType": "Real")", DATA_INTEGER, "3"},
      {R"("Value": 9007199254740993, "ValueType": "Integer64")", DATA_INTEGER64,
       "9007199254740993"},
      {R"("Value": {"value": 2, "type": "Integer64"}, "ValueType": "Real")", DATA_INTEGER64, "2"}};
  for (const auto& [leaves, type, text] : kCases) {
    Model model;
    ASSERT_EQ(model_file::parse("{\"nodes\": {\"/A\": {" + std::string(leaves) + "}}}", model), "")
        << leaves;
    // In the order of the names, so that the ValueType is last.
    EXPECT_EQ(model.leaves.at(0).element.type(), type) << leaves;
    EXPECT_EQ(model.leaves.at(0).element.to_string(17), text) << leaves;
  }
}

using StoredModel = StoreTest;

TEST_F(StoredModel, ComesBackFromTheStoreAndFromItsText) {
  Model model;
  ASSERT_EQ(model_file::parse(R"({
      "rights": [{"path": "/", "user": "*", "allow": ""}, {"path": "/A", "user": "é", "allow": "rwdx"}],
      "nodes": {"/": {"ReadOnly": false}, "/Empty": {},
        "/A": {"ValueType": "Real", "Value": {"value": 0.1, "time": 5}, "Minimum": -1e300, "Maximum": "inf",
               ".Deadband": {"value": "nan", "type": "Real"}, "Units": "\"quotes\" \\ \n \u0001 😀",
               "Note": {"value": 7, "type": "Integer64"}, "Gone": {"value": null, "type": "None"}},
        "/A/B": {"Value": {"value": 1, "type": "Enumerated", "time": 1.000001, "source": "MPL"},
               "When": {"value": -1.5, "type": "timeval", "time": "9223372036854.775807"}}, "/A0": {}}})",
                              model),
            "");
  ASSERT_EQ(importModel(model, true), "");
  Model again;
  ASSERT_EQ(exportModel("/", again), "");
  expectSame(again, model);
  ASSERT_EQ(model_file::parse(model_file::format(model), again), "");
  expectSame(again, model);
  ASSERT_EQ(exportModel("/A", again), "");
  EXPECT_EQ(again.nodes, (std::vector<std::string>{"/A", "/A/B"}));
  EXPECT_TRUE(again.rights.empty());
}

}  // namespace
