#include "model_file.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using toolkit::admin::Model;
using toolkit::admin::ModelLeaf;

std::string errorOf(const std::string& text) {
  Model model;
  model.nodes.emplace_back("/left over");
  std::string error = model_file::parse(text, model);
  EXPECT_EQ(model.nodes.empty(), !error.empty() || text == "{}");
  return error;
}

const ModelLeaf* find(const Model& model, const std::string& node, const std::string& name) {
  for (const ModelLeaf& leaf : model.leaves) {
    if (leaf.node == node && leaf.name == name) return &leaf;
  }
  return nullptr;
}

bool sameLeaf(const ModelLeaf& a, const ModelLeaf& b) {
  const bool nans = std::isnan(a.element.to_double()) && std::isnan(b.element.to_double());
  return a.node == b.node && a.name == b.name && a.source == b.source &&
         (a.element == b.element || nans);
}

void expectSame(const Model& a, const Model& b) {
  EXPECT_EQ(a.nodes, b.nodes);
  ASSERT_EQ(a.rights.size(), b.rights.size());
  for (std::size_t i = 0; i < a.rights.size(); ++i) {
    EXPECT_EQ(a.rights[i].path + a.rights[i].user + a.rights[i].allow,
              b.rights[i].path + b.rights[i].user + b.rights[i].allow);
  }
  ASSERT_EQ(a.leaves.size(), b.leaves.size());
  for (std::size_t i = 0; i < a.leaves.size(); ++i) {
    EXPECT_TRUE(sameLeaf(a.leaves[i], b.leaves[i])) << a.leaves[i].node << ":" << a.leaves[i].name;
  }
}

TEST(ModelFile, FaultsNameThePlace) {
  struct Case {
    const char* text;
    std::vector<const char*> words;
  };
  const Case cases[] = {
      // The text
      {"", {"line 1"}},
      {"{\"nodes\": {\n\"/A\": {\"Value\": 1,}\n}}", {"line 2"}},
      {"{\"nodes\": {\"/A\": {\"Value\": \"\xC3\x28\"}}}", {"line 1", "UTF-8"}},
      {"{\"nodes\": {\"/A\": {\"Value\": 1e999}}}", {"1e999"}},
      {"{} {}", {"line 1"}},
      {"[]", {"object"}},
      {R"({"node": {}})", {"\"node\""}},
      {R"({"nodes": {"/A": {}, "/A": {}}})", {"\"/A\"", "twice"}},
      {R"({"nodes": {"/A": {"Value": 1, "Value": 2}}})", {"\"/A\"", "\"Value\"", "twice"}},
      {R"({"nodes": {"/A": {"Value": [[[[[[[[[[1]]]]]]]]]]}}})", {"\"/A\"", "deeply"}},
      // Nodes and leaves
      {R"({"nodes": []})", {"\"nodes\""}},
      {R"({"nodes": {"/A/": {}}})", {"\"/A/\""}},
      {R"({"nodes": {"A": {}}})", {"\"A\""}},
      {R"({"nodes": {"/A/Units": {}}})", {"\"/A/Units\"", "leaf"}},
      {R"({"nodes": {"/A": 1}})", {"\"/A\""}},
      {R"({"nodes": {"/A": {"Children": "x"}}})", {"\"/A\"", "\"Children\""}},
      {R"({"nodes": {"/A": {".Time": 1}}})", {"\"/A\"", "\".Time\""}},
      {R"({"nodes": {"/A": {"PossibleValues[1]": "x"}}})", {"\"/A\"", "\"PossibleValues[1]\""}},
      {R"({"nodes": {"/A": {"": 1}}})", {"\"/A\"", "\"\""}},
      {R"({"nodes": {"/A": {"Value": null}}})", {"\"/A\"", "\"Value\""}},
      {R"({"nodes": {"/A": {"Value": 3000000000}}})", {"\"/A\"", "Integer64"}},
      {R"({"nodes": {"/A": {"ValueType": "Reel", "Value": 1}}})", {"\"/A\"", "\"Reel\""}},
      {R"({"nodes": {"/A": {"ValueType": 4}}})", {"\"/A\"", "ValueType"}},
      {R"({"nodes": {"/A": {"ValueType": "Integer", "Value": 1.5}}})", {"\"/A\"", "integer"}},
      {R"({"nodes": {"/A": {"ValueType": "Real", "Minimum": "low"}}})", {"\"Minimum\"", "number"}},
      {R"({"nodes": {"/A": {"ValueType": "Boolean", "Value": 1}}})", {"\"/A\"", "true or false"}},
      {R"({"nodes": {"/A": {"ValueType": "timeval", "Value": 1e300}}})", {"\"/A\"", "seconds"}},
      // The long form
      {R"({"nodes": {"/A": {"Value": {"type": "Real"}}}})", {"\"/A\"", "\"value\""}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "typ": 1}}}})", {"\"/A\"", "\"typ\""}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "type": "Int"}}}})", {"\"/A\"", "\"Int\""}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "time": "now"}}}})", {"\"/A\"", "time"}},
      {R"({"nodes": {"/A": {"Value": {"value": 1, "source": "Automatic"}}}})", {"\"Automatic\""}},
      // Rights
      {R"({"rights": {}})", {"\"rights\""}},
      {R"({"rights": [{"path": "/", "user": "*"}]})", {"right 1", "\"allow\""}},
      {R"({"rights": [{"path": "/", "user": "*", "allow": "rq"}]})", {"right 1", "\"q\""}},
      {R"({"rights": [{"path": "/A/", "user": "*", "allow": "r"}]})", {"right 1", "\"/A/\""}},
      {R"({"rights": [{"path": "/", "user": "", "allow": "r"}]})", {"right 1", "user"}},
      {R"({"rights": [{"path": "/", "user": "a", "allow": "r"},
                      {"path": "/", "user": "a", "allow": "w"}]})",
       {"right 2", "twice"}},
  };
  for (const Case& c : cases) {
    const std::string error = errorOf(c.text);
    for (const char* word : c.words) {
      EXPECT_NE(error.find(word), std::string::npos) << c.text << "\n gave: " << error;
    }
  }
}

