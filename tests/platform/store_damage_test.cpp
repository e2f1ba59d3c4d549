// What is told of a store that cannot be used, one case a kind of damage.
#include <lmdb.h>

#include <grp.h>

#include "store/lmdb_handles.h"
#include "store/transaction.h"
#include "store_fixture.h"

using toolkit::store::Environment;
using toolkit::store::EnvironmentHandle;
using toolkit::store::Table;
using toolkit::store::WriteTransaction;

namespace {

class StoreDamage : public StoreTest {
 protected:
  StoreDamage() { import(leaves("/N", 500, CElement(1))); }

  std::shared_ptr<Environment> openPersistent() const {
    std::string error;
    return Environment::open(persistentFile(), Environment::Commits::kDurable,
                             Environment::IfMissing::kRefuse, error);
  }
  // Without what the store does at an open.
  EnvironmentHandle openAsItIs(unsigned flags) const {
    MDB_env* raw = nullptr;
    mdb_env_create(&raw);
    mdb_env_set_maxdbs(raw, 7);
    EXPECT_EQ(mdb_env_open(raw, persistentFile().c_str(), MDB_NOSUBDIR | flags, 0600), 0);
    return EnvironmentHandle(raw);
  }
  // Commits what is done to a table that is opened as it is.
  void change(const char* table, const std::function<int(MDB_txn*, MDB_dbi)>& action) const {
    const auto environment = openAsItIs(0);
    MDB_txn* transaction = nullptr;
    MDB_dbi handle = 0;
    mdb_txn_begin(environment.get(), nullptr, 0, &transaction);
    ASSERT_EQ(mdb_dbi_open(transaction, table, 0, &handle), 0);
    ASSERT_EQ(action(transaction, handle), 0);
    ASSERT_EQ(mdb_txn_commit(transaction), 0);
  }
  void expectError(const std::string& what) const { expectError(persistentFile(), what); }
  // Expects a client to be told of the file.
  static void expectError(const fs::path& file, const std::string& what) {
    CCds cds;
    EXPECT_FALSE(cds.is_open());
    EXPECT_NE(cds.init(), 0);
    EXPECT_FALSE(cds.is_initialized());
    EXPECT_TRUE(contains(cds.last_error(), file.string()));
    EXPECT_TRUE(contains(cds.last_error(), what));
  }
};

TEST_F(StoreDamage, Missing) {
  fs::remove(persistentFile());
  expectError("import a model with 'devctl store import'");
  std::ofstream(persistentFile()).close();
  expectError("no data store in the folder");
  fs::remove_all(folder() / "state");
  expectError("no data store in the folder");
  EXPECT_FALSE(fs::exists(folder() / "state")) << "a client makes no store";
}

TEST_F(StoreDamage, Rubbish) {
  for (const fs::path& file : {liveFile(), persistentFile()}) {
    for (const std::string& bytes : {std::string("{}"), std::string(100000, 'x')}) {
      std::ofstream(file) << bytes;
      expectError(file, "is damaged or is not a data store");
    }
    fs::remove(file);
  }
  fs::create_directory(persistentFile());
  expectError("cannot open");
}

TEST_F(StoreDamage, Truncated) {
  const auto size = fs::file_size(persistentFile());
  for (const auto left : {size - 1, size / 2, std::uintmax_t{8192}, std::uintmax_t{5000}}) {
    fs::resize_file(persistentFile(), left);
    expectError("truncated");
  }
  fs::resize_file(persistentFile(), 100);
  expectError("is damaged");
}

TEST_F(StoreDamage, AFileThatEndsBeforeFreePagesIsSound) {
  {
    const auto environment = openPersistent();
    // Pages are given back within a transaction once there are pages of earlier ones to go with.
    for (const std::size_t size : {200000, 200000, 200000, 200000, 200000, 2000000}) {
      WriteTransaction transaction(*environment);
      transaction.put(Table::kMeta, "large", std::string(size, 'x'));
      transaction.erase(Table::kMeta, "large");
      ASSERT_EQ(transaction.commit(), 0);
    }
  }
  MDB_envinfo info = {};
  mdb_env_info(openAsItIs(MDB_RDONLY).get(), &info);
  ASSERT_LT(fs::file_size(persistentFile()), (info.me_last_pgno + 1) * 4096);
  CCds cds;
  EXPECT_EQ(cds.last_error(), "");
  EXPECT_EQ(set(cds, "/N1", CElement(7), PCD_TRUE), API_SUCCESS);
}

TEST_F(StoreDamage, OtherVersionOfTheLibrary) {
  std::fstream file(persistentFile(), std::ios::binary | std::ios::in | std::ios::out);
  // The version follows the page's header and the magic number, on both of the first pages.
  for (const std::streamoff page : {0, 4096}) {
    file.seekp(page + 16 + 4).write("\x63\0\0\0", 4);
  }
  file.close();
  expectError("another version of the database library");
}

TEST_F(StoreDamage, OtherVersionOfTheFormat) {
  {
    const auto environment = openPersistent();
    WriteTransaction transaction(*environment);
    transaction.put(Table::kMeta, toolkit::store::kVersionKey, "2");
    ASSERT_EQ(transaction.commit(), 0);
  }
  expectError("format version 2, this program knows version 1");
}

TEST_F(StoreDamage, ADatabaseOfSomethingElse) {
  fs::remove(persistentFile());
  change(nullptr, [](MDB_txn* transaction, MDB_dbi table) {
    MDB_val text = {4, const_cast<char*>("meta")};
    return mdb_put(transaction, table, &text, &text, 0);
  });
  expectError("is not a data store");
  EXPECT_NE(toolkit::admin::importModel({}, true), "") << "nor is it taken over";
}

TEST_F(StoreDamage, OneTableMissing) {
  change("event",
         [](MDB_txn* transaction, MDB_dbi table) { return mdb_drop(transaction, table, 1); });
  CCds cds;
  EXPECT_EQ(set(cds, "/N1", CElement(7), PCD_TRUE), API_SUCCESS) << "it is made";
}

TEST_F(StoreDamage, NoPermission) {
  SKIP_UNLESS(geteuid() == 0);
  constexpr uid_t kNobody = 65534;
  for (const fs::path& path : {folder(), folder() / "state", folder() / "run"}) {
    fs::permissions(path, fs::perms(0755));
  }
  const auto asNobody = [this] {
    const bool became = setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0;
    expectError("no permission to open");
    return !became || HasFailure() ? 1 : 0;
  };
  EXPECT_EQ(ChildProcess(asNobody).wait(), 0) << "none to the lock file";
  fs::permissions(persistentFile().string() + "-lock", fs::perms(0666));
  EXPECT_EQ(ChildProcess(asNobody).wait(), 0) << "none to the data";
}

TEST_F(StoreDamage, ATableOutOfOrderEndsARemovalThatChangesNothing) {
  import(leaves("/A/node", 6, CElement(1)));
  CCds().init();
  std::string bytes = contentsOf(liveFile());
  const std::string before("/A\0node1", 8);
  for (std::size_t at = 0; (at = bytes.find(before, at)) != std::string::npos; ++at) {
    bytes[at + before.size() - 1] = '9';
  }
  std::ofstream(liveFile(), std::ios::binary) << bytes;
  CCds cds;
  EXPECT_EQ(text(cds, "/A:Children"), "node0;node9;node2;node3;node4;node5");
  EXPECT_EQ(remove(cds, "/A"), API_FAILED);
  EXPECT_TRUE(contains(cds.last_error(), liveFile().string()));
  EXPECT_EQ(text(cds, "/A/node5"), "1");
}

}  // namespace
