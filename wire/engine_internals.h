// What a context keeps for the engine's own use, and what we need of it. Nobody else looks at these
// members: another version of the engine may have others.
#pragma once

#include <string_view>
#include <unordered_set>

#include "stdsoap2.h"

namespace engine_internals {

// Releases the objects among those that the context holds, in one pass: soap_delete() searches it
// anew for each. What is not the context's stays.
void release(struct soap* ctx, const std::unordered_set<const void*>& objects);

// The namespace that a prefix stands for at this element, as the table of namespaces names it; ""
// for none, null for one that is not in the table.
const char* namespaceOf(const struct soap* ctx, std::string_view prefix);

// The namespace of the operation that is being read, as the table names it; null outside of one.
const char* operation(const struct soap* ctx);
void setOperation(struct soap* ctx, const char* name);

// The name of an element that the message refers to and does not have; null where there is none.
const char* missingReference(const struct soap* ctx);

}  // namespace engine_internals
