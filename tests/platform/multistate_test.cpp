#include "toolkit/multistate.h"

#include "store_fixture.h"

using toolkit::CCds;
using toolkit::CCds_Multistate;
using toolkit::CElement;
using toolkit::CPath;

namespace {

class Multistate : public StoreTest {
 protected:
  Multistate() {
    import({leaf("/Breaker", "Value", CElement(1)),
            leaf("/Breaker", "PossibleValues", CElement("Open;Closed;Tripped")),
            leaf("/Breaker", "WritableValues", CElement("Closed;Open")),
            leaf("/Mode", "Value", CElement(0)), leaf("/Mode", "ValueType", CElement("Multistate")),
            leaf("/State", "Value", CElement(0, DATA_ENUMERATED)),
            leaf("/State", "PossibleValues", CElement("Idle;;Busy")),
            leaf("/Real", "Value", CElement(1.0)),
            leaf("/Real", "PossibleValues", CElement("Low;High")),
            leaf("/Count", "Value", CElement(5)), leaf("/Flag", "Value", CElement(false)),
            leaf("/Switch", "Value", CElement(false)),
            leaf("/Switch", "PossibleValues", CElement("Off;On"))});
    cds_.init();
  }

  CCds cds_;
  CCds_Multistate states_{cds_};
};

TEST_F(Multistate, IsToldByTypeOrByLabelsOfANumber) {
  const struct {
    const char* node;
    bool isMultistate;
    const char* labels;
  } kCases[] = {{"/Breaker", true, "Open;Closed;Tripped"},
                {"/Mode", true, ""},
                {"/State", true, "Idle;;Busy"},
                {"/Real", false, "Low;High"},
                {"/Count", false, ""},
                {"/Missing", false, ""}};
  for (const auto& c : kCases) {
    std::string labels = "before";
    EXPECT_EQ(states_.IsMultistate(c.node, true, labels), c.isMultistate) << c.node;
    EXPECT_EQ(labels, c.labels) << c.node;
  }
}

TEST_F(Multistate, LabelsOfBooleans) {
  const struct {
    const char* node;
    bool writable;
    const char* labels;
  } kCases[] = {{"/Flag", false, "false;true"},
                {"/Switch", true, "Off;On"},
                {"/Breaker", true, "Closed;Open"},
                {"/Breaker", false, "Open;Closed;Tripped"}};
  for (const auto& c : kCases) {
    std::string labels;
    states_.GetBoolPossibleValues(c.node, c.writable, labels);
    EXPECT_EQ(labels, c.labels) << c.node;
  }
}

TEST_F(Multistate, NumbersWithoutALabelStayNumbers) {
  const struct {
    const char* labels;
    int state;
    const char* label;
  } kCases[] = {{"a;b;c", 0, "a"},   {"a;b;c", 2, "c"}, {"a;b;c", 3, "3"},
                {"a;b;c", -1, "-1"}, {"a;;c", 1, "1"},  {"", 0, "0"},
                {";", 1, "1"},       {"a", 0, "a"},     {"a;b", 2147483647, "2147483647"}};
  for (const auto& c : kCases) {
    std::string label;
    CCds_Multistate::GetStringValue(c.labels, c.state, label);
    EXPECT_EQ(label, c.label) << c.labels;
    int state = -7;
    const bool hasLabel = label != std::to_string(c.state);
    EXPECT_EQ(CCds_Multistate::GetEnumValue(c.labels, label, state) == 0, hasLabel) << c.labels;
    EXPECT_EQ(state, hasLabel ? c.state : -7) << c.labels;
  }
}

TEST_F(Multistate, TextIsMappedByTheNodesLabels) {
  const struct {
    CElement element;
    const char* path;
    const char* text;
    data_type_t type;
    bool mapped;
    bool isMultistate;
  } kCases[] = {
      {CElement(1), "/Breaker", "Closed", DATA_INTEGER, true, true},
      {CElement(0, DATA_ENUMERATED), "/Breaker", "Open", DATA_ENUMERATED, true, true},
      {{}, "/Breaker", "Tripped", DATA_INTEGER, false, true},
      {{}, "/Breaker", "closed", DATA_INTEGER, false, true},
      {{}, "/Breaker", "1", DATA_INTEGER, false, true},
      {CElement(2), "/State", "Busy", DATA_INTEGER, true, true},
      {{}, "/State", "", DATA_INTEGER, false, true},
      {{}, "/Mode", "On", DATA_INTEGER, false, true},
      {{}, "/Count", "5", DATA_INTEGER, false, false},
      {CElement(true), "/Switch:.AlarmOnValue", "On", DATA_BOOLEAN, true, true},
      {{}, "/Switch", "true", DATA_BOOLEAN, false, true},
      {CElement(false), "/Flag", "false", DATA_BOOLEAN, true, false},
      {{}, "/Flag", "TRUE", DATA_BOOLEAN, false, false},
  };
  for (const auto& c : kCases) {
    CPath path(c.path);
    path.normalize();
    CElement element("before");
    element.set_time({5, 6});
    bool isMultistate = !c.isMultistate;
    const int result = states_.StringToMultiValue(path, c.type, c.text, element, isMultistate);
    EXPECT_EQ(result == 0, c.mapped) << c.path << " " << c.text;
    EXPECT_EQ(isMultistate, c.isMultistate) << c.path << " " << c.text;
    CElement expected = c.mapped ? c.element : CElement("before");
    expected.set_time({5, 6});
    EXPECT_EQ(element, expected) << c.path << " " << c.text;
  }
}

}  // namespace
