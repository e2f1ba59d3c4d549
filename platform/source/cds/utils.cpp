#include "toolkit/utils.h"

#include "cds/leaf_text.h"
#include "store/layout.h"
#include "store/store.h"

namespace toolkit {

namespace {

constexpr const char* kSupportedLocales = "/Software/System Settings/Supported Locales";
constexpr std::int32_t kGoodQuality = 192;

// The nearest device at or above a node; empty when there is none.
std::string deviceAbove(CCds& cds, std::string_view node) {
  if (cds.handle() == nullptr || node.empty()) {
    return {};
  }
  store::ReadTransaction transaction(cds.handle()->live());
  while (!transaction.contains(store::Table::kDevice, node)) {
    if (node == "/") {
      return {};
    }
    node = store::parentOf(node);
  }
  return std::string(node);
}

}  // namespace

void cutText(std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) {
    return;
  }
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) {
    --bytes;
  }
  text.resize(bytes);
}

int CCds_Utils::GetDeviceList(CCds& cds, std::vector<std::string>& paths) {
  paths.clear();
  if (cds.handle() == nullptr) {
    return -1;
  }
  store::ReadTransaction transaction(cds.handle()->live());
  store::Range devices(transaction, store::Table::kDevice, {});
  while (devices.next()) {
    paths.emplace_back(devices.key());
  }
  if (transaction.status() != 0) {
    paths.clear();
    return -1;
  }
  return static_cast<int>(paths.size());
}

bool CCds_Utils::getSupportedLocales(std::string& supported) {
  supported = leafText(cds_, kSupportedLocales);
  return !supported.empty();
}

void CCds_Utils::CheckDeviceQuality(const std::string& nodePath, CElement* quality) {
  CPath path(nodePath);
  path.normalize();
  const std::string device = deviceAbove(cds_, path.getNodePath());
  const auto found = device.empty() ? std::nullopt : cds_.find_leaf(device + ":.Quality");
  *quality = found.value_or(CElement(kGoodQuality));
}

}  // namespace toolkit
