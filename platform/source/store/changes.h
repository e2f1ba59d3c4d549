// Which leaves the latest commits of the live half changed, so that who watches many of them reads
// only those again.
//
// The commits leave their entries in a ring in memory, beside the database: an entry in it would
// cost a small write a fifth of its time. A leaf stands there as a hash of its key: two that share
// one are both read again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace toolkit::store {

// FNV-1a of a leaf's key, the same in every process.
std::uint64_t leafHash(std::string_view key);

// What a transaction changes.
class Changes {
 public:
  static constexpr std::size_t kMaxLeaves = 4096;  // more are not worth a list

  void note(std::string_view key);
  void noteAll() { all_ = true; }

  bool all() const { return all_; }
  const std::vector<std::uint64_t>& leaves() const { return leaves_; }

 private:
  std::vector<std::uint64_t> leaves_;
  bool all_ = false;
};

// The ring, mapped by every process. Without a file nothing is entered, and nothing known.
class ChangeRing {
 public:
  ChangeRing() = default;
  ~ChangeRing();
  ChangeRing(const ChangeRing&) = delete;
  ChangeRing& operator=(const ChangeRing&) = delete;

  // Maps the file, or makes it. One that cannot be had leaves the ring as it is.
  void open(const std::string& file);

  // Enters what the commit will change that makes `state` (see Transaction::id()). By who has the
  // writers' turn, before the commit: whoever sees the state then finds its entry. A commit that
  // fails leaves one too many for its state.
  void enter(std::uint64_t state, const Changes& changes);

  // Of the next entry.
  std::uint64_t end() const;
  // Moves a position that end() gave before the state `now` was seen behind what it has.
  void skip(std::uint64_t& position, std::uint64_t now) const;
  // Adds the hashes of the leaves that were changed after the state `since` up to `now`, some
  // perhaps twice, from a position behind the entries of `since`, and moves it on. False when that
  // is not known any more.
  bool collect(std::uint64_t& position, std::uint64_t since, std::uint64_t now,
               std::vector<std::uint64_t>& leaves) const;

 private:
  struct Shared;
  struct Entry {
    std::uint64_t state = 0;
    bool all = false;
    std::size_t leaves = 0;
  };

  bool entryAt(std::uint64_t position, std::uint64_t end, Entry& entry) const;
  std::uint64_t wordAt(std::uint64_t position) const;
  bool isOverwritten(std::uint64_t position) const;

  Shared* shared_ = nullptr;
};

}  // namespace toolkit::store
