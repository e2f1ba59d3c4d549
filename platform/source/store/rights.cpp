#include "store/rights.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include "store/layout.h"
#include "store/store.h"

namespace toolkit::store {

namespace {

constexpr const char* kGenerationKey = "rights-generation";
constexpr std::array<std::pair<char, Right>, 4> kLetters = {
    {{'r', kRead}, {'w', kWrite}, {'d', kRemove}, {'x', kReset}}};

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};
template <class T>
using ByText = std::unordered_map<std::string, T, TextHash, std::equal_to<>>;

// The rows of one live half, read anew when the store says that they have changed.
class RightsTable {
 public:
  explicit RightsTable(std::shared_ptr<Environment> live) : live_(std::move(live)) {}

  bool isAllowed(std::string_view node, std::string_view user, Right right) {
    return refresh() && (bitsAt(node, user) & right) != 0;
  }

  bool isAllowedBelow(std::string_view node, std::string_view user, Right right) {
    return isAllowed(node, user, right) &&
           std::all_of(rows_.begin(), rows_.end(), [&](const auto& row) {
             const std::string_view path = row.first;
             const bool below = node == "/" || (path.starts_with(node) && path[node.size()] == '/');
             return !below || (bitsAt(path, user) & right) != 0;
           });
  }

 private:
  bool refresh() {
    ReadTransaction transaction(*live_);
    if (generation_ && transaction.status() == MDB_SUCCESS && transaction.id() == seen_) {
      return true;
    }
    const auto generation = transaction.get(Table::kMeta, kGenerationKey);
    if (generation && generation_ != *generation) {
      generation_.reset();
      load(transaction);
      if (transaction.status() == MDB_SUCCESS) {
        generation_ = *generation;
      }
    }
    seen_ = transaction.id();
    return transaction.status() == MDB_SUCCESS && generation && generation_;
  }

  void load(ReadTransaction& transaction) {
    rows_.clear();
    Range range(transaction, Table::kRight, {});
    while (range.next()) {
      const std::size_t end = range.key().find('\0');
      if (end != std::string_view::npos && range.value().size() == 1) {
        rows_[std::string(range.key().substr(0, end))].emplace(
            range.key().substr(end + 1), static_cast<std::uint8_t>(range.value().front()));
      }
    }
  }

  std::uint8_t bitsAt(std::string_view node, std::string_view user) const {
    while (true) {
      if (const auto row = rows_.find(node); row != rows_.end()) {
        for (const std::string_view name : {user, kAnybody}) {
          if (const auto bits = row->second.find(name); bits != row->second.end()) {
            return bits->second;
          }
        }
      }
      if (node == "/") {
        return 0;
      }
      node = parentOf(node);
    }
  }

  std::shared_ptr<Environment> live_;
  std::optional<std::string> generation_;
  std::size_t seen_ = 0;  // the state of the store in which that was the generation
  ByText<ByText<std::uint8_t>> rows_;
};

// The table of the present $TOOLKIT_RUN, or null. It outlives the clients of the store.
RightsTable* presentTable() {
  static std::string folder;
  static std::optional<RightsTable> table;
  const char* variable = std::getenv("TOOLKIT_RUN");
  const std::string_view present = variable == nullptr ? "" : variable;
  if (!table || folder != present) {
    table.reset();
    std::string error;
    if (auto live = Store::openLive(error)) {
      table.emplace(std::move(live));
      folder = present;
    }
  }
  return table ? &*table : nullptr;
}

}  // namespace

bool parseRights(std::string_view letters, std::uint8_t& bits) {
  bits = 0;
  for (const char letter : letters) {
    std::uint8_t bit = 0;
    for (const auto& [known, right] : kLetters) {
      bit |= known == letter ? right : 0;
    }
    if (bit == 0) {
      return false;
    }
    bits |= bit;
  }
  return true;
}

std::string formatRights(std::uint8_t bits) {
  std::string letters;
  for (const auto& [letter, right] : kLetters) {
    if ((bits & right) != 0) {
      letters += letter;
    }
  }
  return letters;
}

void putRight(WriteTransaction& transaction, std::string_view path, std::string_view user,
              std::uint8_t bits) {
  const char value = static_cast<char>(bits);
  transaction.put(Table::kRight, rightKey(path, user), {&value, 1});
}

void noteRightsChanged(WriteTransaction& live) {
  const auto before = live.get(Table::kMeta, kGenerationKey);
  const std::uint64_t generation =
      before ? std::strtoull(std::string(*before).c_str(), nullptr, 10) + 1 : 1;
  live.put(Table::kMeta, kGenerationKey, std::to_string(generation));
}

bool isAllowed(std::string_view node, std::string_view user, Right right) {
  RightsTable* table = presentTable();
  // The user "*" would be anybody's row asked for by name.
  return table != nullptr && table->isAllowed(node, user == kAnybody ? "" : user, right);
}

bool isAllowedBelow(std::string_view node, std::string_view user, Right right) {
  RightsTable* table = presentTable();
  return table != nullptr && table->isAllowedBelow(node, user == kAnybody ? "" : user, right);
}

}  // namespace toolkit::store
