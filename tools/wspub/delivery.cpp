#include "delivery.h"

#include <curl/curl.h>

#include <array>
#include <new>
#include <utility>

#include "message.h"

namespace wspub {

namespace {

// As much of an answer as is read before the connection is given up. It holds nothing of use.
constexpr std::size_t kMaxAnswer = 65536;
constexpr long kSuccess = 200;
constexpr long kRedirection = 300;

struct FreeList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, FreeList>;

struct CloseEasy {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};

void append(HeaderList& list, const std::string& line) {
  curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
  if (longer == nullptr) {
    throw std::bad_alloc();
  }
  static_cast<void>(list.release());
  list.reset(longer);
}

HeaderList headers() {
  HeaderList list;
  append(list, "Content-Type: text/xml; charset=utf-8");
  append(list, std::string("SOAPAction: \"") + kSoapAction + "\"");
  append(list, "Expect:");
  return list;
}

}  // namespace

class Delivery::Library {
 public:
  Library() { curl_global_init(CURL_GLOBAL_DEFAULT); }
  ~Library() { curl_global_cleanup(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

class Delivery::Transfer {
 public:
  Transfer(CURLM* multi, std::string id, const std::string& uri, std::string body,
           const Options& options)
      : multi_(multi),
        id_(std::move(id)),
        body_(std::move(body)),
        headers_(headers()),
        easy_(curl_easy_init()) {
    if (!easy_) {
      throw std::bad_alloc();
    }
    set(CURLOPT_URL, uri.c_str());
    set(CURLOPT_HTTPHEADER, headers_.get());
    set(CURLOPT_POSTFIELDS, body_.c_str());
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connectTimeout.count()));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.timeout.count()));
    set(CURLOPT_NOSIGNAL, 1L);
    // Or the end of a transfer would wait for a name server.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_ERRORBUFFER, error_.data());
    set(CURLOPT_WRITEFUNCTION, &Transfer::discard);
    set(CURLOPT_WRITEDATA, this);
    if (!options.caFile.empty()) {
      set(CURLOPT_CAINFO, options.caFile.c_str());
    }
  }
  ~Transfer() { curl_multi_remove_handle(multi_, easy_.get()); }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  bool start() { return curl_multi_add_handle(multi_, easy_.get()) == CURLM_OK; }
  static Transfer& of(CURL* easy) {
    Transfer* transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    return *transfer;
  }

  Outcome outcome(CURLcode result) const {
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    const bool isComplete = result == CURLE_OK || received_ > kMaxAnswer;
    if (isComplete && status >= kSuccess && status < kRedirection) {
      return {id_, true, {}};
    }
    if (isComplete) {
      return {id_, false, "HTTP status " + std::to_string(status)};
    }
    return {id_, false, error_.front() != '\0' ? error_.data() : curl_easy_strerror(result)};
  }

 private:
  template <class Argument>
  void set(CURLoption option, Argument argument) {
    curl_easy_setopt(easy_.get(), option, argument);
  }

  static std::size_t discard(char* /*data*/, std::size_t size, std::size_t count, void* transfer) {
    std::size_t& received = static_cast<Transfer*>(transfer)->received_;
    received += size * count;
    return received > kMaxAnswer ? 0 : size * count;
  }

  CURLM* multi_;
  std::string id_;
  std::string body_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  std::size_t received_ = 0;
  HeaderList headers_;
  std::unique_ptr<CURL, CloseEasy> easy_;
};

void Delivery::Close::operator()(void* multi) const {
  curl_multi_cleanup(multi);
}

Delivery::Delivery(Options options)
    : library_(std::make_unique<Library>()),
      multi_(curl_multi_init()),
      options_(std::move(options)) {
  if (!multi_) {
    throw std::bad_alloc();
  }
}

Delivery::~Delivery() = default;

bool Delivery::start(const std::string& id, const std::string& uri, std::string body) {
  auto transfer = std::make_unique<Transfer>(multi_.get(), id, uri, std::move(body), options_);
  if (!transfer->start()) {
    return false;
  }
  transfers_[id] = std::move(transfer);
  return true;
}

void Delivery::abort(const std::string& id) {
  transfers_.erase(id);
}

std::vector<Delivery::Outcome> Delivery::drive(std::chrono::milliseconds timeout) {
  int running = 0;
  curl_multi_perform(multi_.get(), &running);
  std::vector<Outcome> outcomes;
  const auto collect = [&] {
    int queued = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &queued)) {
      if (message->msg == CURLMSG_DONE) {
        outcomes.push_back(Transfer::of(message->easy_handle).outcome(message->data.result));
      }
    }
  };
  collect();
  if (outcomes.empty()) {
    curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(timeout.count()), nullptr);
    curl_multi_perform(multi_.get(), &running);
    collect();
  }
  for (const Outcome& outcome : outcomes) {
    transfers_.erase(outcome.id);
  }
  return outcomes;
}

}  // namespace wspub
