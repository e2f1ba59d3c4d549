// The workers: processes that serve one socket together. They share a small table in memory, so
// that one client's long requests cannot take all of them.
//
// A client is the user, or the address of one who is anonymous. One whose requests of late took a
// worker for long, in sum more than a quarter of a second, is served by all workers but one. One
// whose request ended a worker by an assertion or a crash is served by none for two seconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "front/caller.h"

class Workers {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr int kMaxWorkers = 64;

  // Joins the table in the folder of the live store as worker `number`, from 1 to kMaxWorkers. Null
  // with a sentence in `error`.
  static std::unique_ptr<Workers> join(int number, std::string& error);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Begins a request of this client. False when it has to wait: it holds its share of the workers,
  // or has ended one.
  bool begin(const Caller& caller);
  // True when the request being served has lasted long enough to make room for others that wait.
  bool mustYield() const;
  // Ends it, before the client has the whole reply; `busy` is what it cost this worker. Without a
  // request nothing.
  void end(std::chrono::microseconds busy);

 private:
  struct Worker;
  struct Table;

  Workers(Table* table, int number) : table_(table), number_(number) {}
  // Workers other than this one that live, and that serve this client. `elder`: since before this
  // one does.
  struct Others {
    int alive = 0;
    int sameClient = 0;
    int elder = 0;
  };
  Others look() const;
  std::int64_t debt() const;
  static void noteCrash(int sig);

  Worker& own() const;

  Table* table_;
  int number_;
  std::uint64_t client_ = 0;
  std::int64_t since_ = 0;  // microseconds of Clock; 0: no request
};

// The number in $DRAVIXD_WORKER. 0 where it is not set, nothing where it is no number of a worker.
std::optional<int> workerNumber();
