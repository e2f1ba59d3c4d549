#include "front/clients.h"

#include <cassert>
#include <memory>

#include "values/locales.h"

namespace {

constexpr std::size_t kMaxCaller = 64;           // bytes of REMOTE_USER and REMOTE_ADDR
constexpr std::size_t kMaxAcceptLanguage = 256;  // bytes
constexpr int kIPv4 = 2;

std::shared_ptr<std::locale> addConnection(_global_data_t* glptr, const std::string& address,
                                           const std::string& user, bool https,
                                           const char* acceptLanguage) {
  sockaddr_storage socketAddress = {};
  std::string name1;
  std::string name2;
  if (toolkit::CCDS_Connxns::HostLookup(address, kIPv4, socketAddress, name1, name2,
                                        glptr->syslog) != 0) {
    __psyslog->warn(2, "HostLookup failed for %s", address.c_str());
  }
  std::string prime;
  toolkit::CCds_Utils::getPrimeLocale(glptr->supportedLocales, acceptLanguage, prime);
  auto pos = glptr->localesMap.find(prime);
  if (pos == glptr->localesMap.end()) {
    __psyslog->warn(2, "Locale map lookup failed for %s", prime.c_str());
    pos = glptr->localesMap.begin();
  }
  assert(pos != glptr->localesMap.end());
  glptr->locale = pos->second;
  auto locale = std::make_shared<std::locale>(pos->second);

  const std::string protocol = https ? "https" : "http";
  const auto id = glptr->connxns->AddConnxn(protocol, address, name1, name2, user, locale);
  if (id != 0) {
    __psyslog->info(2, "New dravixd connection %u for %s", id,
                    (user + "@" + protocol + ":" + address).c_str());
  }
  return locale;
}

}  // namespace

void AddUpdateConnectionMap(_global_data_t* glptr, const char* remoteAddr, const char* remoteUser,
                            bool https, const char* acceptLanguage) {
  std::shared_ptr<std::locale> locale;
  if (glptr->connxns->FindUpdateConnxn(remoteAddr, nullptr) == 0) {
    locale = addConnection(glptr, remoteAddr, remoteUser, https, acceptLanguage);
  }
  if (glptr->localesOk) {
    glptr->locale = locale ? *locale : englishLocale(*glptr);
  }
}

void recordCaller(_global_data_t& global) {
  const Caller& caller = global.caller;
  const std::string address = caller.address.value_or("").substr(0, kMaxCaller);
  const std::string user = caller.user.value_or("").substr(0, kMaxCaller);
  AddUpdateConnectionMap(&global, address.c_str(), user.c_str(), caller.https,
                         caller.acceptLanguage.substr(0, kMaxAcceptLanguage).c_str());
}
