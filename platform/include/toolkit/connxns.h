// CCDS_Connxns: the table of a server's clients, published in the store.
//
// A client is known by its address. Under the table's path each has a node named by its number,
// with Protocol, Address, HostName, User, Since and LastSeen. The table holds at most 1024 clients:
// a new one then takes the place of the one that was silent longest. A client that has been silent
// for 1800 s is dropped by the next CheckAllConnxns(). Neither looking a client up nor adding one
// writes: a request waits for no other writer. Publish() and CheckAllConnxns() do.
//
// The table lives in this process and goes with it; what an earlier process left in the store is
// removed by the first of these. A store that refuses is asked again by the next one.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <functional>
#include <locale>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "toolkit/cds.h"
#include "toolkit/leaf_batch.h"
#include "toolkit/syslog.h"

namespace toolkit {

class CCDS_Connxns {
 public:
  using Clock = std::function<std::int32_t()>;  // monotonic seconds

  static constexpr std::size_t kMaxConnections = 1024;
  static constexpr std::int32_t kStaleSeconds = 1800;

  // `cds` and `log` must outlive this object.
  CCDS_Connxns(CCds& cds, std::string path, CSysLog* log);
  // With a clock of the caller's instead of qel_GetMonoTime().
  CCDS_Connxns(CCds& cds, std::string path, CSysLog* log, Clock clock);

  // The number of a known client, now heard of again, or 0. A non-null `locale` replaces the
  // client's.
  std::uint32_t FindUpdateConnxn(const std::string& address,
                                 const std::shared_ptr<std::locale>& locale);

  // Parses a numeric address and asks the local hosts file for its names: never a name server.
  // `family` is a hint (2 for IPv4); IPv6 text is taken too. 0, or non-zero for text that is no
  // address: `name1` is then the text itself. `name1` is the host's name or else the address,
  // `name2` the first alias or empty.
  static int HostLookup(const std::string& address, int family, sockaddr_storage& socketAddress,
                        std::string& name1, std::string& name2, CSysLog* log);

  // Adds a client and returns its number, never 0; an address that is known gets a new number.
  std::uint32_t AddConnxn(const std::string& protocol, const std::string& address,
                          const std::string& name1, const std::string& name2,
                          const std::string& user, std::shared_ptr<std::locale> locale);

  // Publishes who came and who was dropped since the last time. Writes nothing when nobody did.
  void Publish();
  // The same, drops the silent ones, and publishes when each client was last heard of.
  void CheckAllConnxns();
  // Empties the table and its tree in the store.
  void RemoveAllConnxns();

  std::size_t size() const { return clients_.size(); }

 private:
  struct Client {
    std::uint32_t id = 0;
    std::int32_t lastSeen = 0;
    std::shared_ptr<std::locale> locale;
    // Of one that is not published yet: its leaves.
    std::optional<CLeafBatch> arrival;
  };

  using Clients = std::unordered_map<std::string, Client>;  // by address

  Clients::iterator drop(Clients::iterator client);
  // False when the store refused.
  bool removeTree(const std::string& node);
  std::string nodePath(std::uint32_t id) const;

  CCds& cds_;
  std::string path_;
  CSysLog* log_;
  Clock clock_;
  std::uint32_t lastId_ = 0;
  Clients clients_;
  std::vector<std::uint32_t> gone_;  // published, and dropped since
  bool cleared_ = false;             // of what an earlier process left
};

}  // namespace toolkit
