#include "store/layout.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <type_traits>

namespace toolkit::store {

namespace {

// The store never leaves the machine, so numbers stand in its byte order; a file of the other order
// is one that LMDB refuses.
static_assert(std::endian::native == std::endian::little,
              "the format of the store is little-endian");

class Packer {
 public:
  template <class T>
  void number(T value) {
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void text(std::string_view text) { bytes_.append(text); }
  std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

// Reads what a Packer wrote. After bytes that end too early everything reads as 0 and isGood() is
// false.
class Unpacker {
 public:
  explicit Unpacker(std::string_view bytes) : bytes_(bytes) {}

  template <class T>
  T number() {
    T value = {};
    take(sizeof value).copy(reinterpret_cast<char*>(&value), sizeof value);
    return value;
  }
  std::string_view take(std::size_t size) {
    if (size > bytes_.size()) {
      good_ = false;
      return {};
    }
    const std::string_view head = bytes_.substr(0, size);
    bytes_.remove_prefix(size);
    return head;
  }
  std::string_view rest() const { return bytes_; }
  bool isGood() const { return good_; }

 private:
  std::string_view bytes_;
  bool good_ = true;
};

void packTime(Packer& packer, timeval time) {
  constexpr std::int64_t kLast = std::numeric_limits<std::int32_t>::max();
  packer.number(static_cast<std::int64_t>(time.tv_sec));
  packer.number(
      static_cast<std::int32_t>(std::clamp<std::int64_t>(time.tv_usec, -kLast - 1, kLast)));
}

timeval unpackTime(Unpacker& unpacker) {
  const auto seconds = unpacker.number<std::int64_t>();
  return {seconds, unpacker.number<std::int32_t>()};
}

void packText(Packer& packer, std::string_view text) {
  packer.number(static_cast<std::uint32_t>(text.size()));
  packer.text(text);
}

std::string unpackText(Unpacker& unpacker) {
  return std::string(unpacker.take(unpacker.number<std::uint32_t>()));
}

void packValue(Packer& packer, const CElement& element) {
  switch (element.type()) {
    case DATA_BOOLEAN:
      return packer.number(static_cast<std::uint8_t>(element.to_bool()));
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      return packer.number(element.to_int());
    case DATA_REAL:
      return packer.number(element.to_double());
    case DATA_TIMEVAL:
      return packTime(packer, element.to_timeval());
    case DATA_INTEGER64:
      return packer.number(element.to_int64());
    case DATA_STRING:
      return packText(packer, element.to_string());
    case DATA_NONE:
    case DATA_SAME_AS_VALUE:
      return;
  }
}

// Sets `element` unless the type is none that is stored.
bool unpackValue(Unpacker& unpacker, data_type_t type, CElement& element) {
  switch (type) {
    case DATA_NONE:
      element.convert_type(DATA_NONE);
      return true;
    case DATA_BOOLEAN:
      element = CElement(unpacker.number<std::uint8_t>() != 0);
      return true;
    case DATA_ENUMERATED:
    case DATA_INTEGER:
      element = CElement(unpacker.number<std::int32_t>(), type);
      return true;
    case DATA_REAL:
      element = CElement(unpacker.number<double>());
      return true;
    case DATA_TIMEVAL:
      element = CElement(unpackTime(unpacker));
      return true;
    case DATA_STRING:
      element = CElement(unpackText(unpacker));
      return true;
    case DATA_INTEGER64:
      element = CElement(unpacker.number<std::int64_t>());
      return true;
    case DATA_SAME_AS_VALUE:
      break;
  }
  return false;
}

}  // namespace

Key::Key(std::string_view head, std::string_view tail) {
  if (head.size() + 1 + tail.size() > kMaxKey) {
    bytes_[size_++] = '\0';  // names nothing: no name is empty
    return;
  }
  head.copy(bytes_, head.size());
  bytes_[head.size()] = '\0';
  tail.copy(bytes_ + head.size() + 1, tail.size());
  size_ = head.size() + 1 + tail.size();
}

std::string_view keyPath(std::string_view node) {
  return node == "/" ? std::string_view("") : node;  // never null: keys are copied from it
}

Key leafKey(std::string_view node, std::string_view leaf) {
  return {keyPath(node), leaf};
}

Key nodeKey(std::string_view node) {
  return {keyPath(parentOf(node)), nameOf(node)};
}

Key childPrefix(std::string_view node) {
  return {keyPath(node), {}};
}

Key rightKey(std::string_view path, std::string_view user) {
  return {path, user};
}

std::string_view parentOf(std::string_view node) {
  const std::size_t slash = node.rfind('/');
  return slash == 0 || slash == std::string_view::npos ? std::string_view("/")
                                                       : node.substr(0, slash);
}

std::string_view nameOf(std::string_view node) {
  return node.substr(node.rfind('/') + 1);
}

std::string join(std::string_view node, std::string_view name) {
  std::string path(keyPath(node));
  path += '/';
  return path += name;
}

namespace {

bool unpackLeaf(Unpacker& unpacker, CElement& element, element_property_t& property) {
  const auto type = unpacker.number<std::uint8_t>();
  const auto source = unpacker.number<std::uint8_t>();
  const timeval time = unpackTime(unpacker);
  CElement value;
  if (!unpackValue(unpacker, static_cast<data_type_t>(type), value) || !unpacker.isGood() ||
      source > ELEMENT_MPL) {
    return false;
  }
  element = std::move(value);
  element.set_time(time);
  property = static_cast<element_property_t>(source);
  return true;
}

// Every field of an event in the order of its record, for reading and for writing.
template <class Event, class Number, class Text, class Time>
void eachField(Event& event, Number number, Text text, Time time) {
  number(event.type);
  number(event.priority);
  number(event.severity);
  number(event.flag);
  number(event.quality);
  number(event.id);
  number(event.sequence);
  number(event.ack);
  number(event.variation);
  number(event.condition);
  number(event.autoClosing);
  time(event.raised);
  time(event.time);
  text(event.path);
  text(event.note);
  text(event.source);
  text(event.message);
}

}  // namespace

std::string encodeLeaf(const CElement& element, element_property_t property,
                       std::string_view source) {
  Packer packer;
  packer.number(static_cast<std::uint8_t>(element.type()));
  packer.number(static_cast<std::uint8_t>(property));
  packTime(packer, element.time());
  packValue(packer, element);
  packer.text(source);
  return packer.take();
}

bool decodeLeaf(std::string_view bytes, CElement& element, element_property_t& property) {
  Unpacker unpacker(bytes);
  return unpackLeaf(unpacker, element, property);
}

bool decodeWriter(std::string_view bytes, std::string& writer) {
  Unpacker unpacker(bytes);
  CElement element;
  element_property_t property = ELEMENT_NORMAL;
  const bool good = unpackLeaf(unpacker, element, property);
  writer = good ? unpacker.rest() : std::string_view();
  return good;
}

std::string encodeEvent(const CEvent& event) {
  Packer packer;
  eachField(
      event, [&](auto value) { packer.number(value); },
      [&](const std::string& text) { packText(packer, text); },
      [&](timeval time) { packTime(packer, time); });
  packer.text(encodeLeaf(event.value, ELEMENT_NORMAL, {}));
  for (const std::string& url : event.waveforms) {
    packText(packer, url);
  }
  return packer.take();
}

std::optional<CEvent> decodeEvent(std::string_view bytes) {
  Unpacker unpacker(bytes);
  CEvent event;
  eachField(
      event,
      [&]<class Value>(Value& value) {
        if constexpr (std::is_same_v<Value, bool>) {
          value = unpacker.number<std::uint8_t>() != 0;
        } else {
          value = unpacker.number<Value>();
        }
      },
      [&](std::string& text) { text = unpackText(unpacker); },
      [&](timeval& time) { time = unpackTime(unpacker); });
  element_property_t property = ELEMENT_NORMAL;
  bool good = unpackLeaf(unpacker, event.value, property);
  while (good && !unpacker.rest().empty()) {
    event.waveforms.push_back(unpackText(unpacker));
    good = unpacker.isGood();
  }
  return good ? std::optional(std::move(event)) : std::nullopt;
}

std::string encodeWatchdog(const WatchdogRecord& record) {
  Packer packer;
  packer.number(record.periodSeconds);
  packer.number(record.lastPing);
  packer.number(record.action);
  return packer.take();
}

std::optional<WatchdogRecord> decodeWatchdog(std::string_view bytes) {
  Unpacker unpacker(bytes);
  WatchdogRecord record;
  record.periodSeconds = unpacker.number<std::int32_t>();
  record.lastPing = unpacker.number<std::int64_t>();
  record.action = unpacker.number<std::int32_t>();
  return unpacker.isGood() ? std::optional(record) : std::nullopt;
}

}  // namespace toolkit::store
