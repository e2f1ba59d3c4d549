// Delivery: posts messages over HTTP, many at a time, in one thread.
//
// At most one transfer for a subscription runs at a time. Redirects are not followed, and no scheme
// but http and https is spoken.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace wspub {

class Delivery {
 public:
  struct Options {
    std::chrono::milliseconds connectTimeout{5000};
    std::chrono::milliseconds timeout{30000};
    std::string caFile;  // PEM; empty: the system's authorities
  };
  struct Outcome {
    std::string id;
    bool accepted = false;
    std::string reason;  // of a refusal
  };

  explicit Delivery(Options options);
  ~Delivery();
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  bool isRunning(const std::string& id) const { return transfers_.contains(id); }
  // Begins to post. False when there is no memory for it.
  bool start(const std::string& id, const std::string& uri, std::string body);
  // Ends a transfer without an outcome; none is no error.
  void abort(const std::string& id);

  // Waits until something can go on, at most that long, and lets it go on. Returns the transfers
  // that have ended.
  std::vector<Outcome> drive(std::chrono::milliseconds timeout);

 private:
  class Library;
  class Transfer;
  struct Close {
    void operator()(void* multi) const;
  };

  std::unique_ptr<Library> library_;
  std::unique_ptr<void, Close> multi_;
  Options options_;
  std::map<std::string, std::unique_ptr<Transfer>> transfers_;
};

}  // namespace wspub
