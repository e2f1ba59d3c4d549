#include "values/state_labels.h"

#include "toolkit/multistate.h"
#include "values/locales.h"

using toolkit::CCds_Multistate;

std::string boolLabel(_global_data_t* glptr, const std::string& nodePath, bool state,
                      const std::locale& locale) {
  std::string labels;
  CCds_Multistate(glptr->cdsApi).GetBoolPossibleValues(nodePath, false, labels);
  if (glptr->localesOk) {
    labels = translated(labels, locale);
  }
  std::string label;
  CCds_Multistate::GetBoolPossibleValue(labels, state, label);
  return label;
}

bool stateLabel(_global_data_t* glptr, const std::string& nodePath, int state,
                const std::locale& locale, std::string& text) {
  std::string labels;
  if (!CCds_Multistate(glptr->cdsApi).IsMultistate(nodePath, true, labels)) {
    return false;
  }
  if (glptr->localesOk) {
    labels = translated(labels, locale);
  }
  CCds_Multistate::GetStringValue(labels, state, text);
  return true;
}
