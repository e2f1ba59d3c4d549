// The yardstick for persistent writes: how many durable commits a second the database alone makes,
// each of one small record among a thousand, in a file of its own in the folder.
//
//   durable_commits FOLDER SECONDS
#include <lmdb.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

constexpr int kRecords = 1000;
constexpr std::size_t kMapSize = std::size_t{16} << 20;
constexpr mdb_mode_t kFileMode = 0600;

void require(int code) {
  if (code != MDB_SUCCESS) {
    throw std::runtime_error(mdb_strerror(code));
  }
}

struct Close {
  void operator()(MDB_env* environment) const { mdb_env_close(environment); }
};
using Environment = std::unique_ptr<MDB_env, Close>;

Environment openIn(const std::string& folder) {
  MDB_env* raw = nullptr;
  require(mdb_env_create(&raw));
  Environment environment(raw);
  require(mdb_env_set_mapsize(raw, kMapSize));
  require(mdb_env_open(raw, (folder + "/yardstick.mdb").c_str(), MDB_NOSUBDIR, kFileMode));
  return environment;
}

void put(MDB_txn* transaction, MDB_dbi table, int number, std::string& record) {
  std::string name = "/Device/Point" + std::to_string(number) + "/Value";
  MDB_val key = {name.size(), name.data()};
  MDB_val value = {record.size(), record.data()};
  require(mdb_put(transaction, table, &key, &value, 0));
}

// Writes records first to last in one durable transaction.
void write(MDB_env* environment, int first, int last, std::string record) {
  MDB_txn* transaction = nullptr;
  MDB_dbi table = 0;
  require(mdb_txn_begin(environment, nullptr, 0, &transaction));
  require(mdb_dbi_open(transaction, nullptr, 0, &table));
  for (int number = first; number <= last; ++number) {
    put(transaction, table, number, record);
  }
  require(mdb_txn_commit(transaction));
}

double commitsPerSecond(MDB_env* environment, double seconds) {
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  std::chrono::duration<double> elapsed{};
  int count = 0;
  while (elapsed.count() < seconds) {
    const int record = count % kRecords;
    write(environment, record, record, std::to_string(count) + std::string(50, 'x'));
    ++count;
    elapsed = Clock::now() - begin;
  }
  return count / elapsed.count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: durable_commits FOLDER SECONDS\n";
    return 1;
  }
  try {
    const Environment environment = openIn(argv[1]);
    write(environment.get(), 0, kRecords - 1, std::string(50, 'x'));
    std::cout << commitsPerSecond(environment.get(), std::atof(argv[2])) << '\n';
    return 0;
  } catch (const std::exception& e) {
    std::cerr << "durable_commits: " << e.what() << '\n';
    return 1;
  }
}
