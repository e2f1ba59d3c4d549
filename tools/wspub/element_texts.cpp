#include "element_texts.h"

#include "toolkit/multistate.h"

namespace wspub {

namespace {

// Leaves that hold a value of the node, and not something about it.
bool holdsValue(const toolkit::CPath& path) {
  return path.getLeafName() == ".AlarmOnValue" || pcd_attr_str_to_enum(path.getLeafName()) == 0;
}

}  // namespace

Texts textsOf(toolkit::CCds& cds, const toolkit::CPath& path, const toolkit::CElement& element) {
  Texts texts = {element.to_string(), std::nullopt};
  if (!holdsValue(path)) {
    return texts;
  }
  toolkit::CCds_Multistate states(cds);
  std::string labels;
  const data_type_t type = element.type();
  if (type == DATA_BOOLEAN) {
    texts.numeric = std::to_string(element.to_bool() ? 1 : 0);
    states.GetBoolPossibleValues(path.getNodePath(), false, labels);
    toolkit::CCds_Multistate::GetBoolPossibleValue(labels, element.to_bool(), texts.value);
  } else if ((type == DATA_ENUMERATED || type == DATA_INTEGER) &&
             states.IsMultistate(path.getNodePath(), true, labels)) {
    texts.numeric = texts.value;
    toolkit::CCds_Multistate::GetStringValue(labels, element.to_int(), texts.value);
  }
  return texts;
}

}  // namespace wspub
