// The operator's side of the data store: models in and out, start of a device, who is overdue.
//
// Used by the hand tool and by tests; servers use CCds. Calls return an empty string on success and
// otherwise one sentence that names the file, the path or the reason.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "toolkit/element.h"
#include "toolkit/types.h"

namespace toolkit::admin {

// What a user may do at a path and below it, unless a longer path says otherwise.
struct Right {
  std::string path;
  std::string user;   // "*": anybody, also an anonymous caller
  std::string allow;  // letters of "rwdx": read, write, remove, reset
  bool operator==(const Right&) const = default;
};

struct ModelLeaf {
  std::string node;  // node path
  std::string name;  // leaf name
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
  bool operator==(const ModelLeaf&) const = default;
};

// A device model, or a part of one.
struct Model {
  std::vector<Right> rights;
  std::vector<std::string> nodes;  // node paths, also those without leaves
  std::vector<ModelLeaf> leaves;
};

// Puts a model into both halves of the store, durably and in one transaction: all of it or, with
// the faulty path named, nothing. Makes the halves where there are none. `replace` empties the
// store first. Other processes see the old content until the new one is complete.
std::string importModel(const Model& model, bool replace);

// The nodes at and below `nodePath`, in the store's order, without automatic leaves; all rights
// with
// "/".
std::string exportModel(const std::string& nodePath, Model& model);

// Makes a store without nodes and rights, to which nobody may write from outside. One that is there
// stays as it is.
std::string makeEmpty();

// Builds the live half anew from the persistent one, in one transaction. A missing persistent half
// is a failure that makes nothing: its folder is perhaps not mounted.
std::string boot();

struct Watchdog {
  std::string name;
  int periodSeconds = 0;
  int silentSeconds = 0;  // since the last ping
  bool overdue() const { return silentSeconds > periodSeconds; }
};

std::string watchdogs(std::vector<Watchdog>& out);

// What one half of the store takes.
struct Usage {
  std::string half;  // "live" or "persistent"
  std::uint64_t usedBytes = 0;
  std::uint64_t maxBytes = 0;     // what it may have
  std::uint64_t clientBytes = 0;  // of these, what writes for clients may fill
  unsigned readers = 0;           // that have it open, this process among them
  unsigned maxReaders = 0;
};

std::string usage(std::vector<Usage>& out);

}  // namespace toolkit::admin
