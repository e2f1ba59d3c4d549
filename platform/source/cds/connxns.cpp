#include "toolkit/connxns.h"

#include <algorithm>

#include "toolkit/time.h"

namespace toolkit {

namespace {

timeval wallTime(std::int64_t secondsAgo) {
  constexpr std::int64_t kMicroseconds = 1000000;
  timeval time = {};
  qel_QELtoUNIXtime64(qel_UTCtime64() - secondsAgo * kMicroseconds, &time);
  return time;
}

}  // namespace

CCDS_Connxns::CCDS_Connxns(CCds& cds, std::string path, CSysLog* log)
    : CCDS_Connxns(cds, std::move(path), log, qel_GetMonoTime) {}

CCDS_Connxns::CCDS_Connxns(CCds& cds, std::string path, CSysLog* log, Clock clock)
    : cds_(cds), path_(std::move(path)), log_(log), clock_(std::move(clock)) {}

std::uint32_t CCDS_Connxns::FindUpdateConnxn(const std::string& address,
                                             const std::shared_ptr<std::locale>& locale) {
  const auto found = clients_.find(address);
  if (found == clients_.end()) {
    return 0;
  }
  found->second.lastSeen = clock_();
  if (locale != nullptr) {
    found->second.locale = locale;
  }
  return found->second.id;
}

std::uint32_t CCDS_Connxns::AddConnxn(const std::string& protocol, const std::string& address,
                                      const std::string& name1, const std::string& name2,
                                      const std::string& user,
                                      std::shared_ptr<std::locale> locale) {
  if (const auto known = clients_.find(address); known != clients_.end()) {
    drop(known);
  } else if (clients_.size() >= kMaxConnections) {
    drop(std::min_element(clients_.begin(), clients_.end(), [](const auto& a, const auto& b) {
      return std::pair(a.second.lastSeen, a.second.id) < std::pair(b.second.lastSeen, b.second.id);
    }));
  }
  lastId_ = std::max<std::uint32_t>(lastId_ + 1, 1);
  const std::string node = nodePath(lastId_);
  CLeafBatch arrival;
  arrival.add(node + "/Protocol", CElement(protocol));
  arrival.add(node + "/Address", CElement(address));
  arrival.add(node + "/HostName", CElement(name1.empty() ? name2 : name1));
  arrival.add(node + "/User", CElement(user));
  arrival.add(node + "/Since", CElement(wallTime(0)));
  arrival.add(node + "/LastSeen", CElement(wallTime(0)));
  clients_[address] = {lastId_, clock_(), std::move(locale), std::move(arrival)};
  return lastId_;
}

void CCDS_Connxns::Publish() {
  cleared_ = cleared_ || removeTree(path_);
  if (!cleared_) {
    return;
  }
  std::erase_if(gone_, [this](std::uint32_t id) { return removeTree(nodePath(id)); });
  for (auto& [address, client] : clients_) {
    if (client.arrival && client.arrival->write(cds_, path_) != API_SUCCESS) {
      return;
    }
    client.arrival.reset();
  }
}

void CCDS_Connxns::CheckAllConnxns() {
  const std::int32_t now = clock_();
  CLeafBatch batch;
  for (auto client = clients_.begin(); client != clients_.end();) {
    const std::int32_t silent = now - client->second.lastSeen;
    if (silent >= kStaleSeconds) {
      client = drop(client);
    } else {
      batch.add(nodePath(client->second.id) + "/LastSeen", CElement(wallTime(silent)));
      ++client;
    }
  }
  Publish();
  batch.write(cds_, path_);
}

void CCDS_Connxns::RemoveAllConnxns() {
  clients_.clear();
  gone_.clear();
  removeTree(path_);
}

CCDS_Connxns::Clients::iterator CCDS_Connxns::drop(Clients::iterator client) {
  if (!client->second.arrival) {
    gone_.push_back(client->second.id);
  }
  if (log_ != nullptr) {
    log_->info(2, "Dropped connection %u of %s", client->second.id, client->first.c_str());
  }
  return clients_.erase(client);
}

bool CCDS_Connxns::removeTree(const std::string& node) {
  api_status_t status = API_NONE;
  cds_.remove_node(node, status, path_);
  return status == API_SUCCESS || status == API_NOT_FOUND;
}

std::string CCDS_Connxns::nodePath(std::uint32_t id) const {
  return path_ + "/" + std::to_string(id);
}

}  // namespace toolkit
