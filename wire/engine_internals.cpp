#include "engine_internals.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace engine_internals {

namespace {

// Of the context's slots for extensions, the one that no extension of the engine's takes.
constexpr std::size_t kOperation = 3;

}  // namespace

void release(struct soap* ctx, const std::unordered_set<const void*>& objects) {
  struct soap_clist** link = &ctx->clist;
  while (*link != nullptr) {
    struct soap_clist* entry = *link;
    if (objects.contains(entry->ptr)) {
      *link = entry->next;
      entry->fdelete(ctx, entry);
      SOAP_FREE(ctx, entry);
    } else {
      link = &entry->next;
    }
  }
}

const char* namespaceOf(const struct soap* ctx, std::string_view prefix) {
  const soap_nlist* entry = ctx->nlist;
  while (entry != nullptr && prefix != entry->id) {
    entry = entry->next;
  }
  if (entry == nullptr) {
    return prefix.empty() ? "" : nullptr;
  }
  if (entry->index >= 0) {
    return ctx->local_namespaces[entry->index].id;
  }
  return entry->ns != nullptr && *entry->ns == '\0' ? "" : nullptr;
}

const char* operation(const struct soap* ctx) {
  return static_cast<const char*>(ctx->data[kOperation]);
}

void setOperation(struct soap* ctx, const char* name) {
  ctx->data[kOperation] = const_cast<char*>(name);
}

const char* missingReference(const struct soap* ctx) {
  // Empty as it is for almost every request, the table equals itself, shifted by an entry.
  if (ctx->iht[0] == nullptr &&
      std::memcmp(ctx->iht, ctx->iht + 1, (std::size(ctx->iht) - 1) * sizeof(void*)) == 0) {
    return nullptr;
  }
  const auto* const found = std::find_if(std::begin(ctx->iht), std::end(ctx->iht),
                                         [](const soap_ilist* entry) { return entry != nullptr; });
  return found == std::end(ctx->iht) ? nullptr : (*found)->id;
}

}  // namespace engine_internals
