// How an element reads for a client: states by their labels, untranslated.
#pragma once

#include "records.h"
#include "toolkit/cds.h"

namespace wspub {

// `path` is the leaf that the element comes from: its node has the labels.
Texts textsOf(toolkit::CCds& cds, const toolkit::CPath& path, const toolkit::CElement& element);

}  // namespace wspub
