// CCDS_Connxns::HostLookup: an address's names by the local hosts file.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "toolkit/connxns.h"

namespace toolkit {

namespace {

constexpr const char* kHostsFile = "/etc/hosts";
constexpr std::streamsize kMaxHostsFile = 1 << 20;

bool parseAddress(const std::string& text, sockaddr_storage& address) {
  address = {};
  auto* v4 = reinterpret_cast<sockaddr_in*>(&address);
  if (inet_pton(AF_INET, text.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    return true;
  }
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&address);
  if (inet_pton(AF_INET6, text.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    return true;
  }
  address = {};
  return false;
}

bool sameAddress(const sockaddr_storage& a, const sockaddr_storage& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Names of the address on one line of the file; false when the line has another address.
bool readLine(std::string line, const sockaddr_storage& wanted, std::string& name1,
              std::string& name2) {
  line.erase(std::min(line.find('#'), line.size()));
  std::istringstream words(line);
  std::string address;
  std::string host;
  std::string alias;
  sockaddr_storage parsed = {};
  words >> address >> host >> alias;
  if (host.empty() || !parseAddress(address, parsed) || !sameAddress(parsed, wanted)) {
    return false;
  }
  name1 = host;
  name2 = alias;
  return true;
}

void lookUpNames(const sockaddr_storage& address, std::string& name1, std::string& name2) {
  std::string text(kMaxHostsFile, '\0');
  std::ifstream file(kHostsFile);
  file.read(text.data(), kMaxHostsFile);
  text.resize(static_cast<std::size_t>(file.gcount()));
  std::istringstream lines(std::move(text));
  std::string line;
  while (std::getline(lines, line)) {
    if (readLine(line, address, name1, name2)) {
      return;
    }
  }
}

}  // namespace

int CCDS_Connxns::HostLookup(const std::string& address, int /*family*/,
                             sockaddr_storage& socketAddress, std::string& name1,
                             std::string& name2, CSysLog* log) {
  name1 = address;
  name2.clear();
  if (!parseAddress(address, socketAddress)) {
    if (log != nullptr) {
      log->info(6, "%s is no numeric address", address.c_str());
    }
    return 1;
  }
  lookUpNames(socketAddress, name1, name2);
  return 0;
}

}  // namespace toolkit
