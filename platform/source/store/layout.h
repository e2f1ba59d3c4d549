// Keys and records of the store's tables; docs/store-format.md has them byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "toolkit/element.h"
#include "toolkit/event.h"
#include "toolkit/types.h"

namespace toolkit::store {

// The longest key that LMDB takes.
inline constexpr std::size_t kMaxKey = 511;

// A key put together on the stack: reads allocate nothing.
class Key {
 public:
  // `head`, a zero byte, `tail`. Longer parts than a key holds make a key that is in no table.
  Key(std::string_view head, std::string_view tail);
  operator std::string_view() const { return {bytes_, size_}; }

 private:
  char bytes_[kMaxKey];
  std::size_t size_ = 0;
};

// The root is the empty path in keys, so that a key is as long as the path that it stands for.
std::string_view keyPath(std::string_view node);

// Key of a node's leaf in the table of leaves; with an empty name, the prefix of all of them.
Key leafKey(std::string_view node, std::string_view leaf);
// Key of a node, not the root, in the table of nodes.
Key nodeKey(std::string_view node);
// Prefix of the keys of a node's children in the table of nodes.
Key childPrefix(std::string_view node);
// Key of a right.
Key rightKey(std::string_view path, std::string_view user);

// Path of the node above; "/" for the top-level nodes and for "/".
std::string_view parentOf(std::string_view node);
std::string_view nameOf(std::string_view node);
std::string join(std::string_view node, std::string_view name);

// A leaf's record. `source` is who wrote it.
std::string encodeLeaf(const CElement& element, element_property_t property,
                       std::string_view source);
// False for bytes that are no record; the outputs then stay.
bool decodeLeaf(std::string_view bytes, CElement& element, element_property_t& property);

// The record's part that tells who wrote. False for bytes that are no record.
bool decodeWriter(std::string_view bytes, std::string& writer);

std::string encodeEvent(const CEvent& event);
std::optional<CEvent> decodeEvent(std::string_view bytes);

struct WatchdogRecord {
  std::int32_t periodSeconds = 0;
  std::int64_t lastPing = 0;
  std::int32_t action = 0;
};

std::string encodeWatchdog(const WatchdogRecord& record);
std::optional<WatchdogRecord> decodeWatchdog(std::string_view bytes);

}  // namespace toolkit::store
