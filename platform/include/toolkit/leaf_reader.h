// CLeafReader: leaves that are read together, in one transaction. The partner of CLeafBatch.
//
// Who reads the same leaves again and again pays for those that were written since: the store knows
// what its latest commits changed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "toolkit/cds.h"

namespace toolkit {

namespace store {
class ChangeRing;
class ReadTransaction;
}  // namespace store

class CLeafReader {
 public:
  // A leaf of the reader that gave it. One that no reader gave is a missing leaf.
  class Handle {
   public:
    Handle() = default;

   private:
    friend class CLeafReader;
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    explicit Handle(std::size_t index) : index_(index) {}
    std::size_t index_ = kNone;
  };

  // Leaves that lie near each other are read fastest in the order of their paths. A path outside
  // the grammar names a missing leaf. A leaf that is added after a read is missing until the next
  // one.
  Handle add(const std::string& path);
  std::size_t size() const { return paths_.size(); }
  // False when the store cannot be read; all leaves are then missing.
  bool read(CCds& cds);

  // API_NONE before the first read.
  api_status_t status(Handle leaf) const;
  // Of a leaf that is there.
  element_property_t source(Handle leaf) const;
  // Null for a leaf that is missing; valid until the next read.
  const CElement* element(Handle leaf) const;
  // Of a numeric, Boolean or state leaf; it may be NaN.
  std::optional<double> number(Handle leaf) const;
  std::string text(Handle leaf) const;
  bool flag(Handle leaf, bool otherwise = false) const;

 private:
  int readFrom(const std::shared_ptr<store::Store>& store);
  bool readChanged(const store::ChangeRing& changes, store::ReadTransaction& transaction);
  void readAll(store::ReadTransaction& transaction);
  void readLeaves(store::ReadTransaction& transaction, const std::vector<std::size_t>& indices);
  void index();

  std::vector<CPath> paths_;
  std::vector<std::string> keys_;  // in the store; empty: not a leaf that lies there as it is
  std::vector<api_status_t> statuses_;
  std::vector<CElement> elements_;
  std::vector<element_property_t> sources_;
  // The state that was read last, and of which store; 0: none, or not of all leaves.
  std::size_t state_ = 0;
  std::uint64_t position_ = 0;  // of what the store noted after it
  std::weak_ptr<store::Store> store_;
  // Filled at the second read: hashes of the keys in their order, each with its leaf.
  std::vector<std::pair<std::uint64_t, std::size_t>> byHash_;
  std::vector<std::size_t> computed_;  // that the store makes of others
};

// Node paths of the children, none for a node that is not there. False when the store cannot be
// read.
bool readChildren(CCds& cds, const std::string& node, std::vector<std::string>& children);

}  // namespace toolkit
