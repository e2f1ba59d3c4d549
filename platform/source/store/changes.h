// Which leaves the latest commits of the live half changed, so that who watches many of them reads
// only those again.
//
// Each commit leaves a row, which takes the place of an older one. A leaf stands there as a hash of
// its key: two that share one are both read again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace toolkit::store {

class Transaction;
class WriteTransaction;

// FNV-1a of a leaf's key, the same in every process.
std::uint64_t leafHash(std::string_view key);

// What a transaction changes.
class Changes {
 public:
  void note(std::string_view key);
  // More than is worth a list.
  void noteAll() { all_ = true; }
  // Enters the row of the commit that is about to be.
  void enter(WriteTransaction& transaction) const;

 private:
  std::vector<std::uint64_t> leaves_;
  bool all_ = false;
};

// Adds the hashes of the leaves that were changed after the state `since` (see Transaction::id()),
// some perhaps twice. False when that is not known any more.
bool collectChanges(Transaction& transaction, std::size_t since,
                    std::vector<std::uint64_t>& leaves);

}  // namespace toolkit::store
