#include "toolkit/multistate.h"

#include "store_fixture.h"

using toolkit::CCds;
using toolkit::CCds_Multistate;
using toolkit::CElement;

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

TEST_F(Multistate, BooleansAreFalseAndTrueWithoutLabels) {
  for (const auto& [node, writable, expected] : {std::tuple("/Flag", false, "false;true"),
                                                 {"/Switch", true, "Off;On"},
                                                 {"/Breaker", true, "Closed;Open"}}) {
    std::string labels;
    states_.GetBoolPossibleValues(node, writable, labels);
    EXPECT_EQ(labels, expected) << node;
  }
}

TEST_F(Multistate, NumbersWithoutALabelStayNumbers) {
  const std::tuple<const char*, int, const char*> kCases[] = {
      {"a;b;c", 2, "c"}, {"a;b;c", 3, "3"}, {"a;b;c", -1, "-1"}, {"a;;c", 1, "1"}, {"", 0, "0"}};
  for (const auto& [labels, number, expected] : kCases) {
    std::string label;
    CCds_Multistate::GetStringValue(labels, number, label);
    EXPECT_EQ(label, expected) << labels;
    int state = -7;
    const bool hasLabel = label != std::to_string(number);
    EXPECT_EQ(CCds_Multistate::GetEnumValue(labels, label, state) == 0, hasLabel) << labels;
    EXPECT_EQ(state, hasLabel ? number : -7) << labels;
  }
}

TEST_F(Multistate, TextIsMappedByTheNodesLabels) {
  const CElement kRefused("before");
  const std::tuple<const char*, const char*, data_type_t, CElement, bool> kCases[] = {
      {"/Breaker", "Closed", DATA_INTEGER, CElement(1), true},
      {"/Breaker", "Open", DATA_ENUMERATED, CElement(0, DATA_ENUMERATED), true},
      {"/Breaker", "Tripped", DATA_INTEGER, kRefused, true},
      {"/Breaker", "closed", DATA_INTEGER, kRefused, true},
      {"/State", "Busy", DATA_INTEGER, CElement(2), true},
      {"/State", "", DATA_INTEGER, kRefused, true},
      {"/Mode", "On", DATA_INTEGER, kRefused, true},
      {"/Count", "5", DATA_INTEGER, kRefused, false},
      {"/Real", "Low", DATA_INTEGER, kRefused, false},
      {"/Missing", "", DATA_INTEGER, kRefused, false},
      {"/Switch:.AlarmOnValue", "On", DATA_BOOLEAN, CElement(true), true},
      {"/Switch", "true", DATA_BOOLEAN, kRefused, true},
      {"/Flag", "false", DATA_BOOLEAN, CElement(false), false},
  };
  for (auto [path, text, type, expected, isMultistate] : kCases) {
    CElement element = kRefused;
    element.set_time({5, 6});
    expected.set_time({5, 6});
    bool told = !isMultistate;
    const int result = states_.StringToMultiValue(normalized(path), type, text, element, told);
    EXPECT_EQ(result == 0, expected.type() != DATA_STRING) << path << " " << text;
    EXPECT_EQ(told, isMultistate) << path << " " << text;
    EXPECT_EQ(element, expected) << path << " " << text;
  }
}

}  // namespace
