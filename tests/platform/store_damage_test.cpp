// What is told of a store that cannot be used, one case a kind of damage.
#include <lmdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include <grp.h>
#include <fstream>

#include "store/transaction.h"
#include "store_fixture.h"

namespace fs = std::filesystem;
using toolkit::CCds;
using toolkit::CElement;
using toolkit::store::Environment;

namespace {

class StoreDamage : public StoreTest {
 protected:
  StoreDamage() {
    std::vector<toolkit::admin::ModelLeaf> leaves;
    leaves.reserve(500);
    for (int i = 0; i < 500; ++i) {
      leaves.push_back(leaf("/N" + std::to_string(i), "Value", CElement(i)));
    }
    import(std::move(leaves));
  }

  // What a client is told; it then answers every call with a failure.
  static std::string reason() {
    CCds cds;
    EXPECT_FALSE(cds.is_open());
    EXPECT_NE(cds.init(), 0);
    EXPECT_FALSE(cds.is_initialized());
    EXPECT_EQ(text(cds, "/N1"), "status 4");
    EXPECT_EQ(set(cds, "/N1", CElement(1)), API_FAILED);
    return cds.last_error();
  }
  static void overwrite(const fs::path& file, std::streamoff at, const std::string& bytes) {
    std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(at);
    out << bytes;
  }
  static void replace(const fs::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
  }
};

void expectTold(const std::string& told, const fs::path& file, const std::string& what) {
  EXPECT_NE(told.find(file.string()), std::string::npos) << told;
  EXPECT_NE(told.find(what), std::string::npos) << told;
}

TEST_F(StoreDamage, Missing) {
  fs::remove(persistentFile());
  expectTold(reason(), persistentFile(), "no data store at");
  expectTold(reason(), persistentFile(), "devctl store import");
  replace(persistentFile(), "");
  expectTold(reason(), persistentFile(), "no data store at");
  fs::remove_all(folder() / "state");
  expectTold(reason(), persistentFile(), "no data store at");
  EXPECT_FALSE(fs::exists(folder() / "state")) << "a client makes no store";
}

TEST_F(StoreDamage, Rubbish) {
  for (const std::string& bytes : {std::string("{}"), std::string(100000, 'x')}) {
    for (const fs::path& file : {persistentFile(), liveFile()}) {
      import({});
      fs::remove(file);
      replace(file, bytes);
      expectTold(reason(), file, "is damaged or is not a data store");
      fs::remove(file);
    }
  }
  fs::remove(persistentFile());
  fs::create_directory(persistentFile());
  expectTold(reason(), persistentFile(), "cannot open");
}

TEST_F(StoreDamage, Truncated) {
  const auto size = fs::file_size(persistentFile());
  for (const auto left : {size - 1, size - 4096, size / 2, std::uintmax_t{8192}}) {
    import({leaf("/N1", "Value", CElement("text"))});
    import({leaf("/N1", "Value", CElement(std::string(20000, 'x')))});
    fs::resize_file(persistentFile(), std::min(left, fs::file_size(persistentFile()) - 1));
    expectTold(reason(), persistentFile(), "is truncated");
    fs::remove(persistentFile());
  }
  import({});
  fs::resize_file(persistentFile(), 5000);
  expectTold(reason(), persistentFile(), "truncated");
  fs::resize_file(persistentFile(), 100);
  expectTold(reason(), persistentFile(), "is damaged");
}

TEST_F(StoreDamage, AFileThatEndsBeforeFreePagesIsSound) {
  {
    std::string error;
    auto environment = Environment::open(persistentFile(), Environment::Commits::kDurable,
                                         Environment::IfMissing::kRefuse, error);
    ASSERT_NE(environment, nullptr) << error;
    // Pages are given back within a transaction once there are pages of earlier ones to go with.
    for (int i = 0; i < 5; ++i) {
      toolkit::store::WriteTransaction transaction(*environment);
      transaction.put(toolkit::store::Table::kMeta, "large", std::string(200000, 'x'));
      transaction.erase(toolkit::store::Table::kMeta, "large");
      ASSERT_EQ(transaction.commit(), 0);
    }
    toolkit::store::WriteTransaction transaction(*environment);
    transaction.put(toolkit::store::Table::kMeta, "larger", std::string(2000000, 'x'));
    transaction.erase(toolkit::store::Table::kMeta, "larger");
    ASSERT_EQ(transaction.commit(), 0);
  }
  MDB_env* raw = nullptr;
  mdb_env_create(&raw);
  mdb_env_set_maxdbs(raw, 6);
  ASSERT_EQ(mdb_env_open(raw, persistentFile().c_str(), MDB_NOSUBDIR | MDB_RDONLY, 0), 0);
  MDB_envinfo info = {};
  mdb_env_info(raw, &info);
  mdb_env_close(raw);
  ASSERT_LT(fs::file_size(persistentFile()), (info.me_last_pgno + 1) * 4096);
  CCds cds;
  EXPECT_EQ(cds.last_error(), "");
  EXPECT_EQ(set(cds, "/N1", CElement(7), PCD_TRUE), API_SUCCESS);
}

TEST_F(StoreDamage, OtherVersionOfTheLibrary) {
  // The version follows the page's header and the magic number, on both of the first pages.
  for (const std::streamoff page : {0, 4096}) {
    overwrite(persistentFile(), page + 16 + 4, std::string("\x63\0\0\0", 4));
  }
  expectTold(reason(), persistentFile(), "another version of the database library");
}

TEST_F(StoreDamage, OtherVersionOfTheFormat) {
  {
    std::string error;
    auto environment = Environment::open(persistentFile(), Environment::Commits::kDurable,
                                         Environment::IfMissing::kRefuse, error);
    toolkit::store::WriteTransaction transaction(*environment);
    transaction.put(toolkit::store::Table::kMeta, toolkit::store::kVersionKey, "2");
    ASSERT_EQ(transaction.commit(), 0);
  }
  expectTold(reason(), persistentFile(), "format version 2, this program knows version 1");
}

TEST_F(StoreDamage, ADatabaseOfSomethingElse) {
  fs::remove(persistentFile());
  MDB_env* raw = nullptr;
  mdb_env_create(&raw);
  ASSERT_EQ(mdb_env_open(raw, persistentFile().c_str(), MDB_NOSUBDIR, 0600), 0);
  MDB_txn* transaction = nullptr;
  MDB_dbi table = 0;
  mdb_txn_begin(raw, nullptr, 0, &transaction);
  mdb_dbi_open(transaction, nullptr, 0, &table);
  MDB_val text = {4, const_cast<char*>("meta")};
  mdb_put(transaction, table, &text, &text, 0);
  ASSERT_EQ(mdb_txn_commit(transaction), 0);
  mdb_env_close(raw);
  expectTold(reason(), persistentFile(), "is not a data store");
  EXPECT_NE(toolkit::admin::importModel({}, true), "") << "nor is it taken over";
}

TEST_F(StoreDamage, NoPermission) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs root to become somebody else";
  }
  constexpr uid_t kNobody = 65534;
  for (const fs::path& path : {folder(), folder() / "state", folder() / "run"}) {
    chmod(path.c_str(), 0755);
  }
  const auto asNobody = [this] {
    const bool became = setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0;
    CCds cds;
    expectTold(cds.last_error(), persistentFile(), "no permission to open");
    return !became || HasFailure() ? 1 : 0;
  };
  EXPECT_EQ(ChildProcess(asNobody).wait(), 0) << "none to the lock file";
  chmod((persistentFile().string() + "-lock").c_str(), 0666);
  EXPECT_EQ(ChildProcess(asNobody).wait(), 0) << "none to the data";
}

}  // namespace
