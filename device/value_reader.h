// ValueReader: what the services of a device read of the store at each tick, in one batch.
//
// A leaf that several of them watch is read once, and nothing is read while nobody has written.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "toolkit/leaf_reader.h"

namespace device {

// Gives handles of one batch to several services.
class Plan {
 public:
  explicit Plan(toolkit::CLeafReader& leaves) : leaves_(leaves) {}

  toolkit::CLeafReader::Handle add(const std::string& path);
  // For leaves that nobody else watches.
  toolkit::CLeafReader& leaves() { return leaves_; }

 private:
  toolkit::CLeafReader& leaves_;
  std::unordered_map<std::string, toolkit::CLeafReader::Handle> known_;
};

// A service that watches leaves.
class Watcher {
 public:
  Watcher() = default;
  virtual ~Watcher() = default;
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  // Finds out what there is to watch, when that is due. False when the store cannot be read; sets
  // `changed` when there are other leaves than before.
  virtual bool refresh(timeval stamp, bool& changed) = 0;
  // Takes handles of its leaves.
  virtual void plan(Plan& plan) = 0;
};

class ValueReader {
 public:
  // `cds` and the watchers must outlive this object.
  ValueReader(toolkit::CCds& cds, std::vector<Watcher*> watchers)
      : cds_(cds), watchers_(std::move(watchers)) {}

  // False when the store cannot be read; leaves() is then not to be looked at.
  bool read(timeval stamp);
  const toolkit::CLeafReader& leaves() const { return leaves_; }
  // Whether the last read has found another state of the store than the one before.
  bool hasMoved() const { return moved_; }

 private:
  toolkit::CCds& cds_;
  std::vector<Watcher*> watchers_;
  toolkit::CLeafReader leaves_;
  bool planned_ = false;
  bool moved_ = false;
  std::size_t state_ = 0;  // of the store; 0: not read
};

// How often what is to be watched is looked for: at the base's pace, more slowly where there are so
// many nodes that it costs.
double refreshSeconds(double base, double secondsPerThousand, std::size_t nodes);

}  // namespace device
