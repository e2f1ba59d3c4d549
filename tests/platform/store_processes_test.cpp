// Several processes on one store, and what is left when they are killed.
#include "store/store.h"
#include "store_fixture.h"
#include "toolkit/run_lock.h"

using toolkit::CPath;
namespace store = toolkit::store;

namespace {

class StoreProcesses : public StoreTest {
 protected:
  static constexpr int kBatch = 200;

  StoreProcesses() {
    const auto batch = leaves("/Table/N", kBatch, CElement(0));
    for (const auto& leaf : batch) {
      batch_.push_back(normalized(leaf.node));
    }
    import(batch);
  }

  bool writeBatch(CCds& cds, int value, pcd_tribool_t persist) const {
    std::vector<api_status_t> statuses;
    return cds.set_leaves(batch_, std::vector(kBatch, CElement(value)),
                          std::vector(kBatch, persist), statuses, "test") == 0;
  }
  // The value that all leaves of the batch have; -1 when they differ or cannot be read.
  int readBatch(CCds& cds) const {
    const Read found = read(cds, batch_);
    const bool same = found.result == 0 && found.statuses == std::vector(kBatch, API_SUCCESS) &&
                      found.elements == std::vector(kBatch, found.elements[0]);
    return same ? found.elements[0].to_int() : -1;
  }
  // So much that building the live half takes a while.
  static void importLarge() { import(leaves("/Table/N", 20000, CElement(5))); }
  void removeLive() const { fs::remove_all(folder() / "run"); }
  const std::function<int()> checkLarge_ = [this] {
    CCds cds;
    return readBatch(cds) == 5 && text(cds, "/Table/N19999") == "5" ? 0 : 1;
  };

 private:
  std::vector<CPath> batch_;
};

TEST_F(StoreProcesses, GrowthIsFollowed) {
  CCds cds;
  ASSERT_EQ(readBatch(cds), 0);
  const CElement large(std::string(1 << 20, 'x'));
  ChildProcess writer([&] {
    CCds own;
    int i = 0;
    while (i < 40 && set(own, "/L" + std::to_string(i), large, PCD_TRUE) == API_SUCCESS) {
      ++i;
    }
    return i == 40 ? 0 : 1;
  });
  ASSERT_EQ(writer.wait(), 0);
  EXPECT_EQ(text(cds, "/L39"), large.to_string());
  EXPECT_EQ(set(cds, "/More", large, PCD_TRUE), API_SUCCESS);
  EXPECT_EQ(readBatch(cds), 0);
}

TEST_F(StoreProcesses, RacedBootBuildsOnceAndIsNeverSeenHalfDone) {
  importLarge();
  for (int round = 0; round < 5; ++round) {
    removeLive();
    ChildProcess first(checkLarge_);
    ChildProcess second(checkLarge_);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    std::string error;
    const auto live = store::Store::openLive(error);
    EXPECT_EQ(store::ReadTransaction(*live).get(store::Table::kMeta, "rights-generation"), "1")
        << "each build counts it up";
  }
}

TEST_F(StoreProcesses, AKilledBuilderLeavesNothingBehind) {
  importLarge();
  for (int round = 0; round < 12; ++round) {
    removeLive();
    ChildProcess builder(checkLarge_);
    std::this_thread::sleep_for(std::chrono::milliseconds(round * 2));
    builder.kill();
    ASSERT_EQ(ChildProcess(checkLarge_).wait(), 0) << round;
  }
}

TEST_F(StoreProcesses, AKilledWriterLeavesWholeBatches) {
  CCds cds;
  for (int round = 0; round < 10; ++round) {
    const pcd_tribool_t persist = round % 2 == 0 ? PCD_TRUE : PCD_FALSE;
    ChildProcess writer([&]() -> int {
      CCds own;
      for (int value = 1;; ++value) {
        writeBatch(own, value, persist);
      }
    });
    ASSERT_TRUE(await([&] { return readBatch(cds) != 0; }));
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(10 + round * 3);
    while (std::chrono::steady_clock::now() < end) {
      ASSERT_GE(readBatch(cds), 0);
    }
    writer.kill();
    ASSERT_GE(readBatch(cds), 0);
    ASSERT_TRUE(writeBatch(cds, 0, PCD_TRUE)) << cds.last_error();
    ASSERT_EQ(readBatch(cds), 0);
  }
  ASSERT_EQ(toolkit::admin::boot(), "");
  EXPECT_EQ(readBatch(cds), 0);
}

TEST_F(StoreProcesses, AStoppedWriterKeepsNobodyFromReadingNorForeverFromWriting) {
  CCds cds;
  for (const bool isStopped : {true, false}) {
    ChildProcess holder([isStopped] {
      CCds own;
      store::WriteTransaction turn(own.handle()->live());
      raise(isStopped ? SIGSTOP : SIGKILL);
      return 0;
    });
    if (isStopped) {
      holder.awaitStop();
      EXPECT_FALSE(writeBatch(cds, 1, PCD_FALSE));
      EXPECT_TRUE(contains(cds.last_error(), "another process holds the store's writer lock"));
      const auto start = std::chrono::steady_clock::now();
      for (int i = 0; i < 50; ++i) {
        EXPECT_FALSE(writeBatch(cds, 1, PCD_TRUE));
      }
      EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(50))
          << "it does not wait as long again each time";
      EXPECT_EQ(readBatch(cds), 0);
      CCds another;
      EXPECT_EQ(readBatch(another), 0);
      holder.kill();
    } else {
      holder.wait();
    }
    EXPECT_TRUE(writeBatch(cds, 0, PCD_TRUE)) << cds.last_error();
  }
}

