// CCds_Utils: questions about the installation that several programs ask of the store.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "toolkit/cds.h"

namespace toolkit {

// Keeps the text's first bytes, without half a character at the end.
void cutText(std::string& text, std::size_t bytes);

class CCds_Utils {
 public:
  // `cds` must outlive this object.
  explicit CCds_Utils(CCds& cds) : cds_(cds) {}

  // Paths of all nodes whose NodeType is "Device", sorted by path. Returns their number, or -1 when
  // the store cannot be read. Costs by the number of devices.
  static int GetDeviceList(CCds& cds, std::vector<std::string>& paths);

  // The text at "/Software/System Settings/Supported Locales" ("en_US;de_DE;fr_FR"); empty when
  // it is not there. Returns false then.
  bool getSupportedLocales(std::string& supported);

  // Picks the supported locale that serves `wanted` best: a locale name ("de-DE", "fr_FR.UTF-8") or
  // the text of an Accept-Language header, whose weights count (RFC 9110, 12.5.4). Each candidate
  // is tried exactly and then by its language alone. True with one of the supported names in
  // `prime`, or false and `prime` empty.
  static bool getPrimeLocale(const std::string& supported, const std::string& wanted,
                             std::string& prime);

  // Sets `quality` to the .Quality of the nearest device at or above the node, and to 192 (good)
  // where there is none.
  void CheckDeviceQuality(const std::string& nodePath, CElement* quality);

 private:
  CCds& cds_;
};

}  // namespace toolkit
