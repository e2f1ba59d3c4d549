// Lists that come in several elements where the schema has one, as some toolkits send them: their
// items count together.
#pragma once

#include <string>
#include <vector>

#include "TarnixStub.h"

inline std::vector<std::string>& itemsOf(nsc1__ArrayOfString& list) {
  return list.string;
}
inline std::vector<nsc1__NodeSubscription*>& itemsOf(nsc1__ArrayOfNodeSubscription& list) {
  return list.NodeSubscription;
}
inline std::vector<nsc1__AckRequest*>& itemsOf(nsc1__ArrayOfAckRequest& list) {
  return list.AckRequest;
}

// Puts what the elements so far hold, null for nothing, before what `list`, the latest one, holds.
template <class List>
void unite(List* before, List*& list) {
  if (before == nullptr) {
    return;
  }
  if (list != nullptr) {
    const auto& items = itemsOf(*list);
    itemsOf(*before).insert(itemsOf(*before).end(), items.begin(), items.end());
  }
  list = before;
}
