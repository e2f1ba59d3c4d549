// Writing many values in one request: each entry is checked and answered on its own, entries inform
// each other, and all good ones reach the store in one transaction with one time stamp and source.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "front/global_data.h"
#include "toolkit/element.h"
#include "toolkit/path.h"
#include "values/service_options.h"

// One (path, value) pair of a request.
struct CWritableLeaf {
  toolkit::CPath path;
  std::string value;          // the client's text
  toolkit::CElement element;  // what will be written; first the text
  int status = 0;             // 0: still to be written; else settled, with `reply` its answer
  std::string reply;
  int index = -1;
  data_type_t dataType = DATA_NONE;  // of the leaf, while known
  bool mapped = false;               // the text was a label
};

// The records of one request, in its order, to be found by leaf path: a request of many entries
// looks each other's up for every one of them.
struct CWritableBatch {
  std::vector<CWritableLeaf> leaves;
  // Of whole leaves, and the first of equal paths.
  std::unordered_map<std::string, std::size_t> byLeafPath;
};

// True when both lists are there and match. Otherwise false, and `results` holds one error string.
// Null stands for an absent list.
bool pcd_testPathsValues(const std::vector<std::string>* paths,
                         const std::vector<std::string>* values, const _service_options_t* opts,
                         std::vector<std::string>& results);

// Writes values[i] to paths[i], one result each, in order. 0, or kUnauthorized when the caller may
// not write one of them: nothing is written then, and `results` stays.
int pcd_setValues(struct soap* ctx, bool testMode, const _service_options_t* opts,
                  const std::vector<std::string>& paths, const std::vector<std::string>& values,
                  std::vector<std::string>& results);

// The record for the leaf at this path, or null.
CWritableLeaf* FindWritableLeaf(CWritableBatch& batch, const std::string& leafPath);

// Type of a node's value: as its ValueType in the batch says, else as the store's; String where
// neither does. For a multistate type `possibleValues` receives the labels, "null" when there are
// none. A refused entry of the batch counts as none.
data_type_t HuntForValueType(toolkit::CCds& cds, const std::string& nodePath, CWritableBatch* batch,
                             std::string& possibleValues, bool& isMultistate);

// The labels that may be written to a leaf's node: WritableValues before PossibleValues, of the
// batch (unless refused) before the store's. With `checkValue` only labels that contain the leaf's
// text count, and without it PossibleValues of the store do not. False when there are none:
// `possibleValues` stays.
bool HuntForMultistateValues(toolkit::CCds& cds, CWritableLeaf& leaf, CWritableBatch& batch,
                             std::string& possibleValues, bool checkValue);