TEST(ModelFile, HostileSizesAreOrdinaryFaults) {
  EXPECT_NE(errorOf(std::string(1000000, '[')), "");
  EXPECT_NE(errorOf("{\"nodes\": {\"/" + std::string(600, 'a') + "\": {}}}"), "");
  EXPECT_NE(errorOf("{\"nodes\": {\"/A\": {\"" + std::string(600, 'b') + "\": 1}}}"), "");
}

TEST(ModelFile, TypesFollowTheValueOrTheNode) {
  struct Case {
    const char* leaves;
    const char* name;
    data_type_t type;
    const char* text;
  };
  const Case cases[] = {
      {R"("Value": true)", "Value", DATA_BOOLEAN, "true"},
      {R"("Value": -2147483648)", "Value", DATA_INTEGER, "-2147483648"},
      {R"("Value": 2.0)", "Value", DATA_REAL, "2"},
      {R"("Value": "漢")", "Value", DATA_STRING, "漢"},
      {R"("ValueType": "Real", "Value": 2)", "Value", DATA_REAL, "2"},
      {R"("ValueType": "real", ".AlarmHighLimit": 253)", ".AlarmHighLimit", DATA_REAL, "253"},
      {R"("ValueType": "Real", ".AlarmDelay": 3)", ".AlarmDelay", DATA_INTEGER, "3"},
      {R"("ValueType": "Real", "Value": "nan")", "Value", DATA_REAL, "nan"},
      {R"("ValueType": "Multistate", "Value": 1)", "Value", DATA_INTEGER, "1"},
      {R"("ValueType": "Enumerated", ".AlarmOnValue": 2)", ".AlarmOnValue", DATA_ENUMERATED, "2"},
      {R"("ValueType": "Integer64", "Value": 9007199254740993)", "Value", DATA_INTEGER64,
       "9007199254740993"},
      {R"("ValueType": "timeval", "Value": 1700000000.25)", "Value", DATA_TIMEVAL,
       "1700000000.250000"},
      {R"("ValueType": {"value": "Real"}, "Value": 2)", "Value", DATA_REAL, "2"},
      {R"("ValueType": "Real", "Value": {"value": 2, "type": "Integer64"})", "Value",
       DATA_INTEGER64, "2"},
  };
  for (const Case& c : cases) {
    Model model;
    ASSERT_EQ(model_file::parse("{\"nodes\": {\"/A\": {" + std::string(c.leaves) + "}}}", model),
              "")
        << c.leaves;
    const ModelLeaf* leaf = find(model, "/A", c.name);
    ASSERT_NE(leaf, nullptr) << c.leaves;
    EXPECT_EQ(leaf->element.type(), c.type) << c.leaves;
    EXPECT_EQ(leaf->element.to_string(17), c.text) << c.leaves;
  }
}

TEST(ModelFile, LongFormSetsTimeAndSource) {
  Model model;
  ASSERT_EQ(model_file::parse(R"({"nodes": {"/A": {"Value":
      {"value": 1, "time": 1700000000.999999, "source": "Persistent"}}}})",
                              model),
            "");
  const ModelLeaf& leaf = model.leaves.at(0);
  EXPECT_EQ(leaf.element.time().tv_sec, 1700000000);
  EXPECT_EQ(leaf.element.time().tv_usec, 999999);
  EXPECT_EQ(leaf.source, ELEMENT_PERSISTENT);
}

TEST(ModelFile, FormatAndParseAreInverse) {
  Model model;
  ASSERT_EQ(model_file::parse(R"({
      "rights": [{"path": "/", "user": "*", "allow": ""}, {"path": "/A", "user": "é", "allow": "rw"}],
      "nodes": {"/": {"ReadOnly": false}, "/Empty": {},
        "/A": {"ValueType": "Real", "Value": 0.1, "Minimum": -1e300, "Maximum": "inf",
               ".Deadband": {"value": "nan", "type": "Real"}, "Units": "\"quotes\" \\ \n \u0001 😀",
               "Note": {"value": 7, "type": "Integer64"}, "Gone": {"value": null, "type": "None"}},
        "/B": {"Value": {"value": 1, "type": "Enumerated", "time": 1.000001, "source": "MPL"},
               "When": {"value": -1.5, "type": "timeval"}}}})",
                              model),
            "");
  Model again;
  ASSERT_EQ(model_file::parse(model_file::format(model), again), "");
  expectSame(model, again);
}

TEST(ModelFile, LoadNamesTheFile) {
  Model model;
  EXPECT_EQ(model_file::load(FEEDER_MODEL, model), "");
  EXPECT_GT(model.leaves.size(), 500U);
  for (const char* file : {"/nowhere/model.json", "/tmp"}) {
    EXPECT_EQ(model_file::load(file, model).rfind(file, 0), 0U);
  }
}

}  // namespace
