#include "front/workers.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "backTrace.h"
#include "toolkit/run_folder.h"

namespace {

constexpr mode_t kMode = 0660;
constexpr std::size_t kDebts = 1024;
// A request that costs less is nobody's burden.
constexpr std::chrono::microseconds kLong = std::chrono::milliseconds(5);
constexpr std::int64_t kHeavyDebt = 250'000;  // microseconds
constexpr std::int64_t kMaxDebt = 2'000'000;
constexpr std::int64_t kYieldAfter = 100'000;
// After a request that has ended its worker.
constexpr std::int64_t kBarred = 2'000'000;
// Of a microsecond, half is forgiven.
constexpr std::int64_t kForgiven = 2;

std::uint64_t hashOf(const Caller& caller) {
  const bool isAnonymous = !caller.user || caller.user->empty();
  const std::string name =
      isAnonymous ? "address " + caller.address.value_or("") : "user " + *caller.user;
  return std::hash<std::string>()(name) | 1;  // 0 is nobody
}

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             Workers::Clock::now().time_since_epoch())
      .count();
}

// The only one, for the handler of a signal.
Workers* self = nullptr;

}  // namespace

// Every field stands for itself: a mixture of two writers' values costs a client a moment's
// patience, and nothing else. A new file is all zeros.
struct Workers::Worker {
  std::atomic<std::int32_t> process;
  std::atomic<std::uint64_t> client;  // whose request it serves; 0: nobody's
  std::atomic<std::int64_t> since;
};

struct Workers::Table {
  struct Debt {
    std::atomic<std::uint64_t> client;
    std::atomic<std::int64_t> paidAt;  // when nothing is owed any more, in microseconds
  };

  struct Bar {
    std::atomic<std::uint64_t> client;
    std::atomic<std::int64_t> until;
  };

  std::array<Worker, kMaxWorkers> workers;
  std::array<Debt, kDebts> debts;
  std::array<Bar, kDebts> bars;

  bool isBarred(std::uint64_t client, std::int64_t time) const {
    const Bar& bar = bars.at(client % kDebts);
    return bar.client == client && time < bar.until;
  }

  // What the client owes. Clients that share a row share their debt.
  std::int64_t debtOf(std::uint64_t client, std::int64_t time) const {
    const Debt& debt = debts.at(client % kDebts);
    return debt.client == client ? std::max<std::int64_t>(0, debt.paidAt - time) / kForgiven : 0;
  }
  void charge(std::uint64_t client, std::int64_t cost, std::int64_t time) {
    Debt& debt = debts.at(client % kDebts);
    const std::int64_t owed = std::min(kMaxDebt, debtOf(client, time) + cost);
    // Who owes more keeps the row.
    if (debt.client == client || debt.paidAt - time < owed * kForgiven) {
      debt.client = client;
      debt.paidAt = time + owed * kForgiven;
    }
  }
};

std::unique_ptr<Workers> Workers::join(int number, std::string& error) {
  static_assert(std::atomic<std::int64_t>::is_always_lock_free);
  const std::string file = toolkit::runFolder() + "/workers";
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode);
  void* memory = MAP_FAILED;
  if (descriptor != -1 && ftruncate(descriptor, sizeof(Table)) == 0) {
    fchmod(descriptor, kMode);  // another user's file stays as it is
    memory = mmap(nullptr, sizeof(Table), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  if (memory == MAP_FAILED) {
    error = "cannot use " + file + ": " + std::strerror(errno);
  }
  if (descriptor != -1) {
    close(descriptor);
  }
  if (memory == MAP_FAILED) {
    return nullptr;
  }
  std::unique_ptr<Workers> workers(new Workers(static_cast<Table*>(memory), number));
  workers->own().client = 0;  // of one that was killed
  workers->own().process = getpid();
  self = workers.get();
  UTIL_onFatalSignal = noteCrash;
  return workers;
}

// Whoever has found a request that ends a worker would end all of them with it, again and again.
void Workers::noteCrash(int sig) {
  if (self == nullptr || self->since_ == 0 || sig == SIGQUIT) {
    return;
  }
  Table::Bar& bar = self->table_->bars[self->client_ % kDebts];
  bar.client = self->client_;
  bar.until = now() + kBarred;
}

Workers::~Workers() {
  UTIL_onFatalSignal = nullptr;
  self = nullptr;
  own().client = 0;
  own().process = 0;
  munmap(table_, sizeof(Table));
}

Workers::Worker& Workers::own() const {
  return table_->workers.at(static_cast<std::size_t>(number_) - 1);
}

Workers::Others Workers::look() const {
  Others others;
  for (const Worker& worker : table_->workers) {
    const pid_t process = worker.process;
    if (process == 0 || &worker == &own() || (kill(process, 0) != 0 && errno == ESRCH)) {
      continue;
    }
    const std::int64_t since = worker.since;
    const bool isSame = worker.client == client_;
    ++others.alive;
    others.sameClient += isSame ? 1 : 0;
    others.elder += isSame && (since < since_ || (since == since_ && &worker < &own())) ? 1 : 0;
  }
  return others;
}

// What the client owes, the requests of his that run included.
std::int64_t Workers::debt() const {
  std::int64_t debt = table_->debtOf(client_, since_);
  for (const Worker& worker : table_->workers) {
    debt += worker.client == client_ ? std::max<std::int64_t>(0, since_ - worker.since) : 0;
  }
  return debt;
}

bool Workers::begin(const Caller& caller) {
  since_ = now();
  client_ = hashOf(caller);
  if (table_->isBarred(client_, since_)) {
    since_ = 0;
    return false;
  }
  // Most requests are those of clients who owe nothing: these cost no system call.
  if (debt() > kHeavyDebt) {
    const Others others = look();
    if (others.sameClient > 0 && others.sameClient >= others.alive) {
      since_ = 0;
      return false;
    }
  }
  own().since = since_;
  own().client = client_;
  return true;
}

bool Workers::mustYield() const {
  if (since_ == 0 || now() - since_ < kYieldAfter) {
    return false;
  }
  const Others others = look();
  return others.elder > 0 && others.elder >= others.alive;
}

void Workers::end(std::chrono::microseconds busy) {
  if (since_ == 0) {
    return;
  }
  own().client = 0;
  if (busy >= kLong) {
    table_->charge(client_, busy.count(), now());
  }
  since_ = 0;
}

std::optional<int> workerNumber() {
  const char* text = std::getenv("DRAVIXD_WORKER");
  if (text == nullptr || *text == '\0') {
    return 0;
  }
  int number = 0;
  const char* end = text + std::strlen(text);
  const auto parsed = std::from_chars(text, end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || number < 1 ||
      number > Workers::kMaxWorkers) {
    return std::nullopt;
  }
  return number;
}
