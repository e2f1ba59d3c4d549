// What the simulation reads of the store.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "toolkit/cds.h"

namespace sim {

class ReadBatch {
 public:
  // Returns the leaf's place in the batch.
  std::size_t add(const std::string& path);
  // False when the store cannot be read; all leaves are then missing.
  bool read(toolkit::CCds& cds);

  // Null for a leaf that is missing.
  const toolkit::CElement* at(std::size_t place) const;
  // Of a numeric, Boolean or state leaf; it may be NaN.
  std::optional<double> number(std::size_t place) const;
  std::string text(std::size_t place) const;
  bool flag(std::size_t place, bool otherwise = false) const;

 private:
  std::vector<toolkit::CPath> paths_;
  std::vector<api_status_t> statuses_;
  std::vector<toolkit::CElement> elements_;
  std::vector<element_property_t> sources_;
};

// Node paths of the children, none for a node that is not there. False when the store cannot be
// read.
bool childrenOf(toolkit::CCds& cds, const std::string& node, std::vector<std::string>& children);

}  // namespace sim
