// CCds_Multistate: labels for the states of Boolean and Integer points.
//
// A node's PossibleValues and WritableValues are labels joined by ";". A label's index in the
// PossibleValues, counted from 0, is the state's number; a Boolean's false is index 0. The
// WritableValues tell which of them may be written, in any order; alone, they count as both. A node
// is multistate when its ValueType is "Multistate", or when it has PossibleValues and its value is
// of type 2 or 3. A Boolean without labels reads and writes as "false;true".
//
// The functions on a labels text are pure; the others read the store, and a failed read counts as
// an absent leaf.
#pragma once

#include <string>

#include "toolkit/cds.h"

namespace toolkit {

class CCds_Multistate {
 public:
  // `cds` must outlive this object.
  explicit CCds_Multistate(CCds& cds) : cds_(cds) {}

  // With `fetchLabels`, `possibleValues` receives the node's labels (empty when it has none).
  bool IsMultistate(const std::string& nodePath, bool fetchLabels, std::string& possibleValues);

  // Labels of a Boolean node: its WritableValues when `writable` asks for them and they exist, its
  // PossibleValues, or "false;true". Always returns 0.
  int GetBoolPossibleValues(const std::string& nodePath, bool writable,
                            std::string& possibleValues);

  // Label of a state; the number as text when it has none. Always return 0.
  static int GetStringValue(const std::string& possibleValues, int state, std::string& label);
  static int GetBoolPossibleValue(const std::string& possibleValues, bool state,
                                  std::string& label);

  // State of a label: the exact label, but "false" and "true" in any letter case where a Boolean
  // has none. 0 when it was found, else 1 and the output stays.
  static int GetBoolFromString(const std::string& possibleValues, const std::string& text,
                               bool& state);
  static int GetEnumValue(const std::string& possibleValues, const std::string& text, int& state);

  // Maps a client's text for the value at `path`, a leaf of type `dataType` (1, 2 or 3), through
  // the node's labels into `element`, whose time stamp stays: where the node has WritableValues,
  // of more than two characters, the text must be one of them, unless `which` asks for any label.
  // `isMultistate` tells whether the node has states to map to; a Boolean without a list of labels
  // has none, but "false" and "true" are mapped. 0 when mapped, else non-zero and `element` stays.
  enum class Labels { kWritable, kAny };
  int StringToMultiValue(const CPath& path, data_type_t dataType, const std::string& text,
                         CElement& element, bool& isMultistate, Labels which = Labels::kWritable);

 private:
  std::string leafText(const std::string& nodePath, const char* leafName);

  CCds& cds_;
};

}  // namespace toolkit