TEST_F(StoreProcesses, ALockOfAnEarlierRunOfTheMachineIsFree) {
  for (const char* file : {"run/live.mdb-writer", "state/persistent.mdb-writer"}) {
    std::ofstream(folder() / file) << std::string(4096, '\xFF');
  }
  ChildProcess writer([this] {
    CCds own;
    return writeBatch(own, 1, PCD_TRUE) ? 0 : 1;
  });
  EXPECT_EQ(writer.wait(), 0);
}

TEST_F(StoreProcesses, AClientGoesOnInAForkedChildAndInItsParent) {
  CCds cds;
  ASSERT_EQ(set(cds, "/Who", CElement("parent")), API_SUCCESS);
  const auto reads = [&](const char* expected) { return text(cds, "/Who") == expected; };
  ChildProcess child([&] {
    const bool before = reads("parent");
    const bool wrote = set(cds, "/Child", CElement("here"), PCD_TRUE) == API_SUCCESS;
    // As a daemon does it.
    ChildProcess grandchild([&] { return text(cds, "/Child") == "here" ? 0 : 1; });
    const bool below = grandchild.wait() == 0;
    set(cds, "/Who", CElement("child"));
    return before && below && wrote && await([&] { return reads("parent again"); }) ? 0 : 1;
  });
  ASSERT_TRUE(await([&] { return reads("child"); }));
  EXPECT_EQ(set(cds, "/Who", CElement("parent again")), API_SUCCESS);
  EXPECT_EQ(child.wait(), 0);
  EXPECT_TRUE(reads("parent again")) << "the child's end leaves the parent's reader";
}

TEST_F(StoreProcesses, ReadersOfKilledProcessesAreCleared) {
  CCds cds;
  const auto killReader = [] {
    ChildProcess reader([] {
      std::string error;
      const auto live = store::Store::openLive(error);
      const store::ReadTransaction transaction(*live);
      return raise(SIGKILL);
    });
    reader.wait();
  };
  killReader();
  EXPECT_EQ(cds.handle()->live().clearStaleReaders(), 1);
  killReader();
  api_status_t status = API_NONE;
  cds.watchdog_ping(status);
  EXPECT_EQ(cds.handle()->live().clearStaleReaders(), 0) << "the ping has swept";
}

TEST_F(StoreProcesses, ALockOfAKilledProcessIsFree) {
  using std::chrono::seconds;
  ChildProcess holder([] {
    const toolkit::CRunLock lock("a.lock", seconds(0));
    raise(SIGSTOP);
    return 0;
  });
  holder.awaitStop();
  EXPECT_FALSE(toolkit::CRunLock("a.lock", seconds(0)).isHeld());
  EXPECT_TRUE(toolkit::CRunLock("b.lock", seconds(0)).isHeld());
  holder.kill();
  const toolkit::CRunLock lock("a.lock", seconds(0));
  EXPECT_TRUE(lock.isHeld());
  EXPECT_FALSE(toolkit::CRunLock("a.lock", seconds(0)).isHeld());
}

}  // namespace
