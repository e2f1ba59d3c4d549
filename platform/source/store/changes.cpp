#include "store/changes.h"

#include <cstring>
#include <string>

#include "store/transaction.h"

namespace toolkit::store {

namespace {

// So many rows of single leaves fill one page.
constexpr std::size_t kRows = 128;
// A batch that changes more is written as if it had changed everything.
constexpr std::size_t kMaxLeaves = 4096;
constexpr std::size_t kNumberSize = sizeof(std::uint64_t);

struct RowKey {
  explicit RowKey(std::size_t state) : slot(static_cast<char>(state % kRows)) {}
  operator std::string_view() const { return {&slot, 1}; }
  char slot;
};

std::uint64_t numberAt(std::string_view bytes, std::size_t index) {
  std::uint64_t number = 0;
  std::memcpy(&number, bytes.data() + index * kNumberSize, kNumberSize);
  return number;
}

}  // namespace

std::uint64_t leafHash(std::string_view key) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : key) {
    hash = (hash ^ static_cast<std::uint8_t>(c)) * 0x100000001b3;
  }
  return hash;
}

void Changes::note(std::string_view key) {
  if (leaves_.size() == kMaxLeaves) {
    all_ = true;
  }
  if (!all_) {
    leaves_.push_back(leafHash(key));
  }
}

void Changes::enter(WriteTransaction& transaction) const {
  const RowKey key(transaction.id());
  if (all_) {
    transaction.erase(Table::kChange, key);
    return;
  }
  std::string row((1 + leaves_.size()) * kNumberSize, '\0');
  const std::uint64_t state = transaction.id();
  std::memcpy(row.data(), &state, kNumberSize);
  if (!leaves_.empty()) {
    std::memcpy(row.data() + kNumberSize, leaves_.data(), leaves_.size() * kNumberSize);
  }
  transaction.put(Table::kChange, key, row);
}

bool collectChanges(Transaction& transaction, std::size_t since,
                    std::vector<std::uint64_t>& leaves) {
  const std::size_t now = transaction.id();
  if (since == 0 || since > now || now - since > kRows) {
    return false;
  }
  for (std::size_t state = since + 1; state <= now; ++state) {
    const auto row = transaction.get(Table::kChange, RowKey(state));
    if (!row || row->size() < kNumberSize || numberAt(*row, 0) != state) {
      return false;
    }
    for (std::size_t i = 1; i < row->size() / kNumberSize; ++i) {
      leaves.push_back(numberAt(*row, i));
    }
  }
  return true;
}

}  // namespace toolkit::store
