// Reading one leaf in a transaction.
#pragma once

#include "store/transaction.h"
#include "toolkit/element.h"
#include "toolkit/path.h"
#include "toolkit/types.h"

namespace toolkit {

struct LeafContent {
  api_status_t status = API_FAILED;
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
};

// Of any path, automatic leaves and elements of lists too.
LeafContent readLeaf(store::Transaction& transaction, const CPath& path);

// Whether the path names a leaf that lies in the store as it is.
bool isStoredLeaf(const CPath& path);

}  // namespace toolkit
